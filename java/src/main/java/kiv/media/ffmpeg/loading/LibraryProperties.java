package kiv.media.ffmpeg.loading;

/** The names of the system properties for the places of libraries. */
public final class LibraryProperties {

    /** The file of the native library. */
    public static final String LIBRARY = "kiv.media.ffmpeg.library";
    /** The directory of FFmpeg's libraries. */
    public static final String DIRECTORY = "kiv.media.ffmpeg.dir";
    /** The program that works behind the wall. */
    public static final String WORKER = "kiv.media.ffmpeg.worker";
    /** The directory into which libraries are unpacked. */
    public static final String CACHE = "kiv.media.ffmpeg.cache";

    private LibraryProperties() {
    }
}
