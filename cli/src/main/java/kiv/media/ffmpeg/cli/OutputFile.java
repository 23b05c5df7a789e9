package kiv.media.ffmpeg.cli;

import java.io.FileDescriptor;
import java.io.FileOutputStream;
import java.io.IOException;
import java.io.PrintWriter;
import java.nio.ByteBuffer;
import java.nio.channels.FileChannel;
import java.nio.charset.StandardCharsets;
import java.nio.file.FileSystemException;
import java.nio.file.FileSystemLoopException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.StandardCopyOption;
import java.nio.file.StandardOpenOption;
import java.util.UUID;

/**
 * A file of bytes that appears under its name when it is whole: until then it has a temporary name in the same
 * directory. A pipe or a device is written directly. One thread at a time may use it; any thread may close it.
 */
final class OutputFile implements AutoCloseable {

    /** The name that stands for standard output. */
    static final String STANDARD_OUTPUT = "-";

    private static final int MOST_LINKS = 40;

    private final String name;
    private final Path file;
    private final Path temporary;
    private final FileChannel channel;
    private long written;

    private OutputFile(String name, Path file, Path temporary, FileChannel channel) {
        this.name = name;
        this.file = file;
        this.temporary = temporary;
        this.channel = channel;
    }

    /**
     * Begins a file.
     *
     * @param name the file, which is replaced when it exists; a symbolic link stays, and the file that it leads to is
     *     replaced
     */
    static OutputFile create(Path name) throws OutputException {
        try {
            Path file = target(name);
            if (Files.isDirectory(file)) {
                throw new FileSystemException(name.toString(), null, "is a directory");
            }
            if (Files.exists(file) && !Files.isRegularFile(file)) {
                // Opened before the lock is taken: opening a pipe waits for its reader, and leaves nothing to remove.
                FileChannel opened = FileChannel.open(file, StandardOpenOption.WRITE);
                return ShutdownGuard.open(() -> new OutputFile(name.toString(), file, null, opened));
            }
            Path directory = file.toAbsolutePath().getParent();
            if (directory == null || !Files.isDirectory(directory)) {
                throw new FileSystemException(name.toString(), null, "its directory does not exist");
            }
            Path temporary = file.resolveSibling("." + UUID.randomUUID() + ".part");
            return ShutdownGuard.open(() -> new OutputFile(name.toString(), file, temporary,
                    FileChannel.open(temporary, StandardOpenOption.CREATE_NEW, StandardOpenOption.WRITE)));
        } catch (IOException e) {
            throw OutputException.of(name, e);
        }
    }

    /** Follows symbolic links, also to a file that does not exist. */
    private static Path target(Path name) throws IOException {
        Path target = name;
        for (int links = 0; Files.isSymbolicLink(target); links++) {
            if (links == MOST_LINKS) {
                throw new FileSystemLoopException(name.toString());
            }
            target = target.resolveSibling(Files.readSymbolicLink(target));
        }
        return target;
    }

    /** Begins to write to standard output, which is not closed. */
    static OutputFile standardOutput() throws IOException {
        // Never closed, because the descriptor belongs to the process.
        return ShutdownGuard.open(() -> new OutputFile("standard output", null, null,
                new FileOutputStream(FileDescriptor.out).getChannel()));
    }

    /** Flushes what was printed to standard output and reports a failure, which printing itself does not. */
    static void flushStandardOutput(PrintWriter printed) throws OutputException {
        printed.flush();
        if (System.out.checkError()) {
            throw isPipe() ? new OutputException.ClosedPipe(null)
                    : new OutputException("standard output: cannot be written", null);
        }
    }

    /** Returns whether standard output leads to another program. */
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
                written += channel.write(bytes);
            }
        } catch (IOException e) {
            ShutdownGuard.throwIfEnding();
            // A pipe fails in no other way; the system's message is in the user's language.
            throw file == null && isPipe() ? new OutputException.ClosedPipe(e) : OutputException.of(name, e);
        }
    }

    /** {@return how many bytes were written so far} */
    long written() {
        return written;
    }

    /** Gives the file its name, which replaces an existing file in one step. */
    void finish() throws OutputException {
        try {
            if (temporary != null) {
                channel.close();
                Files.move(temporary, file, StandardCopyOption.REPLACE_EXISTING, StandardCopyOption.ATOMIC_MOVE);
            }
        } catch (IOException e) {
            ShutdownGuard.throwIfEnding();
            throw OutputException.of(name, e);
        } finally {
            close();
        }
    }

    /** Ends the writing; without {@link #finish} before it, the file is removed. Does nothing the second time. */
    @Override
    public void close() throws OutputException {
        try {
            if (file != null) {
                channel.close();
            }
            if (temporary != null) {
                Files.deleteIfExists(temporary);
            }
        } catch (IOException e) {
            throw OutputException.of(name, e);
        } finally {
            ShutdownGuard.forget(this);
        }
    }
}
