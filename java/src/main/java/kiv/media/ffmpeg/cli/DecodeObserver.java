package kiv.media.ffmpeg.cli;

import java.io.IOException;
import java.nio.ByteBuffer;
import java.nio.file.Path;
import java.time.Duration;
import java.util.List;
import java.util.Optional;
import kiv.media.ffmpeg.MediaStream;
import kiv.media.ffmpeg.Picture;

/** Sees what is decoded and written, for a report on it. Called by the thread that decodes. */
interface DecodeObserver {

    /** Looks away. */
    DecodeObserver NONE = new DecodeObserver() {
    };

    /**
     * A decoded picture that will be written.
     *
     * @param picture open during this call only, unless it is copied or converted
     * @param number its place among the decoded pictures, from 1
     * @param time when it is shown, from the file's beginning
     */
    default void picture(Picture picture, long number, Duration time) throws IOException {
    }

    /**
     * Decoded sound that has been written.
     *
     * @param pcm samples of 16 bits, those of a frame one after the other, little-endian; read-only
     */
    default void sound(int sampleRate, int channels, ByteBuffer pcm) throws OutputException {
    }

    /** Everything is written. */
    default void finished(Summary summary) throws IOException {
    }

    /**
     * What there was.
     *
     * @param input the media file
     * @param container its format's name
     * @param streams all streams of the file
     * @param video the stream whose pictures were decoded
     * @param pictures how many pictures were decoded
     * @param writtenPictures how many of them were written
     * @param pictureTarget where to
     * @param audio the stream whose sound was decoded
     * @param samples samples of a channel that were written
     * @param soundFile where to
     * @param damagedPackets packets that were left out
     * @param range the part of the file
     * @param seconds how long it took
     */
    record Summary(Path input, String container, List<MediaStream> streams, Optional<MediaStream> video, long pictures,
            long writtenPictures, String pictureTarget, Optional<MediaStream> audio, long samples,
            Optional<Path> soundFile, long damagedPackets, TimeRange range, double seconds) {
    }
}
