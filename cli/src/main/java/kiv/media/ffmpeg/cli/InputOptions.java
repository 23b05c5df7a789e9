package kiv.media.ffmpeg.cli;

import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;
import kiv.media.ffmpeg.MediaFormatException;
import kiv.media.ffmpeg.MediaReader;
import picocli.CommandLine.Mixin;
import picocli.CommandLine.Parameters;

/** What every command on a media file takes. */
final class InputOptions {

    @Parameters(index = "0", paramLabel = "FILE", description = "The media file.")
    private Path file;

    @Mixin
    private LibraryOptions library;

    Path file() {
        return file;
    }

    /** The file's name without its ending. */
    String baseName() {
        String name = file.getFileName().toString();
        int dot = name.lastIndexOf('.');
        return dot > 0 ? name.substring(0, dot) : name;
    }

    /** Whether a file that is to be written is the input. */
    boolean isInput(Path other) throws IOException {
        return Files.exists(other) && Files.exists(file) && Files.isSameFile(other, file);
    }

    /** Loads the library and opens the file. */
    MediaReader open() throws IOException {
        // Before anything is loaded, for a wrong name is found out at once.
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

    /** Names the file in front of what is wrong with it. */
    String about(String message) {
        return message.startsWith(file.toString()) ? message : file + ": " + message;
    }
}
