package kiv.media.ffmpeg.loading;

import java.nio.file.Path;
import java.util.List;

/** Finds and loads the native library. */
public final class NativeLibrary {

    private static final String FILE = "libkivjniffmpeg.so";
    /** Its directory in the natives jar. It is no name of a Java package, so no module can hide it. */
    static final String PACKAGE = "kiv/media/ffmpeg/natives/linux-x86_64/";

    private NativeLibrary() {
    }

    /**
     * Loads it from the file of the system property, else from the natives jar, else from {@code java.library.path}.
     *
     * @throws LoadingException when it is not found or does not load
     */
    public static void load() throws LoadingException {
        String named = System.getProperty(LibraryProperties.LIBRARY);
        if (named != null) {
            load(Path.of(named).toAbsolutePath(), "; -D" + LibraryProperties.LIBRARY + " names this file");
            return;
        }
        requirePlatform();
        if (PackagedFiles.exist(PACKAGE + FILE)) {
            Path directory = PackagedFiles.unpack("the native library", "natives", PACKAGE, List.of(FILE));
            load(directory.resolve(FILE), "");
            return;
        }
        try {
            System.loadLibrary("kivjniffmpeg");
        } catch (UnsatisfiedLinkError e) {
            throw new LoadingException("no native library: add kiv.media:kivjniffmpeg (classifier linux-x86_64) to the"
                    + " class path (a program of modules too) or name its file with -D"
                    + LibraryProperties.LIBRARY + "=/path/" + FILE + " (" + e.getMessage() + ")", e);
        }
    }

    /**
     * Checks that the packaged libraries run here.
     *
     * @throws LoadingException when they are for another system or processor
     */
    static void requirePlatform() throws LoadingException {
        String system = System.getProperty("os.name", "");
        String processor = System.getProperty("os.arch", "");
        if (!system.equals("Linux") || !processor.equals("amd64") && !processor.equals("x86_64")) {
            throw new LoadingException("the packaged libraries are made for Linux on x86-64, and this is " + system
                    + " on " + processor);
        }
    }

    private static void load(Path file, String hint) throws LoadingException {
        try {
            System.load(file.toString());
        } catch (UnsatisfiedLinkError e) {
            String better = PackagedFiles.hint(e);
            throw new LoadingException("cannot load the native library: " + e.getMessage()
                    + (better.isEmpty() ? hint : better), e);
        }
    }
}
