package kiv.media.ffmpeg.cli;

import ar.com.hjg.pngj.FilterType;
import ar.com.hjg.pngj.ImageInfo;
import ar.com.hjg.pngj.ImageLineByte;
import ar.com.hjg.pngj.PngWriter;
import java.awt.image.BufferedImage;
import java.io.ByteArrayOutputStream;
import java.io.IOException;
import java.nio.file.Path;
import java.util.Locale;
import java.util.concurrent.ArrayBlockingQueue;
import java.util.concurrent.ThreadPoolExecutor;
import java.util.concurrent.TimeUnit;
import java.util.concurrent.atomic.AtomicReference;
import kiv.media.ffmpeg.Picture;

/**
 * Writes pictures as PNG files with several threads, because compressing a picture takes longer than decoding it. When
 * the queue is full, the caller's thread compresses the picture itself.
 */
final class PngPictures implements PictureOutput {

    private static final int BITS = 8;
    /** Fast compression: the files are somewhat larger and take a fraction of the time. */
    private static final int LEVEL = 1;
    private static final int POLL_MILLIS = 100;

    private final Path directory;
    private final String baseName;
    private final PictureSize size;
    private final ThreadPoolExecutor workers;
    private final AtomicReference<Throwable> failure = new AtomicReference<>();

    /** @param size null for the pictures' own size */
    PngPictures(Path directory, String baseName, PictureSize size) {
        this.directory = directory;
        this.baseName = baseName;
        this.size = size;
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
        workers.execute(() -> {
            try (picture; OutputFile output = OutputFile.create(file)) {
                output.write(encode(image(picture)));
                output.finish();
            } catch (Throwable e) { // thrown again by the caller's thread
                failure.compareAndSet(null, e);
            }
        });
    }

    private BufferedImage image(Picture picture) {
        return size == null ? picture.toBufferedImage()
                : picture.toBufferedImage(size.widthOf(picture.width(), picture.height()),
                        size.heightOf(picture.width(), picture.height()));
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

    private static byte[] encode(BufferedImage image) {
        int width = image.getWidth();
        int height = image.getHeight();
        ByteArrayOutputStream bytes = new ByteArrayOutputStream(1 << 20);
        PngWriter writer = new PngWriter(bytes, new ImageInfo(width, height, BITS, false));
        try {
            writer.setCompLevel(LEVEL);
            writer.setFilterType(FilterType.FILTER_SUB);
            int[] pixels = new int[width];
            ImageLineByte line = new ImageLineByte(writer.imgInfo);
            byte[] samples = line.getScanlineByte();
            for (int y = 0; y < height; y++) {
                image.getRaster().getDataElements(0, y, width, 1, pixels);
                for (int x = 0; x < width; x++) {
                    samples[3 * x] = (byte) (pixels[x] >> 16);
                    samples[3 * x + 1] = (byte) (pixels[x] >> 8);
                    samples[3 * x + 2] = (byte) pixels[x];
                }
                writer.writeRow(line);
            }
            writer.end();
            return bytes.toByteArray();
        } finally {
            writer.close();
        }
    }
}
