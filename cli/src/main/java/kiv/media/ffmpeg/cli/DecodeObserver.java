package kiv.media.ffmpeg.cli;

import java.io.IOException;
import java.nio.ByteBuffer;
import java.util.Optional;
import kiv.media.ffmpeg.MediaStream;
import kiv.media.ffmpeg.Picture;

/** Receives what is decoded and written, for a report on it. Called by the thread that decodes. */
interface DecodeObserver {

    /** Ignores everything. */
    DecodeObserver NONE = new DecodeObserver() {
    };

    /**
     * Receives each decoded picture of the part, in order.
     *
     * @param picture the picture, which may be used until this returns
     * @param number its place among the decoded pictures, from 1
     * @param written whether it will be written
     */
    default void picture(Picture picture, long number, boolean written) {
    }

    /**
     * Receives decoded sound that has been written.
     *
     * @param seconds when it is heard, on the container's clock
     * @param pcm interleaved samples of 16 bits, little-endian; read-only
     */
    default void sound(double seconds, int sampleRate, int channels, ByteBuffer pcm) {
    }

    /** Receives the summary when everything is written. */
    default void finished(Summary summary) throws IOException {
    }

    /**
     * What was decoded and written.
     *
     * @param input the media file's name
     * @param container its format's name
     * @param video the stream whose pictures were decoded
     * @param pictures how many pictures were decoded
     * @param writtenPictures how many of them were written
     * @param pictureTarget where they were written to
     * @param damagedPictures damaged packets of pictures, which were left out
     * @param damagedSound damaged packets of sound, which were left out
     * @param range the part of the file
     * @param seconds how long it took
     */
    record Summary(String input, String container, Optional<MediaStream> video, long pictures, long writtenPictures,
            String pictureTarget, long damagedPictures, long damagedSound, TimeRange range, double seconds) {
    }
}
