package kiv.media.bench;

import java.awt.image.BufferedImage;
import java.io.IOException;
import java.nio.ByteBuffer;
import java.nio.ShortBuffer;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.zip.CRC32;

/**
 * What came out of a round, for the comparison of participants: a checksum of pictures as they were decoded, and numbers
 * that may differ a little for those that were converted.
 */
final class Sink {

    private static final int COLUMNS = 16;
    private static final int ROWS = 9;
    private static final int BLOCK = 1 << 14;
    private static final int EVERY = 5;

    private final CRC32 crc = new CRC32();
    private final StringBuilder numbers = new StringBuilder();
    private BufferedImage first;
    private long samples;
    private long images;
    private long loudness;

    /** Takes the visible part of a plane, and its mean. @param plane from its first row on */
    void plane(ByteBuffer plane, int lineSize, int rowBytes, int rows) {
        long sum = 0;
        for (int row = 0; row < rows; row++) {
            crc.update(plane.slice(row * lineSize, rowBytes));
            for (int i = row * lineSize; i < row * lineSize + rowBytes; i++) {
                sum += plane.get(i) & 0xFF;
            }
        }
        numbers.append((double) sum / ((long) rowBytes * rows)).append('\n');
    }

    /** Takes the means of red, green and blue in each cell of a grid, of every fifth image. */
    void image(BufferedImage image) {
        if (images++ % EVERY != 0) {
            return;
        }
        if (first == null) {
            first = new BufferedImage(image.getWidth(), image.getHeight(), BufferedImage.TYPE_INT_RGB);
            for (int y = 0; y < image.getHeight(); y++) {
                for (int x = 0; x < image.getWidth(); x++) {
                    first.setRGB(x, y, image.getRGB(x, y));
                }
            }
        }
        for (int row = 0; row < ROWS; row++) {
            for (int column = 0; column < COLUMNS; column++) {
                cell(image, column * image.getWidth() / COLUMNS, (column + 1) * image.getWidth() / COLUMNS,
                        row * image.getHeight() / ROWS, (row + 1) * image.getHeight() / ROWS);
            }
        }
    }

    private void cell(BufferedImage image, int left, int right, int top, int bottom) {
        int[] pixels = image.getRGB(left, top, right - left, bottom - top, null, 0, right - left);
        long[] sums = new long[3];
        for (int pixel : pixels) {
            for (int colour = 0; colour < sums.length; colour++) {
                sums[colour] += pixel >> 16 - 8 * colour & 0xFF;
            }
        }
        for (long sum : sums) {
            numbers.append((double) sum / pixels.length).append('\n');
        }
    }

    /** Takes the mean loudness of each block of samples. */
    void sound(ShortBuffer pcm) {
        while (pcm.hasRemaining()) {
            loudness += Math.abs(pcm.get());
            if (++samples % BLOCK == 0) {
                numbers.append((double) loudness / BLOCK).append('\n');
                loudness = 0;
            }
        }
    }

    long checksum() {
        return crc.getValue();
    }

    /** Writes the numbers, and the first image as bytes of red, green and blue. */
    void write(Path numbersFile, Path imageFile) throws IOException {
        Files.writeString(numbersFile, numbers);
        if (first != null) {
            ByteBuffer rgb = ByteBuffer.allocate(3 * first.getWidth() * first.getHeight());
            for (int y = 0; y < first.getHeight(); y++) {
                for (int x = 0; x < first.getWidth(); x++) {
                    int pixel = first.getRGB(x, y);
                    rgb.put((byte) (pixel >> 16)).put((byte) (pixel >> 8)).put((byte) pixel);
                }
            }
            Files.write(imageFile, rgb.array());
        }
    }
}
