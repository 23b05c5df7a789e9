package kiv.media.ffmpeg.natives;

import java.lang.annotation.Native;

/** The results of {@link kiv.media.ffmpeg.c_multimediaapi_ffmpeg#n_vcodec_process}. */
public final class ProcessResult {

    /** One picture. */
    @Native public static final int PICTURE = 0;

    /** One picture and more waiting: call again without data. */
    @Native public static final int PICTURE_AND_MORE = 1;

    /** No picture. */
    @Native public static final int NO_PICTURE = 2;

    /** One picture, whose colour model is new. */
    @Native public static final int PICTURE_MODEL_CHANGED = 4;

    /** The packet, or its rest, could not be decoded. */
    @Native public static final int DECODING_ERROR = 8;

    private ProcessResult() {
    }
}
