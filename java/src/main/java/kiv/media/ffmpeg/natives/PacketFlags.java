package kiv.media.ffmpeg.natives;

import java.lang.annotation.Native;

/** FFmpeg's flags of a packet. */
public final class PacketFlags {

    /** Decoding can start with it. */
    @Native public static final int KEY = 1;

    /** The container knows that bytes are missing or wrong. */
    @Native public static final int DAMAGED = 2;

    /** It is decoded for those behind it, but neither shown nor heard itself. */
    @Native public static final int DISCARDED = 4;

    private PacketFlags() {
    }
}
