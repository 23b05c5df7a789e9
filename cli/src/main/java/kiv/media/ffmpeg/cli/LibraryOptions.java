package kiv.media.ffmpeg.cli;

import java.nio.file.Path;
import java.util.logging.ConsoleHandler;
import java.util.logging.Formatter;
import java.util.logging.Handler;
import java.util.logging.Level;
import java.util.logging.LogRecord;
import java.util.logging.Logger;
import kiv.media.ffmpeg.FfmpegLibrary;
import picocli.CommandLine.Option;

/** The options of every command that uses the library. */
final class LibraryOptions {

    /** A strong reference, because the log manager's is weak and the logger's level would be lost with the logger. */
    private static final Logger LIBRARY_LOG = Logger.getLogger("kiv.media.ffmpeg");

    @Option(names = "--ffmpeg", paramLabel = "DIR",
            description = "Take FFmpeg's libraries from this directory, not from the package that comes along: FFmpeg 2.5"
                + " to 2.8 or 5.1 to 8.0.")
    private Path ffmpeg;

    @Option(names = {"-v", "--verbose"},
            description = "Show the library's log on standard error, and where errors come from; -vv shows packets"
                + " too.")
    private boolean[] verbose = {};

    /** Sets the log up and loads FFmpeg from the directory that was named. */
    void apply() {
        setUpLog();
        if (ffmpeg != null) {
            FfmpegLibrary.load(ffmpeg);
        }
    }

    /** Replaces the handlers that an earlier command of the same process may have set. */
    private void setUpLog() {
        LIBRARY_LOG.setUseParentHandlers(false);
        for (Handler handler : LIBRARY_LOG.getHandlers()) {
            LIBRARY_LOG.removeHandler(handler);
        }
        Level level = switch (verbose.length) {
            case 0 -> Level.WARNING;
            case 1 -> Level.FINE;
            default -> Level.ALL;
        };
        LIBRARY_LOG.setLevel(level);
        Handler handler = new ConsoleHandler();
        handler.setLevel(Level.ALL);
        handler.setFormatter(new Formatter() {
            @Override
            public String format(LogRecord line) {
                return name(line.getLevel()) + ": " + formatMessage(line) + System.lineSeparator();
            }
        });
        if (level == Level.WARNING) {
            // The command itself reports failures, in one line.
            handler.setFilter(line -> line.getLevel() == Level.WARNING);
        }
        LIBRARY_LOG.addHandler(handler);
    }

    /** Returns the library's name of a level. */
    private static String name(Level level) {
        if (level.intValue() <= Level.FINER.intValue()) {
            return "trace";
        }
        return level.intValue() <= Level.CONFIG.intValue() ? "debug"
                : level.intValue() >= Level.SEVERE.intValue() ? "error"
                : level.intValue() >= Level.WARNING.intValue() ? "warning" : "info";
    }
}
