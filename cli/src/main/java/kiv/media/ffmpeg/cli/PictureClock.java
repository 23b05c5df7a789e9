package kiv.media.ffmpeg.cli;

import kiv.media.ffmpeg.MediaStream;
import kiv.media.ffmpeg.Packet;
import kiv.media.ffmpeg.Picture;
import kiv.media.ffmpeg.Rational;

/** Tells when pictures are shown, also where a stream without container does not: there they follow each other. */
final class PictureClock {

    private final long usual;
    private long timestamp = Packet.NO_TIME;
    private long duration;

    PictureClock(MediaStream stream) {
        Rational rate = stream.frameRate();
        Rational unit = stream.timeBase();
        usual = rate.isKnown() && unit.isKnown() ? Math.max(1, Math.round(1 / (rate.toDouble() * unit.toDouble()))) : 1;
    }

    /** Another picture comes. */
    void next(Picture picture) {
        long following = timestamp == Packet.NO_TIME ? 0 : timestamp + duration;
        timestamp = picture.timestamp() == Packet.NO_TIME ? following : picture.timestamp();
        duration = picture.duration() > 0 ? picture.duration() : usual;
    }

    /** When it is shown, in the stream's time base. */
    long timestamp() {
        return timestamp;
    }

    /** How long it is shown, in the stream's time base. */
    long duration() {
        return duration;
    }
}
