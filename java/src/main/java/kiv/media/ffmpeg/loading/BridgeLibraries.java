package kiv.media.ffmpeg.loading;

import java.io.File;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.List;

/** Finds the bridge: five libraries with the names of FFmpeg's own line, which call a newer FFmpeg. */
final class BridgeLibraries {

    /** Their directory, beside the native library and in the natives jar. */
    private static final String DIRECTORY = "bridge";
    private static final String PACKAGE = NativeLibrary.PACKAGE + DIRECTORY + "/";

    private BridgeLibraries() {
    }

    /**
     * Finds them where the native library is: beside the file of the system property, else in the natives jar, else in
     * {@code java.library.path}.
     *
     * @return their directory
     * @throws LoadingException when they are nowhere or cannot be unpacked
     */
    static Path find() throws LoadingException {
        List<Path> places = new ArrayList<>();
        String named = System.getProperty(LibraryProperties.LIBRARY);
        if (named != null) {
            places.add(Path.of(named).toAbsolutePath().resolveSibling(DIRECTORY));
        } else if (PackagedFiles.exist(PACKAGE + FfmpegLine.OWN.mark())) {
            return PackagedFiles.unpack("the bridge", DIRECTORY, PACKAGE, FfmpegLine.OWN.libraries());
        } else {
            for (String place : System.getProperty("java.library.path", "").split(File.pathSeparator)) {
                if (place.startsWith("/")) {
                    places.add(Path.of(place, DIRECTORY));
                }
            }
        }
        for (Path place : places) {
            if (FfmpegLine.OWN.isIn(place)) {
                return place.normalize();
            }
        }
        throw new LoadingException("no bridge to FFmpeg 5.1 to 8.0: "
                + (named == null ? "add kiv.media:kivjniffmpeg (classifier linux-x86_64) to the class path"
                        : places.get(0) + " does not hold its five libraries; -D" + LibraryProperties.LIBRARY
                            + " names the file beside it"));
    }
}
