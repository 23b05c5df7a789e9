package kiv.media.ffmpeg.cli;

import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.function.Supplier;
import kiv.media.ffmpeg.AudioDecoder;
import kiv.media.ffmpeg.MediaFormatException;
import kiv.media.ffmpeg.MediaReader;
import kiv.media.ffmpeg.MediaStream;
import kiv.media.ffmpeg.UnsupportedCodecException;
import kiv.media.ffmpeg.VideoDecoder;
import picocli.CommandLine.Mixin;
import picocli.CommandLine.Parameters;

/** The media file that a command reads, with the options for it. Failures to open it name the file. */
final class MediaInput {

    @Parameters(index = "0", paramLabel = "FILE", description = "The media file.")
    private Path file;

    @Mixin
    private LibraryOptions library;

    Path file() {
        return file;
    }

    /** Returns the file's name without its extension. */
    String baseName() {
        String name = file.getFileName().toString();
        int dot = name.lastIndexOf('.');
        return dot > 0 ? name.substring(0, dot) : name;
    }

    /** Returns whether an output would replace the input. */
    boolean isInput(Path output) throws IOException {
        return Files.exists(output) && Files.exists(file) && Files.isSameFile(output, file);
    }

    /** Loads the library and opens the file. */
    MediaReader open() throws IOException {
        // These checks come before the library is loaded, so that a wrong name is reported at once.
        if (Files.isDirectory(file)) {
            throw new MediaFormatException(file + ": is a directory");
        }
        if (Files.exists(file) && !Files.isRegularFile(file)) {
            throw new MediaFormatException(file + ": not a file; what cannot be sought in is to be saved first");
        }
        Files.newByteChannel(file).close();
        library.apply();
        return MediaReader.open(file);
    }

    VideoDecoder openVideoDecoder(MediaStream stream) {
        return named(() -> VideoDecoder.open(stream));
    }

    AudioDecoder openAudioDecoder(MediaStream stream) {
        return named(() -> AudioDecoder.open(stream));
    }

    private <T> T named(Supplier<T> opening) {
        try {
            return opening.get();
        } catch (UnsupportedCodecException e) {
            throw new UnsupportedCodecException(about(e.getMessage()), e);
        } catch (MediaFormatException e) {
            throw new MediaFormatException(about(e.getMessage()), e);
        }
    }

    /** Puts the file's name in front of a message. */
    String about(String message) {
        return message.startsWith(file.toString()) ? message : file + ": " + message;
    }
}
