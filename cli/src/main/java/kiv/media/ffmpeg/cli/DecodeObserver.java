package kiv.media.ffmpeg.cli;

import java.io.IOException;
import java.nio.ByteBuffer;
import java.nio.file.Path;
import java.util.Optional;
import kiv.media.ffmpeg.MediaStream;
import kiv.media.ffmpeg.Picture;

/** Sees what is decoded and written, for a report on it. Called by the thread that decodes. */
interface DecodeObserver {

    /** Looks away. */
    DecodeObserver NONE = new DecodeObserver() {
    };

    /**
     * A decoded picture: every one of the part, in their order.
     *
     * @param picture the picture, to be looked at before this returns
     * @param number its place among the decoded pictures, from 1
     * @param written whether it will be written
     */
    default void picture(Picture picture, long number, boolean written) {
    }

    /**
     * Decoded sound that has been written.
     *
     * @param seconds when it is heard, on the container's clock
     * @param pcm samples of 16 bits, those of a frame one after the other, little-endian; read-only
     */
    default void sound(double seconds, int sampleRate, int channels, ByteBuffer pcm) {
    }

    /** Everything is written. */
    default void finished(Summary summary) throws IOException {
    }

    /**
     * What there was.
     *
     * @param input the media file
     * @param container its format's name
     * @param video the stream whose pictures were decoded
     * @param pictures how many pictures were decoded
     * @param writtenPictures how many of them were written
     * @param pictureTarget where to
     * @param damagedPictures packets of pictures that were left out
     * @param damagedSound packets of sound that were left out
     * @param range the part of the file
     * @param seconds how long it took
     */
    record Summary(Path input, String container, Optional<MediaStream> video, long pictures, long writtenPictures,
            String pictureTarget, long damagedPictures, long damagedSound, TimeRange range, double seconds) {
    }
}
