package kiv.media.ffmpeg.cli;

import java.io.IOException;
import java.security.MessageDigest;
import java.security.NoSuchAlgorithmException;
import java.util.ArrayDeque;
import java.util.Deque;
import java.util.HexFormat;
import java.util.concurrent.ExecutionException;
import java.util.concurrent.ExecutorService;
import java.util.concurrent.Executors;
import java.util.concurrent.Future;
import kiv.media.ffmpeg.Picture;
import kiv.media.ffmpeg.Plane;

/**
 * Makes the rows of pictures with hashes on threads of its own, while the next pictures are decoded. The rows keep the order
 * of the pictures. Used by one thread.
 */
final class PictureHashes implements AutoCloseable {

    private static final int THREADS = Runtime.getRuntime().availableProcessors();
    /** Pictures in memory at most. */
    private static final int WAITING = THREADS + 2;
    /** Bytes that are hashed at once. They stay in the processor's cache, and most rows are shorter. */
    private static final int PART = 1 << 16;

    private final ExecutorService workers = Executors.newFixedThreadPool(THREADS);
    private final Deque<Future<String>> rows = new ArrayDeque<>();
    private final Printer printer;

    /** Takes a row. */
    @FunctionalInterface
    interface Printer {
        void print(String row) throws IOException;
    }

    PictureHashes(Printer printer) {
        this.printer = printer;
    }

    /** Takes a picture, which is closed, and prints the rows that are ready when there are many. */
    void add(Picture picture) throws IOException {
        rows.add(workers.submit(() -> {
            try (picture) {
                return row(picture);
            }
        }));
        if (rows.size() >= WAITING) {
            printFirst();
        }
    }

    /** Prints all rows that are left. */
    void finish() throws IOException {
        while (!rows.isEmpty()) {
            printFirst();
        }
    }

    private void printFirst() throws IOException {
        try {
            printer.print(rows.remove().get());
        } catch (ExecutionException e) {
            if (e.getCause() instanceof Error error) {
                throw error;
            }
            throw (RuntimeException) e.getCause();
        } catch (InterruptedException e) {
            Thread.currentThread().interrupt();
            throw new IOException("interrupted while pictures were hashed", e);
        }
    }

    @Override
    public void close() {
        workers.shutdownNow();
    }

    /** Returns the row of a picture in the table of frames-md5. */
    static String row(Picture picture) {
        MessageDigest md5 = md5();
        byte[] part = new byte[PART];
        long size = 0;
        for (int index = 0; index < picture.format().planes(); index++) {
            Plane plane = picture.plane(index);
            int used = 0;
            for (int row = 0; row < plane.rows(); row++) {
                int length = plane.rowBytes();
                if (used + length > part.length) {
                    md5.update(part, 0, used);
                    used = 0;
                    part = length > part.length ? new byte[length] : part;
                }
                plane.bytes().get(row * plane.lineSize(), part, used, length);
                used += length;
            }
            md5.update(part, 0, used);
            size += (long) plane.rowBytes() * plane.rows();
        }
        if (picture.format().hasPalette()) {
            byte[] all = picture.toBytes();
            md5.update(all, (int) size, all.length - (int) size);
            size = all.length;
        }
        return row(picture.timestamp(), Math.max(1, picture.duration()), size, md5.digest());
    }

    /** Returns the row of other bytes. */
    static String row(long time, long duration, byte[] bytes) {
        return row(time, duration, bytes.length, md5().digest(bytes));
    }

    private static String row(long time, long duration, long size, byte[] hash) {
        StringBuilder row = new StringBuilder("0, ");
        append(row, time, 10);
        append(row, time, 10);
        append(row, duration, 8);
        append(row, size, 8);
        return row.append(HexFormat.of().formatHex(hash)).toString();
    }

    private static void append(StringBuilder row, long number, int width) {
        String text = Long.toString(number);
        row.append(" ".repeat(Math.max(0, width - text.length()))).append(text).append(", ");
    }

    private static MessageDigest md5() {
        try {
            return MessageDigest.getInstance("MD5");
        } catch (NoSuchAlgorithmException e) {
            throw new IllegalStateException(e);
        }
    }
}
