package kiv.media.ffmpeg.natives;

import java.lang.annotation.Native;

/** FFmpeg's flags of a packet. */
public final class PacketFlags {

    /** Decoding can start with it. */
    @Native public static final int KEY = 1;

    private PacketFlags() {
    }
}
