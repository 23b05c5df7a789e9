package kiv.media.ffmpeg;

import java.io.IOException;
import java.nio.channels.SeekableByteChannel;
import java.nio.file.FileSystemException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.attribute.BasicFileAttributes;
import java.util.Objects;

/** Opens files for what reads their bytes anywhere. */
final class MediaFile {

    private static final int FILE_TYPE = 0xF000;
    private static final int BLOCK_DEVICE = 0x6000;

    private MediaFile() {
    }

    /** Opens the bytes of a channel. */
    @FunctionalInterface
    interface Opening<T> {
        T open(SeekableByteChannel channel) throws IOException;
    }

    /**
     * Opens a seekable file. Opening a pipe would wait for its writer, and neither pipes nor terminals can be read
     * twice. Messages about the content start with the file's name.
     */
    static <T> T open(Path file, Opening<T> opening) throws IOException {
        if (Files.isDirectory(Objects.requireNonNull(file, "file"))) {
            throw new FileSystemException(file.toString(), null, "is a directory");
        }
        if (file.getFileSystem().supportedFileAttributeViews().contains("unix")
                && Files.readAttributes(file, BasicFileAttributes.class).isOther()
                && ((Integer) Files.getAttribute(file, "unix:mode") & FILE_TYPE) != BLOCK_DEVICE) {
            throw new FileSystemException(file.toString(), null, "is a pipe or a device, not a file; copy what comes"
                    + " out of it into a file first");
        }
        SeekableByteChannel channel = Files.newByteChannel(file);
        try {
            return opening.open(channel);
        } catch (Throwable e) {
            channel.close();
            if (e instanceof MediaFormatException) {
                throw new MediaFormatException(file + ": " + e.getMessage(), e);
            }
            if (e instanceof UnsupportedCodecException) {
                throw new UnsupportedCodecException(file + ": " + e.getMessage(), e);
            }
            throw e;
        }
    }
}
