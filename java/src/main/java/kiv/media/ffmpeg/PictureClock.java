package kiv.media.ffmpeg;

/**
 * Completes the times of pictures in the order in which they are shown. Plain streams and some containers state no times
 * for some pictures; such a picture follows the one before it.
 */
final class PictureClock {

    /** The duration of a picture at the stream's rate; 0 when unknown. */
    private final long usual;
    private long next;

    PictureClock(Rational frameRate, Rational timeBase) {
        usual = frameRate.isKnown() && timeBase.isKnown()
                ? Math.max(1, Math.round(1 / (frameRate.toDouble() * timeBase.toDouble()))) : 0;
    }

    /** Takes what is known of the next picture. */
    PacketTimes.Times complete(PacketTimes.Times known) {
        long timestamp = known.timestamp() == Packet.NO_TIME ? next : known.timestamp();
        long duration = known.duration() > 0 ? known.duration() : usual;
        // Without any duration the times still increase. Damaged files contain times that leave no room for that.
        long step = Math.max(1, duration);
        next = timestamp == Packet.NO_TIME || timestamp > Long.MAX_VALUE - step ? Packet.NO_TIME : timestamp + step;
        return new PacketTimes.Times(timestamp, duration);
    }

    /** Returns when the next picture is shown if nothing is known of it. */
    long next() {
        return next;
    }

    void restore(long time) {
        next = time;
    }

    /** The next picture is the first of its stream. */
    void begin() {
        next = 0;
    }

    /** The next picture may be anywhere in the stream. */
    void forget() {
        next = Packet.NO_TIME;
    }
}
