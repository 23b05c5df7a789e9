package kiv.media.ffmpeg.natives;

import java.lang.annotation.Native;

/** The {@code String[]} of FFmpeg's names for what a stream is, by index. */
public final class StreamNames {

    /** Elements of the array. */
    @Native public static final int SIZE = 9;

    /** The codec for people, such as {@code MPEG-2 video}. */
    @Native public static final int CODEC = 0;

    /** The profile of the codec, such as {@code Main}. */
    @Native public static final int PROFILE = 1;

    /** The pixel format or the sample format, such as {@code yuv420p}. */
    @Native public static final int SAMPLE_FORMAT = 2;

    /** The values of YUV that are used, such as {@code tv}. */
    @Native public static final int COLOR_RANGE = 3;

    /** The matrix by which YUV becomes RGB, such as {@code bt709}. */
    @Native public static final int COLOR_SPACE = 4;

    /** The curve between values and light, such as {@code smpte2084}. */
    @Native public static final int COLOR_TRANSFER = 5;

    /** The colours that red, green and blue are, such as {@code bt2020}. */
    @Native public static final int COLOR_PRIMARIES = 6;

    /** The place of chroma samples between those of luma, such as {@code left}. */
    @Native public static final int CHROMA_LOCATION = 7;

    /** The places of the channels, such as {@code 5.1(side)}. */
    @Native public static final int CHANNEL_LAYOUT = 8;

    private StreamNames() {
    }
}
