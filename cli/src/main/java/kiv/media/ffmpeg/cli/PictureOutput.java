package kiv.media.ffmpeg.cli;

import java.io.IOException;
import kiv.media.ffmpeg.Picture;

/** Where decoded pictures go. Closed before it is finished, it leaves no half-written file behind. */
interface PictureOutput extends AutoCloseable {

    /**
     * Takes a picture to write, and closes it then.
     *
     * @param number its place in the stream, from 1
     * @throws IOException when this one or an earlier one cannot be written
     */
    void write(Picture picture, long number) throws IOException;

    /** Waits until everything is written. */
    void finish() throws IOException;

    @Override
    void close() throws IOException;

    /** {@return where they go, for the summary} */
    String target();
}
