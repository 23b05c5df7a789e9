package kiv.media.ffmpeg.cli;

import java.io.IOException;
import kiv.media.ffmpeg.Picture;

/** Writes decoded pictures. Closed before it is finished, it leaves no half-written file behind. */
interface PictureOutput extends AutoCloseable {

    /**
     * Takes a picture, writes it and closes it, perhaps after this call has returned.
     *
     * @param number its place in the stream, from 1
     * @throws IOException when this one or an earlier one cannot be written
     */
    void write(Picture picture, long number) throws IOException;

    /** Waits until everything is written. */
    void finish() throws IOException;

    @Override
    void close() throws IOException;

    /** {@return where the pictures are written to, for the summary} */
    String target();

    /** {@return how many files are written} */
    long files();

    /** {@return how many bytes they have} */
    long bytes();
}
