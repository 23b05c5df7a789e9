package kiv.media.ffmpeg.cli;

import java.awt.image.BufferedImage;
import java.math.BigInteger;
import kiv.media.ffmpeg.Picture;
import kiv.media.ffmpeg.Rational;

/**
 * In which size pictures are written, and whether they are turned and stretched as players do.
 *
 * @param size the wanted size of the written picture; null for the picture's own size
 * @param asStored whether pixels are written as the file stores them
 */
record PictureView(PictureSize size, boolean asStored) {

    private static final int HALF_TURN = 180;
    private static final Rational SQUARE = new Rational(1, 1);

    /** Returns the width to write, when the picture has these sides in this view. */
    int width(int pictureWidth, int pictureHeight) {
        return size == null ? pictureWidth : size.widthOf(pictureWidth, pictureHeight);
    }

    /** Returns the height to write, when the picture has these sides in this view. */
    int height(int pictureWidth, int pictureHeight) {
        return size == null ? pictureHeight : size.heightOf(pictureWidth, pictureHeight);
    }

    int width(Picture picture) {
        return asStored ? width(picture.width(), picture.height())
                : width(picture.shownWidth(), picture.shownHeight());
    }

    int height(Picture picture) {
        return asStored ? height(picture.width(), picture.height())
                : height(picture.shownWidth(), picture.shownHeight());
    }

    /** Returns the image to write. */
    BufferedImage image(Picture picture) {
        return asStored ? picture.toBufferedImage(width(picture), height(picture))
                : picture.toShownImage(width(picture), height(picture));
    }

    /** Returns the width of a pixel of {@link #image(Picture)} divided by its height; with a 0 when unknown. */
    Rational imagePixelShape(Picture picture) {
        boolean stretched = !asStored && (size == null || size.keepsShape());
        return stretched && picture.pixelShape().isKnown() ? SQUARE
                : pixelShape(picture, width(picture), height(picture));
    }

    /**
     * Returns the shape of the pixels with which players show a scaled picture like the picture itself.
     *
     * @param width of the scaled picture, after turning
     * @param height of the scaled picture, after turning
     * @return the width of a pixel divided by its height, in lowest terms; with a 0 when unknown
     */
    Rational pixelShape(Picture picture, int width, int height) {
        boolean swapped = !asStored && picture.rotation() % HALF_TURN != 0;
        Rational shape = picture.pixelShape();
        BigInteger above = product(swapped ? shape.denominator() : shape.numerator(),
                swapped ? picture.height() : picture.width(), height);
        BigInteger below = product(swapped ? shape.numerator() : shape.denominator(),
                swapped ? picture.width() : picture.height(), width);
        BigInteger common = above.gcd(below).max(BigInteger.ONE);
        above = above.divide(common);
        below = below.divide(common);
        int excess = Math.max(0, Math.max(above.bitLength(), below.bitLength()) - (Integer.SIZE - 1));
        return new Rational(above.shiftRight(excess).longValue(), below.shiftRight(excess).longValue());
    }

    private static BigInteger product(long shape, int from, int to) {
        return BigInteger.valueOf(shape).multiply(BigInteger.valueOf((long) from * to));
    }
}
