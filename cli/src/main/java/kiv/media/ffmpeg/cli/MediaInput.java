package kiv.media.ffmpeg.cli;

import java.io.IOException;
import java.io.PrintWriter;
import java.nio.channels.ReadableByteChannel;
import java.nio.channels.SeekableByteChannel;
import java.nio.file.Files;
import java.nio.file.Path;
import java.time.Duration;
import java.util.Optional;
import java.util.function.Supplier;
import kiv.media.ffmpeg.AudioDecoder;
import kiv.media.ffmpeg.FfmpegLibrary;
import kiv.media.ffmpeg.Film;
import kiv.media.ffmpeg.Isolation;
import kiv.media.ffmpeg.LibraryException;
import kiv.media.ffmpeg.MediaFormatException;
import kiv.media.ffmpeg.MediaReader;
import kiv.media.ffmpeg.MediaStream;
import kiv.media.ffmpeg.ReaderLimits;
import kiv.media.ffmpeg.SampleFormat;
import kiv.media.ffmpeg.Sound;
import kiv.media.ffmpeg.UnsupportedCodecException;
import kiv.media.ffmpeg.VideoDecoder;
import kiv.media.ffmpeg.WorkerException;
import picocli.CommandLine.Mixin;
import picocli.CommandLine.Parameters;

/** The media file that a command reads, or standard input, with the options for it. Failures to open it name it. */
final class MediaInput {

    /** The argument that stands for standard input. */
    static final String STANDARD_INPUT = "-";
    /** The processor time that opening may take, and a second for the reader to report that it took more. */
    private static final Duration LOOPS = ReaderLimits.USUAL.processorTime().plusSeconds(1);

    @Parameters(index = "0", paramLabel = "FILE", description = "The media file; - reads standard input.")
    private String argument;

    @Mixin
    private LibraryOptions library;

    @Mixin
    private WallOption wall;

    private StandardInput standardInput;

    /** Filled by the command line. */
    MediaInput() {
    }

    MediaInput(String argument, LibraryOptions library, WallOption wall) {
        this.argument = argument;
        this.library = library;
        this.wall = wall;
    }

    boolean isStandardInput() {
        return argument.equals(STANDARD_INPUT);
    }

    /** Returns the input's name for people. */
    String name() {
        return isStandardInput() ? "standard input" : argument;
    }

    /** Returns the file, or nothing for standard input. */
    Optional<Path> file() throws IOException {
        return isStandardInput() ? Optional.empty() : Optional.of(FileNames.existing(argument));
    }

    /** Returns the file's name without its directory. */
    String title() {
        return name().replaceAll("/+$", "").replaceAll("(?s).*/", "");
    }

    /** Returns the file's name without its extension, for the names of outputs. */
    String baseName() {
        if (isStandardInput()) {
            return "stdin";
        }
        String name = FileNames.encodable(title());
        int dot = name.lastIndexOf('.');
        return dot > 0 ? name.substring(0, dot) : name;
    }

    /** Returns whether an output would replace the input. */
    boolean isInput(Path output) throws IOException {
        return !isStandardInput() && Files.exists(output) && Files.exists(FileNames.existing(argument))
                && Files.isSameFile(output, FileNames.existing(argument));
    }

    /**
     * Opens the file for reading it once, from its beginning. Standard input is read forward only then, and kept no longer
     * than until it is open, unless its container cannot be read like that.
     */
    MediaReader openForward() throws IOException {
        return open(bytes -> {
            if (!isStandardInput() || !standardInput.isKept()) {
                return MediaReader.open(bytes, ReaderLimits.USUAL, isolation());
            }
            try {
                MediaReader reader = MediaReader.open((ReadableByteChannel) bytes, ReaderLimits.USUAL, isolation());
                standardInput.keepNoMore();
                return reader;
            } catch (MediaFormatException e) {
                return MediaReader.open(bytes, ReaderLimits.USUAL, isolation());
            }
        });
    }

    /** {@return where to open the file} */
    Isolation isolation() {
        return wall.isolation();
    }

    /** Opens the bytes of the file. */
    @FunctionalInterface
    interface Opening<T> {
        T open(SeekableByteChannel bytes) throws IOException;
    }

    /** Loads the library and opens the file. */
    MediaReader open() throws IOException {
        return open(bytes -> MediaReader.open(bytes, ReaderLimits.USUAL, isolation()));
    }

    /** Loads the library and opens the file in some way. */
    <T> T open(Opening<T> opening) throws IOException {
        if (isStandardInput()) {
            if (standardInput == null) {
                standardInput = StandardInput.open();
            }
        } else {
            check(FileNames.existing(argument));
        }
        library.apply();
        FfmpegLibrary.load();
        SeekableByteChannel bytes = bytes();
        boolean opened = false;
        try {
            T result = LoopGuard.watch(isStandardInput() ? LOOPS.multipliedBy(2) : LOOPS, this::giveUp,
                    () -> opening.open(bytes));
            opened = true;
            return result;
        } catch (LibraryException e) {
            throw WallOption.notStarted(e);
        } catch (WorkerException e) {
            throw new KilledException(this, e);
        } catch (UnsupportedCodecException e) {
            throw new UnsupportedCodecException(about(e.getMessage()), e);
        } catch (MediaFormatException e) {
            throw new MediaFormatException(about(Diagnosis.of(bytes).orElse(e.getMessage())), e);
        } finally {
            if (!opened) {
                bytes.close();
            }
        }
    }

    /** These checks come before the library is loaded, so that a wrong name is reported at once. */
    private void check(Path file) throws IOException {
        if (Files.isDirectory(file)) {
            throw new MediaFormatException(about("is a directory"));
        }
        if (Files.exists(file) && !Files.isRegularFile(file)) {
            throw new MediaFormatException(about("not a file; pipe what comes out of it to standard input, which - names"));
        }
        Files.newByteChannel(file).close();
    }

    private SeekableByteChannel bytes() throws IOException {
        return isStandardInput() ? standardInput.bytes() : Files.newByteChannel(FileNames.existing(argument));
    }

    /** Returns what of the input is missing at its end; empty when nothing is, or when the container does not say. */
    Optional<String> missingEnd() throws IOException {
        try (SeekableByteChannel bytes = bytes()) {
            return FileEnd.missing(bytes);
        }
    }

    /** Returns how many bytes there are; -1 when that is not known yet. */
    long size() throws IOException {
        try (SeekableByteChannel bytes = bytes()) {
            return bytes.size();
        }
    }

    /** Ends the process, in which another thread is inside FFmpeg for good. Nothing was written yet. */
    private void giveUp() {
        FailureReport.failed(new PrintWriter(System.err), about(LoopGuard.LOOPS));
        Runtime.getRuntime().halt(ExitStatus.INPUT);
    }

    /** Opens the film, for any part of it. */
    Film openFilm() throws IOException {
        return open(bytes -> Film.open(bytes, ReaderLimits.USUAL, isolation()));
    }

    /** Opens a stream of sound, for any part of it. */
    Sound openSound(MediaStream stream) throws IOException {
        return open(bytes -> Sound.open(bytes, stream.index(), SampleFormat.PCM_16, ReaderLimits.USUAL, isolation()));
    }

    VideoDecoder openVideoDecoder(MediaStream stream, DecodingThreads threads) {
        return named(() -> threads.open(stream));
    }

    AudioDecoder openAudioDecoder(MediaStream stream) {
        return openAudioDecoder(stream, SampleFormat.PCM_16);
    }

    AudioDecoder openAudioDecoder(MediaStream stream, SampleFormat samples) {
        return named(() -> AudioDecoder.open(stream, samples));
    }

    private <T> T named(Supplier<T> opening) {
        try {
            return opening.get();
        } catch (WorkerException e) {
            throw new KilledException(this, e);
        } catch (UnsupportedCodecException e) {
            throw new UnsupportedCodecException(about(e.getMessage()), e);
        } catch (MediaFormatException e) {
            throw new MediaFormatException(about(e.getMessage()), e);
        }
    }

    /** Puts the input's name in front of a message. */
    String about(String message) {
        return message.startsWith(name()) ? message : name() + ": " + message;
    }
}
