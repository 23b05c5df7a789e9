package kiv.media.ffmpeg.cli;

import java.io.IOException;
import java.nio.file.DirectoryIteratorException;
import java.nio.file.DirectoryStream;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.BitSet;
import java.util.Locale;
import java.util.concurrent.ArrayBlockingQueue;
import java.util.concurrent.ThreadPoolExecutor;
import java.util.concurrent.TimeUnit;
import java.util.concurrent.atomic.AtomicLong;
import java.util.concurrent.atomic.AtomicReference;
import java.util.regex.Matcher;
import java.util.regex.Pattern;
import kiv.media.ffmpeg.Picture;

/**
 * Writes pictures as PNG files with several threads, because compressing a picture takes longer than decoding it. When
 * the queue is full, the caller's thread compresses the picture itself.
 */
final class PngPictures implements PictureOutput {

    private static final int POLL_MILLIS = 100;

    private final Path directory;
    private final String baseName;
    private final PictureView view;
    private final ThreadPoolExecutor workers;
    private final AtomicReference<Throwable> failure = new AtomicReference<>();
    private final AtomicLong bytes = new AtomicLong();
    /** The numbers of the pictures. */
    private final BitSet written = new BitSet();
    private long removed;

    PngPictures(Path directory, String baseName, PictureView view) {
        this.directory = directory;
        this.baseName = baseName;
        this.view = view;
        int threads = Runtime.getRuntime().availableProcessors();
        workers = new ThreadPoolExecutor(threads, threads, 0, TimeUnit.SECONDS, new ArrayBlockingQueue<>(threads),
                new ThreadPoolExecutor.CallerRunsPolicy());
    }

    /** {@return the name of a picture's file} */
    static String name(String baseName, long number) {
        return String.format(Locale.ROOT, "%s-%05d.png", baseName, number);
    }

    @Override
    public void write(Picture picture, long number) throws IOException {
        throwFailure();
        Path file = directory.resolve(name(baseName, number));
        written.set(Math.toIntExact(number));
        workers.execute(() -> {
            try (picture; OutputFile output = OutputFile.create(file)) {
                output.write(ImageFile.encode(view, picture, file.toString()));
                output.finish();
                bytes.addAndGet(output.written());
            } catch (Throwable e) { // thrown again by the caller's thread
                failure.compareAndSet(null, e);
            }
        });
    }

    @Override
    public void finish() throws IOException {
        workers.shutdown();
        try {
            while (!workers.awaitTermination(POLL_MILLIS, TimeUnit.MILLISECONDS)) {
                ShutdownGuard.throwIfEnding();
                throwFailure();
            }
        } catch (InterruptedException e) {
            Thread.currentThread().interrupt();
            throw new IOException("interrupted while pictures were written", e);
        }
        throwFailure();
        removeStale();
    }

    /** Removes the pictures that an earlier run made of this file and that the new ones do not replace. */
    private void removeStale() throws IOException {
        Pattern names = Pattern.compile(Pattern.quote(baseName) + "-(?<number>\\d{5,9})\\.png");
        try (DirectoryStream<Path> files = Files.newDirectoryStream(directory)) {
            for (Path file : files) {
                Matcher name = names.matcher(file.getFileName().toString());
                if (name.matches() && !written.get(Integer.parseInt(name.group("number"))) && ImageFile.isOurs(file)) {
                    Files.delete(file);
                    removed++;
                }
            }
        } catch (IOException | DirectoryIteratorException e) {
            throw OutputException.of(directory, e instanceof IOException io ? io
                    : ((DirectoryIteratorException) e).getCause());
        }
    }

    @Override
    public void close() {
        workers.shutdownNow();
        try {
            // When this returns, each file is either there or not, and no thread still writes one.
            workers.awaitTermination(1, TimeUnit.MINUTES);
        } catch (InterruptedException e) {
            Thread.currentThread().interrupt();
        }
    }

    @Override
    public String target() {
        return directory.toString();
    }

    @Override
    public long files() {
        return written.cardinality();
    }

    @Override
    public long bytes() {
        return bytes.get();
    }

    /** {@return how many pictures of an earlier run were removed} */
    long removed() {
        return removed;
    }

    private void throwFailure() throws IOException {
        Throwable first = failure.get();
        if (first instanceof IOException e) {
            throw e;
        }
        if (first instanceof RuntimeException e) {
            throw e;
        }
        if (first != null) {
            throw (Error) first;
        }
    }
}
