package kiv.media.ffmpeg.cli.report;

import java.awt.image.BufferedImage;
import java.io.ByteArrayOutputStream;
import java.io.IOException;
import java.io.UncheckedIOException;
import java.time.Duration;
import java.util.ArrayList;
import java.util.Base64;
import java.util.List;
import java.util.Optional;
import java.util.function.Supplier;
import java.util.stream.IntStream;
import javax.imageio.IIOImage;
import javax.imageio.ImageIO;
import javax.imageio.ImageWriteParam;
import javax.imageio.ImageWriter;
import javax.imageio.stream.MemoryCacheImageOutputStream;
import kiv.media.ffmpeg.Picture;

/**
 * Thumbnails of pictures, evenly spread over a film whose length is not known before. The pictures form runs of equal
 * length, and the sheet keeps the first picture of each. When there are too many runs, two become one.
 */
final class ContactSheet {

    /** The most thumbnails: an even number, so that all runs are equally long after two became one. */
    static final int LARGEST = 48;
    /** The largest thumbnail in pixels: about twice its size on the page, for screens of high resolution. */
    static final int WIDTH = 288;
    static final int HEIGHT = 216;
    private static final float QUALITY = 0.82F;

    private final List<Thumbnail> thumbnails = new ArrayList<>();
    private long run = 1;
    private long pictures;

    /**
     * A small copy of a picture.
     *
     * @param image null when the picture's format could not be converted
     * @param number the picture's place among the pictures, from 1
     * @param link the picture's own file, or null
     */
    record Thumbnail(BufferedImage image, long number, Optional<Duration> time, String link) {

        /** Returns the image as a URI that a page can contain. */
        String toDataUri() {
            // JPEG has no transparency.
            String format = image.getColorModel().hasAlpha() ? "png" : "jpeg";
            ByteArrayOutputStream bytes = new ByteArrayOutputStream();
            ImageWriter writer = ImageIO.getImageWritersByFormatName(format).next();
            try (var out = new MemoryCacheImageOutputStream(bytes)) {
                ImageWriteParam how = writer.getDefaultWriteParam();
                if (format.equals("jpeg")) {
                    how.setCompressionMode(ImageWriteParam.MODE_EXPLICIT);
                    how.setCompressionQuality(QUALITY);
                }
                writer.setOutput(out);
                writer.write(null, new IIOImage(image, null, null), how);
            } catch (IOException e) {
                throw new UncheckedIOException(e);
            } finally {
                writer.dispose();
            }
            return "data:image/" + format + ";base64," + Base64.getEncoder().encodeToString(bytes.toByteArray());
        }
    }

    /**
     * Takes the next picture.
     *
     * @param thumbnail makes the picture's thumbnail; called only when the sheet keeps it
     */
    void add(Supplier<Thumbnail> thumbnail) {
        // The first picture of a run represents it.
        if (pictures++ % run == 0) {
            thumbnails.add(thumbnail.get());
            if (thumbnails.size() > LARGEST) {
                thinOut();
            }
        }
    }

    /**
     * Makes a thumbnail of a picture as players show it.
     *
     * @param number the picture's place, from 1
     * @param link the picture's own file, or null
     */
    static Thumbnail thumbnail(Picture picture, long number, String link) {
        double width = picture.shownWidth();
        double height = picture.shownHeight();
        double scale = Math.min(1, Math.min(WIDTH / width, HEIGHT / height));
        BufferedImage image;
        try {
            image = picture.toShownImage((int) Math.max(1, Math.round(width * scale)),
                    (int) Math.max(1, Math.round(height * scale)));
        } catch (UnsupportedOperationException e) {
            // The page says so, and decoding goes on.
            image = null;
        }
        return new Thumbnail(image, number, picture.time(), link);
    }

    private void thinOut() {
        List<Thumbnail> fewer = IntStream.range(0, thumbnails.size()).filter(i -> i % 2 == 0)
                .mapToObj(thumbnails::get).toList();
        thumbnails.clear();
        thumbnails.addAll(fewer);
        run *= 2;
    }

    List<Thumbnail> thumbnails() {
        return List.copyOf(thumbnails);
    }

    /** Returns how many pictures there were. */
    long pictures() {
        return pictures;
    }
}
