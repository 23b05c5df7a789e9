package kiv.media.ffmpeg.natives;

import java.lang.annotation.Native;

/** What FFmpeg and the bridge say of themselves, for {@link c_codecoptions_ffmpeg#n_get_ffmpeg_text}. */
public final class FfmpegText {

    /** The version of FFmpeg's release; null from an FFmpeg older than 2.8. */
    @Native public static final int VERSION = 0;

    /** The licence that FFmpeg's configuration led to. */
    @Native public static final int LICENCE = 1;

    /** The FFmpeg behind the bridge, with its place; null without the bridge or without an FFmpeg behind it. */
    @Native public static final int BRIDGE = 2;

    /** Why the bridge has no FFmpeg; null when nothing is wrong. */
    @Native public static final int BRIDGE_ERROR = 3;

    private FfmpegText() {
    }
}
