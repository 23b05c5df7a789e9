package kiv.media.ffmpeg.cli;

import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.logging.ConsoleHandler;
import java.util.logging.Formatter;
import java.util.logging.Handler;
import java.util.logging.Level;
import java.util.logging.LogRecord;
import java.util.logging.Logger;
import kiv.media.ffmpeg.FfmpegLibrary;
import kiv.media.ffmpeg.MediaException;
import kiv.media.ffmpeg.MediaReader;
import picocli.CommandLine.Option;
import picocli.CommandLine.Parameters;

/** What every command on a media file takes. */
final class CommonOptions {

    /** A reference of our own, because the log manager would let the logger and its level go. */
    private static final Logger LIBRARY_LOG = Logger.getLogger("kiv.media.ffmpeg");

    @Parameters(index = "0", paramLabel = "FILE", description = "The media file.")
    Path file;

    @Option(names = "--ffmpeg", paramLabel = "DIR",
            description = "Take FFmpeg's libraries from this directory, not from the package that comes along.")
    Path ffmpeg;

    @Option(names = {"-v", "--verbose"}, description = "Show the library's log on standard error.")
    boolean verbose;

    /** Sets the log up, loads the library and opens the file. */
    MediaReader open() throws IOException {
        setUpLog();
        // Before anything is loaded, for a wrong name is found out at once.
        if (Files.isDirectory(file)) {
            throw new MediaException(file + ": is a directory");
        }
        if (Files.exists(file) && !Files.isRegularFile(file)) {
            throw new MediaException(file + ": not a file");
        }
        Files.newByteChannel(file).close();
        if (ffmpeg != null) {
            FfmpegLibrary.load(ffmpeg);
        }
        return MediaReader.open(file);
    }

    private void setUpLog() {
        LIBRARY_LOG.setUseParentHandlers(false);
        for (Handler handler : LIBRARY_LOG.getHandlers()) {
            LIBRARY_LOG.removeHandler(handler);
        }
        // What goes wrong is told by the command itself, in one line.
        LIBRARY_LOG.setLevel(verbose ? Level.ALL : Level.OFF);
        if (verbose) {
            Handler handler = new ConsoleHandler();
            handler.setLevel(Level.ALL);
            handler.setFormatter(new Formatter() {
                @Override
                public String format(LogRecord line) {
                    return line.getLevel() + " " + line.getMessage() + System.lineSeparator();
                }
            });
            LIBRARY_LOG.addHandler(handler);
        }
    }
}
