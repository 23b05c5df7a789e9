package kiv.media.ffmpeg.loading;

import java.nio.file.Path;

/**
 * An FFmpeg that can be loaded.
 *
 * @param directory the directory for {@code n_init}, which has the five libraries' names
 * @param home the directory of FFmpeg itself: the same one, or that of a newer FFmpeg behind the bridge
 */
public record FoundFfmpeg(Path directory, Path home) {

    /**
     * Tells whether a directory is one of the two.
     *
     * @param place an absolute path
     * @return whether it is
     */
    public boolean isAt(Path place) {
        return place.equals(directory) || place.equals(home);
    }
}
