package kiv.media.ffmpeg;

import java.nio.file.Path;
import java.util.Objects;
import kiv.media.ffmpeg.natives.FfmpegText;
import kiv.media.ffmpeg.natives.c_codecoptions_ffmpeg;

/**
 * The FFmpeg that works in this process, as it describes itself.
 *
 * @param version the version of its release, such as "8.0.1"; "older than 2.8" from one that does not report it
 * @param licence what its configuration allows, such as "LGPL version 3 or later"
 * @param directory where its libraries are
 * @param isBridged whether it is a newer FFmpeg, behind the bridge
 */
public record FfmpegBuild(String version, String licence, Path directory, boolean isBridged) {

    static FfmpegBuild of(long context, Path directory) {
        return new FfmpegBuild(text(context, FfmpegText.VERSION, "older than 2.8"),
                text(context, FfmpegText.LICENCE, "unknown licence"), directory,
                c_codecoptions_ffmpeg.n_get_ffmpeg_text(context, FfmpegText.BRIDGE) != null);
    }

    private static String text(long context, int which, String otherwise) {
        return Objects.requireNonNullElse(c_codecoptions_ffmpeg.n_get_ffmpeg_text(context, which), otherwise);
    }

    /** {@return all of it in one line} */
    @Override
    public String toString() {
        return "FFmpeg " + version + " (" + licence + ") in " + directory + (isBridged ? ", behind the bridge" : "");
    }
}
