package kiv.media.ffmpeg.natives;

import java.lang.annotation.Native;

/** FFmpeg's numbers of what a stream carries. */
public final class MediaType {

    /** Not recognised. */
    @Native public static final int UNKNOWN = -1;

    /** Pictures. */
    @Native public static final int VIDEO = 0;

    /** Sound. */
    @Native public static final int AUDIO = 1;

    /** Data of some other sort. */
    @Native public static final int DATA = 2;

    /** Subtitles. */
    @Native public static final int SUBTITLE = 3;

    /** A file that goes with the medium, such as a font. */
    @Native public static final int ATTACHMENT = 4;

    private MediaType() {
    }
}
