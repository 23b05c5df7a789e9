package kiv.media.ffmpeg.loading;

import java.io.File;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.List;

/** Finds the program that works behind the wall. */
public final class WorkerProgram {

    private static final String FILE = "kivjniffmpeg-worker";

    private static Path found;

    private WorkerProgram() {
    }

    /**
     * Finds it where the native library is: beside the file of the system property, else in the natives jar, else in
     * {@code java.library.path}. Another system property names another one.
     *
     * @return its absolute path
     * @throws LoadingException when it is nowhere or cannot be unpacked
     */
    public static synchronized Path find() throws LoadingException {
        if (found == null) {
            found = search();
        }
        return found;
    }

    private static Path search() throws LoadingException {
        String named = System.getProperty(LibraryProperties.WORKER);
        String library = System.getProperty(LibraryProperties.LIBRARY);
        List<Path> places = new ArrayList<>();
        if (named != null) {
            places.add(Path.of(named).toAbsolutePath());
        } else if (library != null) {
            places.add(Path.of(library).toAbsolutePath().resolveSibling(FILE));
        } else if (PackagedFiles.exist(NativeLibrary.PACKAGE + FILE)) {
            return PackagedFiles.unpackProgram("the worker", "worker", NativeLibrary.PACKAGE, FILE);
        } else {
            for (String place : System.getProperty("java.library.path", "").split(File.pathSeparator)) {
                if (place.startsWith("/")) {
                    places.add(Path.of(place, FILE));
                }
            }
        }
        for (Path place : places) {
            if (Files.isExecutable(place)) {
                return place.normalize();
            }
        }
        throw new LoadingException("no program " + FILE + ": add kiv.media:kivjniffmpeg (classifier linux-x86_64) to the"
                + " class path or name the program with -D" + LibraryProperties.WORKER + "=/path/" + FILE);
    }
}
