package kiv.media.ffmpeg.cli;

import java.io.IOException;
import java.nio.file.Path;
import kiv.media.ffmpeg.Picture;

/** Writes one picture into a file whose name tells its kind. */
final class OnePicture implements PictureOutput {

    private final Path file;
    private final PictureView view;
    private long bytes;

    OnePicture(Path file, PictureView view) {
        this.file = file;
        this.view = view;
    }

    @Override
    public void write(Picture picture, long number) throws IOException {
        try (picture; OutputFile output = OutputFile.create(file)) {
            output.write(ImageFile.encode(view, picture, file.toString()));
            output.finish();
            bytes = output.written();
        }
    }

    @Override
    public void finish() {
        // The file is whole since the picture was written.
    }

    @Override
    public void close() {
        // Nothing is open.
    }

    @Override
    public String target() {
        return file.toString();
    }

    @Override
    public long files() {
        return 1;
    }

    @Override
    public long bytes() {
        return bytes;
    }
}
