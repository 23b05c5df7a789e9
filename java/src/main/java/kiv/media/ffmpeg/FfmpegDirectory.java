package kiv.media.ffmpeg;

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
        NativeLibrary.requirePlatform();
        if (!PackagedFiles.exist(PACKAGE + FfmpegLibrary.LIBRARIES.get(0))) {
            throw new LibraryException("no FFmpeg: add org.bytedeco.javacpp-presets:ffmpeg:2.8.1-1.1 (classifier"
                    + " linux-x86_64) to the class path (on the module path with --add-modules ALL-MODULE-PATH) or name"
                    + " a directory with -D" + FfmpegLibrary.DIRECTORY_PROPERTY + "=DIR");
        }
        return PackagedFiles.unpack("FFmpeg", "ffmpeg", PACKAGE, FfmpegLibrary.LIBRARIES);
    }
}
