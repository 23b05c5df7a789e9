package kiv.media.ffmpeg.cli;

import kiv.media.ffmpeg.Packet;
import kiv.media.ffmpeg.Rational;

/** Counts when pictures are shown. Those of a stream without container have no times; each follows the one before. */
final class PictureClock {

    private final long usual;
    private long timestamp = Packet.NO_TIME;
    private long duration;

    PictureClock(Rational frameRate, Rational timeBase) {
        usual = frameRate.isKnown() && timeBase.isKnown()
                ? Math.max(1, Math.round(1 / (frameRate.toDouble() * timeBase.toDouble()))) : 1;
    }

    /**
     * Moves to the next picture.
     *
     * @param known its own time, or {@link Packet#NO_TIME}
     * @param knownDuration its own duration; not positive when that is unknown
     */
    void next(long known, long knownDuration) {
        long following = timestamp == Packet.NO_TIME ? 0 : timestamp + duration;
        timestamp = known == Packet.NO_TIME ? following : known;
        duration = knownDuration > 0 ? knownDuration : usual;
    }

    /** Returns when the picture is shown, in the stream's time base. */
    long timestamp() {
        return timestamp;
    }

    /** Returns how long the picture is shown, in the stream's time base. */
    long duration() {
        return duration;
    }
}
