package kiv.media.ffmpeg;

import java.io.IOException;
import java.nio.file.Path;

/** Finds the directory of FFmpeg's libraries when the program does not name one. */
final class FfmpegDirectory {

    /** Where the class-path package keeps its libraries. */
    private static final String PACKAGE = "org/bytedeco/javacpp/linux-x86_64/";

    private FfmpegDirectory() {
    }

    /**
     * Finds the directory: the user's own, else the unpacked class-path package.
     *
     * @return its absolute path
     * @throws LibraryException when there is none
     */
    static Path find() {
        String own = System.getProperty(FfmpegLibrary.DIRECTORY_PROPERTY);
        if (own != null) {
            return Path.of(own).toAbsolutePath().normalize();
        }
        ClassLoader loader = FfmpegDirectory.class.getClassLoader();
        if (loader.getResource(PACKAGE + FfmpegLibrary.LIBRARIES.get(0)) == null) {
            throw new LibraryException("no FFmpeg: add org.bytedeco.javacpp-presets:ffmpeg:2.8.1-1.1 (classifier"
                    + " linux-x86_64) to the class path or name a directory with -D"
                    + FfmpegLibrary.DIRECTORY_PROPERTY + "=DIR");
        }
        Path root = cacheRoot();
        try {
            return new ResourceCache(root, "ffmpeg").unpack(loader, PACKAGE, FfmpegLibrary.LIBRARIES);
        } catch (IOException e) {
            throw new LibraryException("cannot unpack FFmpeg into " + root + ": " + e + "; name another directory with"
                    + " -D" + FfmpegLibrary.CACHE_PROPERTY + "=DIR", e);
        }
    }

    private static Path cacheRoot() {
        String named = System.getProperty(FfmpegLibrary.CACHE_PROPERTY);
        if (named != null) {
            return Path.of(named).toAbsolutePath().normalize();
        }
        String shared = System.getenv("XDG_CACHE_HOME");
        // A relative path there is invalid by the XDG rules and is to be ignored.
        Path base = shared != null && shared.startsWith("/") ? Path.of(shared)
                : Path.of(System.getProperty("user.home"), ".cache");
        return base.resolve("kivjniffmpeg").toAbsolutePath().normalize();
    }
}
