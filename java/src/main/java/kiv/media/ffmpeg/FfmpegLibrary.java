package kiv.media.ffmpeg;

import java.nio.file.Path;
import kiv.media.ffmpeg.loading.FfmpegDirectory;
import kiv.media.ffmpeg.loading.FoundFfmpeg;
import kiv.media.ffmpeg.loading.LibraryProperties;
import kiv.media.ffmpeg.loading.LoadingException;
import kiv.media.ffmpeg.loading.NativeLibrary;
import kiv.media.ffmpeg.natives.FfmpegText;
import kiv.media.ffmpeg.natives.c_codecoptions_ffmpeg;

/**
 * The native library and FFmpeg, which a process loads once. Readers, decoders and encoders load them on first use. A
 * program that needs a particular FFmpeg calls {@link #load(Path)} first.
 *
 * <p>FFmpeg is the first of these: the directory that is the argument of {@link #load(Path)}; that of the system
 * property {@value #DIRECTORY_PROPERTY}; the package {@code org.bytedeco:ffmpeg} (8.0.1-1.5.13, {@code linux-x86_64})
 * on the class path, whose libraries are unpacked; the older package {@code org.bytedeco.javacpp-presets:ffmpeg}
 * (2.8.1-1.1); the system's. A directory may have FFmpeg 2.5 to 2.8 or 5.1 to 8.0. The newer ones work behind a bridge,
 * five libraries with the names of the older ones, which lie beside the native library. {@link #build()} reports what
 * works. The native library is the first of these: the file that the system property {@value #LIBRARY_PROPERTY} names,
 * the one in this project's jar with the classifier {@code linux-x86_64}, which is unpacked too, {@code
 * libkivjniffmpeg.so} from {@code java.library.path}.
 *
 * <p>Libraries are unpacked once for each user. The directory is the one that the system property
 * {@value #CACHE_PROPERTY} names; without it {@code $XDG_CACHE_HOME/kivjniffmpeg}, {@code ~/.cache/kivjniffmpeg} or,
 * where neither is usable, a private directory under {@code java.io.tmpdir}. A directory is refused when it or one above
 * it belongs to another user who is not root, or when a group or all users can write there: they could replace the
 * libraries. Above it, a directory like {@code /tmp} will do, where only owners can rename. Damaged files are replaced.
 *
 * <pre>{@code
 * FfmpegLibrary.load(Path.of("/opt/ffmpeg-8.0/lib"));
 * }</pre>
 *
 * <p>The library logs to the {@link System.Logger} {@code kiv.media.ffmpeg}: errors as ERROR, its actions as DEBUG,
 * each encoded packet as TRACE. It reads the logger's level once, when it is loaded. If DEBUG is off then, it logs
 * nothing, not even errors, and logging costs no time. Exceptions report every failure in any case.
 *
 * <p>All methods may be called by any thread.
 */
public final class FfmpegLibrary {

    /** The system property with the path of the native library. */
    public static final String LIBRARY_PROPERTY = LibraryProperties.LIBRARY;
    /** The system property with the directory of FFmpeg's libraries. */
    public static final String DIRECTORY_PROPERTY = LibraryProperties.DIRECTORY;
    /** The system property with the directory into which libraries are unpacked. */
    public static final String CACHE_PROPERTY = LibraryProperties.CACHE;

    /** The most bytes that FFmpeg allocates at once, unless {@link #limitAllocations} says otherwise: 512 MiB. */
    public static final int USUAL_ALLOCATION_LIMIT = 512 * 1024 * 1024;

    /** The library stores the level but does not filter by it. */
    private static final int LOG_LEVEL = 5;

    private static final System.Logger LOGGER = System.getLogger("kiv.media.ffmpeg");

    private static boolean nativesLoaded;
    private static FoundFfmpeg loaded;
    private static FfmpegBuild build;
    private static long context;
    private static volatile long allocationLimit = USUAL_ALLOCATION_LIMIT;
    private static LibraryException failure;

    private FfmpegLibrary() {
    }

    /**
     * Loads the native library and FFmpeg, unless they are loaded.
     *
     * @throws LibraryException when a library is missing or does not load
     */
    public static void load() {
        context();
    }

    /**
     * Loads the native library and FFmpeg from a directory.
     *
     * @param directory the directory of the five libraries of FFmpeg 2.5 to 2.8 or 5.1 to 8.0: libavcodec, libavformat,
     *     libavutil, libswresample and libswscale, each under its name with its major, such as {@code libavcodec.so.56}
     * @throws LibraryException when a library is missing or does not load, or when FFmpeg is already loaded from
     *     another directory
     */
    public static synchronized void load(Path directory) {
        Path wanted = directory.toAbsolutePath().normalize();
        if (context == 0) {
            open(wanted);
        } else if (!loaded.isAt(wanted)) {
            throw new LibraryException("FFmpeg is already loaded from " + loaded.home()
                    + " and a process can load it only once; name " + wanted + " before the first use");
        }
    }

    /**
     * Loads the native library without FFmpeg, for users of {@link c_multimediaapi_ffmpeg} who call {@code n_init}
     * themselves.
     *
     * @throws LibraryException when it is missing or does not load
     */
    public static synchronized void loadNatives() {
        if (nativesLoaded) {
            return;
        }
        try {
            NativeLibrary.load();
        } catch (LoadingException e) {
            throw reported(e);
        }
        nativesLoaded = true;
    }

    /**
     * Finds the FFmpeg that is loaded, or that {@link #load()} would load. It unpacks the class-path package if that is
     * the one. For an FFmpeg behind the bridge the directory is one of links to both.
     *
     * @return the absolute path of its directory, for {@code n_init}
     * @throws LibraryException when there is no FFmpeg
     */
    public static synchronized Path directory() {
        return (loaded != null ? loaded : find(null)).directory();
    }

    /**
     * Describes the FFmpeg that works in this process. It loads the library.
     *
     * @return its version, licence and place
     * @throws LibraryException when the library cannot be loaded
     */
    public static synchronized FfmpegBuild build() {
        context();
        return build;
    }

    /**
     * Loads FFmpeg's base libraries from a directory. FFmpeg's libraries have no run path, so the dynamic loader does
     * not find the libraries that {@code libavcodec} needs, or finds another copy of them. Loaded libraries are matched
     * by name.
     *
     * @param directory the later argument of {@code n_init}
     * @throws LibraryException when a file is missing or does not load
     */
    public static void preload(Path directory) {
        try {
            FfmpegDirectory.preload(directory.toAbsolutePath().normalize());
        } catch (LoadingException e) {
            throw reported(e);
        }
    }

    /**
     * Sets the most bytes that FFmpeg allocates at once, for all that the process decodes from now on. A damaged file
     * may announce millions of samples; what needs more memory than this fails with an exception. It loads the library.
     *
     * @param bytes the most bytes, 1 MiB to 2 GiB less one
     * @throws IllegalArgumentException when the number is out of this range
     * @throws LibraryException when the library cannot be loaded
     */
    public static void limitAllocations(long bytes) {
        if (bytes < c_codecoptions_ffmpeg.LEAST_ALLOCATION_LIMIT || bytes > Integer.MAX_VALUE) {
            throw new IllegalArgumentException("a limit of " + bytes + " bytes is not in "
                    + c_codecoptions_ffmpeg.LEAST_ALLOCATION_LIMIT + " to " + Integer.MAX_VALUE);
        }
        c_codecoptions_ffmpeg.n_set_allocation_limit(context(), bytes);
        allocationLimit = bytes;
    }

    /** The most bytes that FFmpeg allocates at once. */
    static long allocationLimit() {
        return allocationLimit;
    }

    /** The library context of the process, which is never closed. */
    static synchronized long context() {
        if (context == 0) {
            open(null);
        }
        return context;
    }

    private static void open(Path wanted) {
        if (failure != null) {
            // The native library tries to load FFmpeg once in a process, so the failure is permanent.
            throw new LibraryException(failure.getMessage(), failure);
        }
        loadNatives();
        FoundFfmpeg found = find(wanted);
        preload(found.directory());
        long opened;
        try {
            opened = c_multimediaapi_ffmpeg.n_init(found.directory().toString(), logReceiver(), LOG_LEVEL);
        } catch (RuntimeException | Error e) {
            failure = new LibraryException("cannot load FFmpeg from " + found.home() + ": " + e.getMessage()
                    + "; it takes FFmpeg 2.5 to 2.8 or 5.1 to 8.0", e);
            throw failure;
        }
        String error = c_codecoptions_ffmpeg.n_get_ffmpeg_text(opened, FfmpegText.BRIDGE_ERROR);
        if (error != null) {
            c_multimediaapi_ffmpeg.n_close(opened);
            failure = new LibraryException("cannot load FFmpeg from " + found.home() + ": " + error);
            throw failure;
        }
        context = opened;
        loaded = found;
        build = FfmpegBuild.of(context, found.home());
        LOGGER.log(System.Logger.Level.DEBUG, build);
        c_codecoptions_ffmpeg.n_set_allocation_limit(context, USUAL_ALLOCATION_LIMIT);
        if (!c_multimediaapi_ffmpeg.logs()) {
            // Exceptions report what FFmpeg cannot decode. It does not print on the program's standard error.
            c_codecoptions_ffmpeg.n_set_log_level(context, c_codecoptions_ffmpeg.LOG_QUIET);
        }
    }

    private static FoundFfmpeg find(Path wanted) {
        try {
            return wanted == null ? FfmpegDirectory.find() : FfmpegDirectory.in(wanted);
        } catch (LoadingException e) {
            throw reported(e);
        }
    }

    private static LibraryException reported(LoadingException e) {
        return new LibraryException(e.getMessage(), e.getCause());
    }

    /** Null when the logger is off: each line costs a string and a call, some of them for each packet. */
    private static c_multimediaapi_ffmpeg logReceiver() {
        return c_multimediaapi_ffmpeg.logs() ? new c_multimediaapi_ffmpeg() : null;
    }
}
