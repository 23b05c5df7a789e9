package kiv.media.ffmpeg.natives;

import java.lang.annotation.Native;

/** The flags of a processing call, of pictures or of sound. */
public final class ProcessFlags {

    /** The packet does not follow the one before it. */
    @Native public static final int DISCONTINUITY = 2;

    /** Without data: the stream ends, and what the decoder holds back comes out. */
    @Native public static final int DRAIN = 0x100;

    /**
     * For a decoder of sound: the data is a whole packet. Nothing of it is kept for the next call. A call ends early when
     * its output fills the room, also one with {@link #DRAIN}: without an error, call again with the input that it did
     * not consume, or to drain until there is no output.
     */
    @Native public static final int WHOLE_PACKET = 0x200;

    /** For a decoder of pictures in pooled memory: the packet is decoded without others, which decoders of images ask for. */
    @Native public static final int KEY = 0x400;

    private ProcessFlags() {
    }
}
