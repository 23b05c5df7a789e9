package kiv.media.ffmpeg.natives;

import java.lang.annotation.Native;

/** The elements of the array that {@link c_codecs_ffmpeg#n_codec} returns. */
public final class CodecFields {

    /** Number of elements. */
    @Native public static final int SIZE = 4;

    /** FFmpeg's number of the codec. */
    @Native public static final int CODEC_ID = 0;

    /** One of {@link MediaType}. */
    @Native public static final int MEDIA_TYPE = 1;

    /** Whether this FFmpeg has a decoder (1) or not (0). */
    @Native public static final int DECODER = 2;

    /** Whether this FFmpeg has an encoder (1) or not (0). */
    @Native public static final int ENCODER = 3;

    private CodecFields() {
    }
}
