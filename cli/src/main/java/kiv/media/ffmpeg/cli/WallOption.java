package kiv.media.ffmpeg.cli;

import kiv.media.ffmpeg.Isolation;
import kiv.media.ffmpeg.LibraryException;
import picocli.CommandLine.Option;

/** Where the films of a command are decoded: each in a process behind the wall, or all in this one. */
final class WallOption {

    @Option(names = "--no-wall", description = "Decode in this process, for measurements. Otherwise a process without any rights"
            + " decodes, and a film that ends it ends nothing else.")
    private boolean without;

    /** {@return where to open films: behind the wall, unless an option or the library's system property chooses otherwise} */
    Isolation isolation() {
        return without ? Isolation.none()
                : System.getProperty("kiv.media.ffmpeg.isolation") == null ? Isolation.wall() : Isolation.usual();
    }

    /** {@return what to report when FFmpeg is loaded and opening a film fails with this nevertheless} */
    static LibraryException notStarted(LibraryException failure) {
        return new LibraryException(failure.getMessage() + "; --no-wall decodes without such a process", failure);
    }
}
