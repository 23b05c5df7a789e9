package kiv.media.ffmpeg;

/**
 * How players show stored pictures: stretched until their pixels are square, and then turned.
 *
 * @param pixelShape width of a stored pixel divided by its height; a fraction with a 0 when unknown
 * @param rotation degrees clockwise: 0, 90, 180 or 270
 * @param mirrored whether left and right are swapped before the rotation
 */
record Presentation(Rational pixelShape, int rotation, boolean mirrored) {

    /** Pixels are shown in the order in which they are stored. */
    static final Presentation UPRIGHT = new Presentation(new Rational(1, 1), 0, false);

    private static final int HALF_TURN = 180;

    Presentation withPixelShape(Rational shape) {
        return new Presentation(shape, rotation, mirrored);
    }

    /** Whether the pixels of a shown picture lie in the order in which they are stored. */
    boolean isUpright() {
        return rotation == 0 && !mirrored;
    }

    /** Whether a stored row is shown as a column. */
    boolean swapsSides() {
        return rotation % HALF_TURN != 0;
    }

    /** Whether the rows are shown from the bottom up. */
    boolean reversesRows() {
        return rotation == HALF_TURN;
    }

    /** The presentation of pictures whose pixels are already turned. */
    Presentation turned() {
        Rational shape =
                swapsSides() ? new Rational(pixelShape.denominator(), pixelShape.numerator()) : pixelShape;
        return new Presentation(shape, 0, false);
    }

    /** Width in pixels of a shown picture. */
    int width(int storedWidth, int storedHeight) {
        return swapsSides() ? stretchedHeight(storedWidth, storedHeight) : stretchedWidth(storedWidth, storedHeight);
    }

    /** Height in pixels of a shown picture. */
    int height(int storedWidth, int storedHeight) {
        return swapsSides() ? stretchedWidth(storedWidth, storedHeight) : stretchedHeight(storedWidth, storedHeight);
    }

    // Stretching shrinks neither side, so that no pixel is lost.

    private int stretchedWidth(int width, int height) {
        return (int) Math.round(width * Math.max(1, shape(width, height)));
    }

    private int stretchedHeight(int width, int height) {
        return (int) Math.round(height * Math.max(1, 1 / shape(width, height)));
    }

    /** The shape of a pixel; that of a square when it is unknown, or makes a picture that is too large. */
    private double shape(int width, int height) {
        double shape = pixelShape.toDouble();
        return shape > 0
                && Picture.isSize(Math.round(width * Math.max(1, shape)), Math.round(height * Math.max(1, 1 / shape)))
                ? shape : 1;
    }
}
