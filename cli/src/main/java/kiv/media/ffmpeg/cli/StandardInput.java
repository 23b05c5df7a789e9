package kiv.media.ffmpeg.cli;

import java.io.FileDescriptor;
import java.io.FileInputStream;
import java.io.IOException;
import java.nio.ByteBuffer;
import java.nio.channels.ClosedChannelException;
import java.nio.channels.FileChannel;
import java.nio.channels.NonWritableChannelException;
import java.nio.channels.SeekableByteChannel;
import java.nio.file.FileSystemException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.StandardOpenOption;
import java.nio.file.attribute.PosixFilePermissions;
import java.util.Set;
import java.util.UUID;

/**
 * Standard input as bytes that can be read anywhere and again. What has come is kept in a temporary file, which loses its
 * name as soon as it is open: however the process ends, nothing is left. No more is read than is asked for. Who reads
 * forward only ends the keeping. One thread at a time may use it.
 */
final class StandardInput {

    private static final Path DESCRIPTOR = Path.of("/proc/self/fd/0");
    private static final int PIECE = 1 << 16;
    /** Bytes of the end that are known without the file, by which it shows whether something is missing. */
    private static final int RECENT = 1 << 20;

    private final FileChannel source;
    private final FileChannel kept;
    private final Path directory;
    private final ByteBuffer piece = ByteBuffer.allocateDirect(PIECE);
    private long size;
    private long keptSize;
    /** The last bytes, by their position modulo its length; null while all are kept. */
    private byte[] recent;
    private boolean complete;

    private StandardInput(FileChannel source, FileChannel kept, Path directory) {
        this.source = source;
        this.kept = kept;
        this.directory = directory;
    }

    /** Begins to read standard input. A file is not copied. */
    static StandardInput open() throws IOException {
        // Never closed, because the descriptor belongs to the process.
        FileChannel source = new FileInputStream(FileDescriptor.in).getChannel();
        if (Files.isRegularFile(DESCRIPTOR) && Files.isReadable(DESCRIPTOR) && source.position() == 0) {
            return new StandardInput(source, null, null);
        }
        String target = Files.readSymbolicLink(DESCRIPTOR).toString();
        if (target.startsWith("/dev/pts/") || target.startsWith("/dev/tty")) {
            throw new FileSystemException("standard input", null, "is the terminal; pipe a file into it");
        }
        String named = System.getenv("TMPDIR");
        Path directory = Path.of(named == null || named.isEmpty() ? System.getProperty("java.io.tmpdir") : named);
        try {
            return new StandardInput(source, FileChannel.open(directory.resolve("kivjniffmpeg-" + UUID.randomUUID()),
                    Set.of(StandardOpenOption.CREATE_NEW, StandardOpenOption.READ, StandardOpenOption.WRITE,
                            StandardOpenOption.DELETE_ON_CLOSE),
                    PosixFilePermissions.asFileAttribute(PosixFilePermissions.fromString("rw-------"))), directory);
        } catch (IOException e) {
            throw notKept(directory, e);
        }
    }

    private static OutputException notKept(Path directory, IOException cause) {
        return new OutputException("standard input cannot be kept in " + directory + ", where TMPDIR names another"
                + " directory: " + FailureReport.reason(cause), cause);
    }

    /** Returns the bytes from the first one on, at a place of their own. */
    SeekableByteChannel bytes() throws IOException {
        return kept == null ? Files.newByteChannel(DESCRIPTOR) : new Bytes();
    }

    /** Returns whether what comes is kept, because it comes only once. */
    boolean isKept() {
        return kept != null;
    }

    /** From now on bytes are read in their order. Of those that come only the last ones can be read again, others are zeros. */
    void keepNoMore() {
        recent = new byte[RECENT];
    }

    private int read(ByteBuffer to, long position) throws IOException {
        while (position >= size && !complete) {
            fetch();
        }
        if (position >= size) {
            return -1;
        }
        if (position < keptSize) {
            return kept.read(to, position);
        }
        int count = (int) Math.min(Math.min(to.remaining(), size - position), RECENT);
        for (long at = position; at < position + count; at++) {
            to.put(at < size - RECENT ? 0 : recent[(int) (at % RECENT)]);
        }
        return count;
    }

    private void fetch() throws IOException {
        complete = source.read(piece.clear()) < 0;
        piece.flip();
        if (recent != null) {
            while (piece.hasRemaining()) {
                recent[(int) (size++ % RECENT)] = piece.get();
            }
            return;
        }
        try {
            while (piece.hasRemaining()) {
                size += kept.write(piece, size);
            }
            keptSize = size;
        } catch (IOException e) {
            throw notKept(directory, e);
        }
    }

    /** The bytes as a channel, whose size is unknown until the last one has come. */
    private final class Bytes implements SeekableByteChannel {

        private long position;
        private boolean closed;

        @Override
        public int read(ByteBuffer to) throws IOException {
            ensureOpen();
            int count = StandardInput.this.read(to, position);
            position += Math.max(0, count);
            return count;
        }

        @Override
        public long position() throws IOException {
            ensureOpen();
            return position;
        }

        @Override
        public SeekableByteChannel position(long to) throws IOException {
            ensureOpen();
            position = to;
            return this;
        }

        @Override
        public long size() throws IOException {
            ensureOpen();
            return complete ? size : -1;
        }

        @Override
        public int write(ByteBuffer from) {
            throw new NonWritableChannelException();
        }

        @Override
        public SeekableByteChannel truncate(long length) {
            throw new NonWritableChannelException();
        }

        @Override
        public boolean isOpen() {
            return !closed;
        }

        @Override
        public void close() {
            closed = true;
        }

        private void ensureOpen() throws ClosedChannelException {
            if (closed) {
                throw new ClosedChannelException();
            }
        }
    }
}
