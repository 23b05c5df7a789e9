package kiv.media.ffmpeg.cli;

import java.io.IOException;
import java.io.InputStream;
import java.nio.channels.SeekableByteChannel;
import java.nio.file.Files;
import java.nio.file.Path;
import java.time.Duration;
import kiv.media.ffmpeg.Film;
import kiv.media.ffmpeg.MediaFormatException;
import kiv.media.ffmpeg.ReaderLimits;
import kiv.media.ffmpeg.WorkerException;
import picocli.CommandLine.Mixin;
import picocli.CommandLine.Option;

/** The film that a command takes pictures out of, with the options for it. */
final class FilmInput {

    /** How pictures are found. */
    enum Seek {
        EXACT, APPROXIMATE
    }

    @Mixin
    private MediaInput input;

    @Option(names = "--seek", paramLabel = "HOW", defaultValue = "EXACT", description = "exact (the default): the pictures"
            + " that decoding the whole film gives; approximate: those that the container leads to, which is fast and may"
            + " be wrong.")
    private Seek seek;

    @Option(names = "--index", paramLabel = "FILE", description = "Take the index that 'index --save' wrote, instead of"
            + " reading the film's packets.")
    private Path index;

    /** Work with the film; its failures are reported with the file's name. */
    @FunctionalInterface
    interface Work<T> {
        T with(Film film) throws IOException;
    }

    MediaInput input() {
        return input;
    }

    <T> T use(Work<T> work) throws IOException {
        try (Film film = input.open(this::open)) {
            if (index != null) {
                try (InputStream bytes = Files.newInputStream(index)) {
                    film.loadIndex(bytes);
                } catch (MediaFormatException e) {
                    throw new MediaFormatException(index + ": " + e.getMessage(), e);
                }
            }
            return work.with(film);
        } catch (WorkerException e) {
            throw new KilledException(input, e);
        } catch (IndexOutOfBoundsException e) {
            throw new MediaFormatException(input.about(e.getMessage()), e);
        } catch (MediaFormatException e) {
            throw index != null && e.getMessage().startsWith(index.toString()) ? e
                    : new MediaFormatException(input.about(e.getMessage()), e);
        }
    }

    private Film open(SeekableByteChannel bytes) throws IOException {
        return seek == Seek.EXACT ? Film.open(bytes, ReaderLimits.USUAL, input.isolation())
                : Film.openApproximate(bytes, input.isolation());
    }

    /** {@return whether numbers and times are those of decoding the whole} */
    boolean isExact() {
        return seek == Seek.EXACT;
    }

    /** {@return a time that a person counts from the file's beginning, on the container's time line} */
    static Duration time(Film film, Duration fromBeginning) {
        return fromBeginning.plus(film.beginning());
    }
}
