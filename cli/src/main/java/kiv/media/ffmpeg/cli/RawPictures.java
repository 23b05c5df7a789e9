package kiv.media.ffmpeg.cli;

import java.io.IOException;
import java.util.function.Consumer;
import kiv.media.ffmpeg.Picture;
import kiv.media.ffmpeg.PixelFormat;

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
    private final PictureView view;
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
     * @param stream what Y4M's header says of the stream
     * @param warnings receives a line when pictures are not written as they were decoded
     */
    RawPictures(ShutdownGuard.Opening<OutputFile> opening, String target, boolean y4m, PixelFormat wanted,
            PictureView view, Y4mHeader.Stream stream, Consumer<String> warnings) {
        this.opening = opening;
        this.target = target;
        this.y4m = y4m;
        this.wanted = wanted;
        this.view = view;
        this.stream = stream;
        this.warnings = warnings;
    }

    @Override
    public void write(Picture picture, long number) throws IOException {
        if (view.asStored()) {
            writeUpright(picture, number);
        } else {
            try (picture) {
                Picture upright = picture.toUpright();
                if (file == null && upright.format() != picture.format()) {
                    warnings.accept("pictures of " + picture.format() + " are turned as " + upright.format());
                }
                writeUpright(upright, number);
            }
        }
    }

    /** @param picture as it is written, but for its size and format; closed here */
    private void writeUpright(Picture picture, long number) throws IOException {
        try (picture) {
            if (file == null) {
                begin(picture);
            } else if (view.size() == null && !scales && (picture.width() != width || picture.height() != height)) {
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
        // Planes are not stretched by themselves: a header can tell the shape of their pixels.
        width = view.size() == null ? first.width() : view.width(first);
        height = view.size() == null ? first.height() : view.height(first);
        format = wanted != null ? wanted : first.format();
        if (y4m && wanted == null && Y4mHeader.colourSpace(format, stream.codec()).isEmpty()) {
            format = Y4mHeader.nearest(format);
            warnings.accept("Y4M does not hold " + first.format() + ": it is converted to " + format);
        }
        file = opening.open();
        if (y4m) {
            file.write(Y4mHeader.of(width, height, format, first, view.pixelShape(first, width, height), stream));
        }
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
