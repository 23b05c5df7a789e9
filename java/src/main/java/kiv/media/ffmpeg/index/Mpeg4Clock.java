package kiv.media.ffmpeg.index;

/** The times of MPEG-4's pictures, and the rest of their heads. Decoders leave out what is shown between others and is not. */
final class Mpeg4Clock {
    private static final int MOST_QUANTIZERS = 64;
    private static final int BOTH = 2;
    /** Bits of the time within a second; 0 when heads are not read. */
    private int timeBits;
    private int resolution;
    private boolean interlaced;
    private long second;
    private long previousSecond;
    /** When the last picture is shown to which others refer, and how much earlier the one before it. */
    private long last;
    private long distance;
    /** Pictures since the beginning to which others refer, up to 2. */
    private int references;

    /** Reads the header of a layer. @return whether it keeps the rules */
    boolean layer(BitReader bits) {
        timeBits = 0;
        bits.skip(9);
        int version = 1;
        if (bits.flag()) {
            version = bits.bits(4);
            bits.skip(3);
        }
        bits.skip(bits.bits(4) == 15 ? 16 : 0);
        if (bits.flag()) {
            bits.skip(3);
            bits.skip(bits.flag() ? 79 : 0);
        }
        boolean rectangular = bits.bits(2) == 0;
        boolean sound = bits.flag();
        resolution = bits.bits(16);
        sound &= bits.flag();
        int length = Math.max(1, Integer.SIZE - Integer.numberOfLeadingZeros(resolution - 1));
        bits.skip(bits.flag() ? length : 0);
        sound &= rectangular && bits.flag() && bits.skip(13).flag() && bits.skip(13).flag();
        interlaced = bits.flag();
        bits.skip(1);
        boolean plain = bits.bits(version == 1 ? 1 : 2) == 0 && !bits.flag();
        if (bits.flag()) {
            for (int matrix = 0; matrix < 2; matrix++) {
                boolean more = bits.flag();
                for (int i = 0; more && i < MOST_QUANTIZERS; i++) {
                    more = bits.bits(8) != 0;
                }
            }
        }
        bits.skip(version == 1 ? 0 : 1);
        plain &= bits.flag();
        timeBits = rectangular && plain && resolution > 0 && !bits.isBeyondEnd() ? length : 0;
        return sound;
    }

    void group(BitReader bits) {
        second = bits.bits(5) * 3600L + bits.bits(6) * 60L;
        bits.skip(1);
        second += bits.bits(6);
    }

    /** Reads the head of a picture. @return whether decoders take it for one */
    boolean picture(BitReader bits) {
        if (timeBits == 0) {
            return true;
        }
        int kind = bits.bits(2);
        int seconds = 0;
        while (bits.flag()) {
            seconds++;
        }
        boolean sound = bits.flag();
        int part = bits.bits(timeBits);
        sound &= bits.flag() && part < resolution && !bits.isBeyondEnd();
        if (!tick(kind, seconds, part)) {
            return false;
        }
        if (!bits.flag()) {
            return sound; // it repeats the one before it
        }
        bits.skip(kind == 1 || kind == 3 ? 1 : 0);
        bits.skip(interlaced ? 5 : 3);
        sound &= bits.bits(5) != 0 && (kind == 0 || bits.bits(3) != 0) && (kind != BOTH || bits.bits(3) != 0);
        return sound;
    }

    /** Counts on. @return whether a picture that is shown between two others lies between them */
    private boolean tick(int kind, int seconds, int part) {
        if (kind == BOTH) {
            long time = (previousSecond + seconds) * resolution + part;
            long before = distance - (last - time);
            return references < 2 || distance > 0 && before > 0 && before < distance;
        }
        previousSecond = second;
        second += seconds;
        long time = second * resolution + part;
        if (time < last) {
            second++;
            time += resolution;
        }
        distance = time - last;
        last = time;
        references = Math.min(2, references + 1);
        return true;
    }
}
