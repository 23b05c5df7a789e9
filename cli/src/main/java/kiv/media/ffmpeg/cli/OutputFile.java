package kiv.media.ffmpeg.cli;

import java.io.FileDescriptor;
import java.io.FileOutputStream;
import java.io.IOException;
import java.io.PrintWriter;
import java.nio.ByteBuffer;
import java.nio.channels.FileChannel;
import java.nio.charset.StandardCharsets;
import java.nio.file.FileSystemException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.StandardCopyOption;
import java.nio.file.StandardOpenOption;
import java.util.UUID;

/**
 * A file of bytes that appears under its name when it is whole: it is written under another name beside its place. What
 * is no regular file, such as a pipe or a device, is written as it is. Used by one thread at a time; closed by any.
 */
final class OutputFile implements AutoCloseable {

    /** The name that stands for standard output. */
    static final String STANDARD_OUTPUT = "-";

    private final String name;
    private final Path file;
    private final Path aside;
    private final FileChannel channel;

    private OutputFile(String name, Path file, Path aside, FileChannel channel) {
        this.name = name;
        this.file = file;
        this.aside = aside;
        this.channel = channel;
    }

    /**
     * Begins a file.
     *
     * @param file the file, which is replaced when it exists
     */
    static OutputFile create(Path file) throws OutputException {
        try {
            if (Files.isDirectory(file)) {
                throw new FileSystemException(file.toString(), null, "is a directory");
            }
            if (Files.exists(file) && !Files.isRegularFile(file)) {
                // Opened outside of the lock: a pipe waits for its reader, and nothing of it has to be removed.
                FileChannel opened = FileChannel.open(file, StandardOpenOption.WRITE);
                return Unfinished.open(() -> new OutputFile(file.toString(), file, null, opened));
            }
            Path directory = file.toAbsolutePath().getParent();
            if (directory == null || !Files.isDirectory(directory)) {
                throw new FileSystemException(file.toString(), null, "its directory does not exist");
            }
            Path aside = file.resolveSibling("." + UUID.randomUUID() + ".part");
            return Unfinished.open(() -> new OutputFile(file.toString(), file, aside,
                    FileChannel.open(aside, StandardOpenOption.CREATE_NEW, StandardOpenOption.WRITE)));
        } catch (IOException e) {
            throw OutputException.of(file, e);
        }
    }

    /** Begins to write to standard output, which is not closed. */
    static OutputFile standardOutput() throws IOException {
        // Never closed nor collected while it is in use: the descriptor is the process's.
        return Unfinished.open(() -> new OutputFile("standard output", null, null,
                new FileOutputStream(FileDescriptor.out).getChannel()));
    }

    /** Writes what was printed there to standard output. Printing keeps its troubles to itself until it is asked. */
    static void flushStandardOutput(PrintWriter printed) throws OutputException {
        printed.flush();
        if (System.out.checkError()) {
            throw isPipe() ? new OutputException.ClosedPipe(null)
                    : new OutputException("standard output: cannot be written", null);
        }
    }

    /** Whether standard output leads to another program. */
    private static boolean isPipe() {
        try {
            String target = Files.readSymbolicLink(Path.of("/proc/self/fd/1")).toString();
            return target.startsWith("pipe:") || target.startsWith("socket:");
        } catch (IOException | UnsupportedOperationException e) {
            return false;
        }
    }

    void write(String ascii) throws OutputException {
        write(ByteBuffer.wrap(ascii.getBytes(StandardCharsets.US_ASCII)));
    }

    void write(byte[] bytes) throws OutputException {
        write(ByteBuffer.wrap(bytes));
    }

    /** Writes what remains of a buffer. */
    void write(ByteBuffer bytes) throws OutputException {
        try {
            while (bytes.hasRemaining()) {
                channel.write(bytes);
            }
        } catch (IOException e) {
            Unfinished.check();
            // A pipe fails in no other way, and the system's message is in the user's language.
            throw file == null && isPipe() ? new OutputException.ClosedPipe(e) : OutputException.of(name, e);
        }
    }

    /** Gives the file its name. */
    void finish() throws OutputException {
        try {
            if (aside != null) {
                channel.close();
                Files.move(aside, file, StandardCopyOption.REPLACE_EXISTING, StandardCopyOption.ATOMIC_MOVE);
            }
        } catch (IOException e) {
            Unfinished.check();
            throw OutputException.of(name, e);
        } finally {
            close();
        }
    }

    /** Ends the writing; without {@link #finish} before it, the file is dropped. Does nothing the second time. */
    @Override
    public void close() throws OutputException {
        try {
            if (file != null) {
                channel.close();
            }
            if (aside != null) {
                Files.deleteIfExists(aside);
            }
        } catch (IOException e) {
            throw OutputException.of(name, e);
        } finally {
            Unfinished.forget(this);
        }
    }
}
