package kiv.media.ffmpeg.natives;

import java.lang.annotation.Native;

/** The flags of a processing call, of pictures or of sound. */
public final class ProcessFlags {

    /** The packet does not follow the one before it. */
    @Native public static final int DISCONTINUITY = 2;

    /** Without data: the stream ends, and what the decoder holds back comes out. */
    @Native public static final int DRAIN = 0x100;

    private ProcessFlags() {
    }
}
