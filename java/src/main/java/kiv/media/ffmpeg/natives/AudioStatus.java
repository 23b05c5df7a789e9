package kiv.media.ffmpeg.natives;

import java.lang.annotation.Native;

/** The result of {@link kiv.media.ffmpeg.c_multimediaapi_ffmpeg#n_acodec_process}: a sum of these. */
public final class AudioStatus {

    /** The decoder failed on this block, whose rest is lost. */
    @Native public static final int DECODING_ERROR = 1;

    /** Not all of the input was consumed. */
    @Native public static final int INPUT_LEFT = 2;

    /** A buffer did not fit into the output array and is lost. */
    @Native public static final int OUTPUT_LOST = 8;

    /** The room for the output is too small; everything waits for a call with more room. */
    @Native public static final int OUTPUT_TOO_SMALL = 16;

    private AudioStatus() {
    }
}
