package kiv.media.ffmpeg;

import kiv.media.ffmpeg.natives.PacketFields;
import kiv.media.ffmpeg.natives.PacketFlags;

/**
 * What is decoded of a packet of sound but not to be heard: silence that an encoder put around the sound, or what lies
 * outside of the part that the container plays. Never negative.
 *
 * @param start samples of each channel from the packet's first one on, also in the packets behind it; {@link #UNSTATED}
 *     when the decoder knows best
 * @param end samples at the end of the packet's sound
 * @param whole whether that is all of the packet
 */
record SampleTrim(int start, int end, boolean whole) {

    static final int UNSTATED = -1;
    static final SampleTrim NONE = new SampleTrim(UNSTATED, 0, false);

    /** What the container says. Impossible numbers, which only damage brings, count as none. */
    static SampleTrim ofNative(long[] fields) {
        long start = fields[PacketFields.SKIP_START];
        long end = fields[PacketFields.SKIP_END];
        boolean whole = (fields[PacketFields.FLAGS] & PacketFlags.DISCARDED) != 0;
        return start < 0 && !whole ? NONE : new SampleTrim(start < 0 ? UNSTATED : bounded(start), bounded(end), whole);
    }

    private static int bounded(long samples) {
        return samples < 0 || samples > Integer.MAX_VALUE ? 0 : (int) samples;
    }

    SampleTrim withStart(int samples) {
        return new SampleTrim(samples, end, whole);
    }
}
