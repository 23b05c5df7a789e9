package kiv.media.ffmpeg.cli;

import java.io.IOException;
import java.util.function.Consumer;
import kiv.media.ffmpeg.Picture;
import kiv.media.ffmpeg.PixelFormat;
import kiv.media.ffmpeg.Rational;

/**
 * Writes pictures one after the other into one file: their planes without padding, all in the first one's size and
 * format, with or without the headers of Y4M.
 */
final class RawPictures implements PictureOutput {

    /** Opens the file when the first picture comes, so that a file without pictures is never made. */
    private final ShutdownGuard.Opening<OutputFile> opening;
    private final String target;
    private final boolean y4m;
    private final PixelFormat wanted;
    private final PictureSize size;
    private final Y4mHeader.Stream stream;
    private final Consumer<String> warnings;

    private OutputFile file;
    private PixelFormat format;
    private int width;
    private int height;
    private boolean scales;

    /**
     * @param target the file's name for messages
     * @param y4m whether there are headers
     * @param wanted the format of the pixels, or null for the decoder's own
     * @param size null for the first picture's own size
     * @param stream what Y4M's header says of the stream
     * @param warnings receives a line when pictures are not written as they were decoded
     */
    RawPictures(ShutdownGuard.Opening<OutputFile> opening, String target, boolean y4m, PixelFormat wanted,
            PictureSize size, Y4mHeader.Stream stream, Consumer<String> warnings) {
        this.opening = opening;
        this.target = target;
        this.y4m = y4m;
        this.wanted = wanted;
        this.size = size;
        this.stream = stream;
        this.warnings = warnings;
    }

    @Override
    public void write(Picture picture, long number) throws IOException {
        try (picture) {
            if (file == null) {
                begin(picture);
            } else if (size == null && !scales && (picture.width() != width || picture.height() != height)) {
                scales = true;
                warnings.accept("from picture " + number + " on pictures of other sizes are scaled to " + width + "x"
                        + height);
            }
            if (y4m) {
                file.write(Y4mHeader.FRAME);
            }
            if (picture.width() == width && picture.height() == height && picture.format() == format) {
                file.write(picture.toBytes());
            } else {
                try (Picture converted = picture.convert(format, width, height)) {
                    file.write(converted.toBytes());
                }
            }
        }
    }

    private void begin(Picture first) throws IOException {
        width = size == null ? first.width() : size.widthOf(first.width(), first.height());
        height = size == null ? first.height() : size.heightOf(first.width(), first.height());
        format = wanted != null ? wanted : first.format();
        if (y4m && wanted == null && Y4mHeader.colourSpace(format, stream.codec()).isEmpty()) {
            format = Y4mHeader.nearest(format);
            warnings.accept("Y4M does not hold " + first.format() + ": it is converted to " + format);
        }
        file = opening.open();
        if (y4m) {
            Rational shape = stream.pixelShape().isKnown() ? stream.pixelShape() : first.pixelShape();
            file.write(Y4mHeader.of(width, height, format, first, scaled(shape, first), stream));
        }
    }

    /** Returns the shape of a scaled pixel, with which the picture keeps its own shape. */
    private Rational scaled(Rational shape, Picture first) {
        return new Rational(shape.numerator() * first.width() * height, shape.denominator() * first.height() * width);
    }

    @Override
    public void finish() throws IOException {
        if (file != null) {
            file.finish();
        }
    }

    @Override
    public void close() throws IOException {
        if (file != null) {
            file.close();
        }
    }

    @Override
    public String target() {
        return target;
    }

    @Override
    public long files() {
        return file == null ? 0 : 1;
    }

    @Override
    public long bytes() {
        return file == null ? 0 : file.written();
    }
}
