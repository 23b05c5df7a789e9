package kiv.media.ffmpeg.cli;

import java.util.regex.Matcher;
import java.util.regex.Pattern;
import picocli.CommandLine.ITypeConverter;
import picocli.CommandLine.TypeConversionException;

/**
 * The size that pictures are scaled to.
 *
 * @param width in pixels, or {@link #KEEP}
 * @param height in pixels, or {@link #KEEP}; not both
 */
record PictureSize(int width, int height) {

    /** Stands for the side that follows from the other side and the picture's shape. */
    static final int KEEP = -1;
    private static final int LARGEST = 16384;
    /** No picture of the library's has more. */
    private static final int MOST_PIXELS = Integer.MAX_VALUE / Long.BYTES;

    /** Returns the width for pictures of some size. */
    int widthOf(int pictureWidth, int pictureHeight) {
        return width != KEEP ? width : follow(height, pictureWidth, pictureHeight);
    }

    /** Returns the height for pictures of some size. */
    int heightOf(int pictureWidth, int pictureHeight) {
        return height != KEEP ? height : follow(width, pictureHeight, pictureWidth);
    }

    /** Returns whether a picture keeps its shape in this size. */
    boolean keepsShape() {
        return width == KEEP || height == KEEP;
    }

    private static int follow(int side, int from, int to) {
        return (int) Math.min(Math.min(LARGEST, MOST_PIXELS / side), Math.max(1, Math.round((double) side * from / to)));
    }

    /** Reads {@code 320x240}, {@code 320x-1} or {@code -1x240}. */
    static final class Converter implements ITypeConverter<PictureSize> {

        private static final Pattern SIZE = Pattern.compile("(-1|\\d{1,5})[xX](-1|\\d{1,5})");

        @Override
        public PictureSize convert(String text) {
            Matcher sides = SIZE.matcher(text);
            if (!sides.matches()) {
                throw new TypeConversionException("'" + text
                        + "' is no size; write 320x240, or 320x-1 to keep the shape");
            }
            int width = Integer.parseInt(sides.group(1));
            int height = Integer.parseInt(sides.group(2));
            if (width == 0 || height == 0 || width > LARGEST || height > LARGEST || width == KEEP && height == KEEP
                    || width * height > MOST_PIXELS) {
                throw new TypeConversionException("'" + text + "' is no size; sides have 1 to " + LARGEST
                        + " pixels, " + MOST_PIXELS + " together, and one of them may be -1");
            }
            return new PictureSize(width, height);
        }
    }
}
