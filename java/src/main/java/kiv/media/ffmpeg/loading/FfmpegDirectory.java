package kiv.media.ffmpeg.loading;

import java.io.IOException;
import java.io.InputStream;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.List;
import java.util.Properties;

/** Finds the directory of FFmpeg's libraries and prepares the process for them. */
public final class FfmpegDirectory {

    /** FFmpeg's libraries. The others find the first two only when these are already loaded. */
    static final List<String> LIBRARIES = List.of("libavutil.so.54", "libswresample.so.1", "libavcodec.so.56",
            "libavformat.so.56", "libswscale.so.3");
    private static final int PRELOADED = 2;

    /** The directory of the libraries in the class-path package. */
    private static final String PACKAGE = "org/bytedeco/javacpp/linux-x86_64/";

    private FfmpegDirectory() {
    }

    /**
     * Finds the directory when the program names none: the one of the system property, else the unpacked class-path
     * package.
     *
     * @return its absolute path
     * @throws LoadingException when there is none
     */
    public static Path find() throws LoadingException {
        String own = System.getProperty(LibraryProperties.DIRECTORY);
        if (own != null) {
            return Path.of(own).toAbsolutePath().normalize();
        }
        NativeLibrary.requirePlatform();
        if (!PackagedFiles.exist(PACKAGE + LIBRARIES.get(0))) {
            Properties known = packageProperties();
            throw new LoadingException("no FFmpeg: add " + known.getProperty("artifact") + " (classifier "
                    + known.getProperty("classifier") + ") to the class path (on the module path with --add-modules"
                    + " ALL-MODULE-PATH) or name a directory with -D" + LibraryProperties.DIRECTORY + "=DIR");
        }
        return PackagedFiles.unpack("FFmpeg", "ffmpeg", PACKAGE, LIBRARIES);
    }

    /**
     * Loads the libraries that the others need, so that the dynamic loader matches them by name.
     *
     * @param directory FFmpeg's directory, an absolute path
     * @throws LoadingException when one of the libraries is missing or does not load
     */
    public static void preload(Path directory) throws LoadingException {
        for (String name : LIBRARIES) {
            if (!Files.isRegularFile(directory.resolve(name))) {
                throw new LoadingException("no " + name + " in the FFmpeg directory " + directory);
            }
        }
        for (String name : LIBRARIES.subList(0, PRELOADED)) {
            try {
                System.load(directory.resolve(name).toString());
            } catch (UnsatisfiedLinkError e) {
                throw new LoadingException("cannot load FFmpeg: " + e.getMessage() + PackagedFiles.hint(e), e);
            }
        }
    }

    /** The coordinates of the package, which the build writes. */
    private static Properties packageProperties() {
        Properties properties = new Properties();
        try (InputStream in = FfmpegDirectory.class.getResourceAsStream("ffmpeg.properties")) {
            properties.load(in);
        } catch (IOException e) {
            throw new IllegalStateException("the jar is damaged", e);
        }
        return properties;
    }
}
