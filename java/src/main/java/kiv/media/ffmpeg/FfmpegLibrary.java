package kiv.media.ffmpeg;

import java.nio.file.Path;
import kiv.media.ffmpeg.loading.FfmpegDirectory;
import kiv.media.ffmpeg.loading.LibraryProperties;
import kiv.media.ffmpeg.loading.LoadingException;
import kiv.media.ffmpeg.loading.NativeLibrary;
import kiv.media.ffmpeg.natives.c_codecoptions_ffmpeg;

/**
 * The native library and FFmpeg, loaded once in a process. Readers, decoders and encoders load them by themselves; a
 * program calls {@link #load(Path)} first when it wants a certain FFmpeg.
 *
 * <p>FFmpeg's directory is, in this order: the one given to {@link #load(Path)}, the system property
 * {@value #DIRECTORY_PROPERTY}, the package {@code org.bytedeco.javacpp-presets:ffmpeg} (2.8.1-1.1,
 * {@code linux-x86_64}) on the class path, whose libraries are unpacked. The native library is the file named by the
 * system property {@value #LIBRARY_PROPERTY}, else the one in this project's jar with the classifier
 * {@code linux-x86_64}, unpacked too, else {@code libkivjniffmpeg.so} from {@code java.library.path}.
 *
 * <p>Libraries are unpacked once for each user, into the directory named by the system property
 * {@value #CACHE_PROPERTY}, else {@code $XDG_CACHE_HOME/kivjniffmpeg}, {@code ~/.cache/kivjniffmpeg} or, where neither can
 * be used, a private directory under {@code java.io.tmpdir}. A directory in which others can write, or which belongs to
 * another user than root, is refused, because they could put libraries of their own there. Damaged files are replaced.
 *
 * <pre>{@code
 * FfmpegLibrary.load(Path.of("/opt/ffmpeg-2.8/lib"));
 * }</pre>
 *
 * <p>The {@link System.Logger} {@code kiv.media.ffmpeg} gets what the library logs: errors as ERROR, what it does as DEBUG,
 * each encoded packet as TRACE. It gets nothing at all, errors included, and no line costs anything, unless DEBUG is on when
 * the library is loaded: only then is the logger's level looked at. What fails is told by exceptions in any case.
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

    /** The level is stored by the library but filters nothing. */
    private static final int LOG_LEVEL = 5;

    private static boolean nativesLoaded;
    private static Path loadedDirectory;
    private static long context;
    private static LibraryException failure;

    private FfmpegLibrary() {
    }

    /**
     * Loads the native library and FFmpeg, unless they are loaded.
     *
     * @throws LibraryException when something is missing or does not load
     */
    public static void load() {
        context();
    }

    /**
     * Loads the native library and FFmpeg from a directory.
     *
     * @param directory where the five libraries are: {@code libavcodec.so.56}, {@code libavformat.so.56},
     *     {@code libavutil.so.54}, {@code libswresample.so.1}, {@code libswscale.so.3}
     * @throws LibraryException when something is missing or does not load, or when FFmpeg is already loaded from
     *     another directory
     */
    public static synchronized void load(Path directory) {
        Path wanted = directory.toAbsolutePath().normalize();
        if (context == 0) {
            open(wanted);
        } else if (!wanted.equals(loadedDirectory)) {
            throw new LibraryException("FFmpeg is already loaded from " + loadedDirectory
                    + " and a process can load it only once; name " + wanted + " before the first use");
        }
    }

    /**
     * Loads only the native library, without FFmpeg, for users of {@link c_multimediaapi_ffmpeg} that call its
     * {@code n_init} themselves.
     *
     * @throws LibraryException when it is not found or does not load
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
     * Tells which FFmpeg a program would use, or uses: unpacks the class-path package when it is the one.
     *
     * @return the absolute path of its directory
     * @throws LibraryException when there is none
     */
    public static synchronized Path directory() {
        if (loadedDirectory != null) {
            return loadedDirectory;
        }
        try {
            return FfmpegDirectory.find();
        } catch (LoadingException e) {
            throw reported(e);
        }
    }

    /**
     * Makes FFmpeg's base libraries of a directory known to the dynamic loader. The libraries do not say where the
     * others are, so loading {@code libavcodec} fails, or takes another copy of them from elsewhere, unless they are in
     * the process already; then they are matched by name.
     *
     * @param directory the directory that is then given to {@code n_init}
     * @throws LibraryException when a file is missing or does not load
     */
    public static void preload(Path directory) {
        try {
            FfmpegDirectory.preload(directory.toAbsolutePath().normalize());
        } catch (LoadingException e) {
            throw reported(e);
        }
    }

    /** The process-wide library context, which is never closed. */
    static synchronized long context() {
        if (context == 0) {
            open(null);
        }
        return context;
    }

    private static void open(Path wanted) {
        if (failure != null) {
            // What failed inside the native library fails for good: it tries FFmpeg once in a process.
            throw new LibraryException(failure.getMessage(), failure);
        }
        Path directory = wanted != null ? wanted : directory();
        loadNatives();
        preload(directory);
        try {
            context = c_multimediaapi_ffmpeg.n_init(directory.toString(), logReceiver(), LOG_LEVEL);
        } catch (RuntimeException | Error e) {
            failure = new LibraryException("cannot load FFmpeg from " + directory + ": " + e.getMessage()
                    + "; it takes FFmpeg 2.5 to 2.8", e);
            throw failure;
        }
        loadedDirectory = directory;
        if (!c_multimediaapi_ffmpeg.logs()) {
            // What FFmpeg cannot decode is told by exceptions, not on the program's standard error.
            c_codecoptions_ffmpeg.n_set_log_level(context, c_codecoptions_ffmpeg.LOG_QUIET);
        }
    }

    private static LibraryException reported(LoadingException e) {
        return new LibraryException(e.getMessage(), e.getCause());
    }

    /** Every line costs a string and a call, some for each packet: nobody gets them unless somebody looks. */
    private static c_multimediaapi_ffmpeg logReceiver() {
        return c_multimediaapi_ffmpeg.logs() ? new c_multimediaapi_ffmpeg() : null;
    }
}
