package kiv.media.ffmpeg.natives;

import java.lang.annotation.Native;

/** FFmpeg's flags of a packet. */
public final class PacketFlags {

    /** Decoding can start with it. */
    @Native public static final int KEY = 1;

    /** The container knows that bytes are missing or wrong. */
    @Native public static final int DAMAGED = 2;

    private PacketFlags() {
    }
}
