package kiv.media.ffmpeg;

/**
 * Decides what of decoded sound is heard, as the program {@code ffmpeg} does. Whatever containers and decoders say, never
 * more is left out than there is.
 */
final class SampleCutter {

    /** What is heard of some samples: from the first one up to, but not including, the end. */
    record Part(long first, long end) {
    }

    private final boolean trusting;
    private SampleTrim trim = SampleTrim.NONE;
    /** Samples from here on that are not to be heard. */
    private long skip;
    /** What the decoder has reported so far. */
    private long reported;

    /** @param trusting whether what the decoder itself reports is left out too */
    SampleCutter(boolean trusting) {
        this.trusting = trusting;
    }

    /** Takes what the container says of the packet that is decoded next. */
    void begin(SampleTrim ofPacket) {
        trim = ofPacket;
    }

    /**
     * Cuts what a packet gave. What the container says of a packet counts only when it gives sound, and instead of what the
     * decoder reports.
     *
     * @param length samples of each channel, more than 0
     * @param skipped what the decoder has reported as not to be heard since it was opened
     */
    Part cut(long length, long skipped) {
        skip = trim.start() != SampleTrim.UNSTATED ? trim.start() : skip + (trusting ? skipped - reported : 0);
        reported = skipped;
        long first = trim.whole() ? length : Math.min(skip, length);
        skip = Math.max(0, skip - first);
        long heard = length - first;
        // An end that is longer than the packet's sound is none: some containers count it in another way.
        Part part = new Part(first, trim.end() <= heard ? length - trim.end() : length);
        trim = trim.withStart(SampleTrim.UNSTATED);
        return part;
    }

    /** Forgets everything, for a decoder that begins anew. */
    void reset() {
        trim = SampleTrim.NONE;
        skip = 0;
        reported = 0;
    }
}
