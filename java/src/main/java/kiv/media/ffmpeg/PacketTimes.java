package kiv.media.ffmpeg;

import java.util.Arrays;

/**
 * Computes the times of a picture from the times of its packet.
 *
 * <p>A native call passes a 64-bit time in two words, and a negative low word overwrites the high one. So each packet
 * passes a small key instead of its time, and the picture returns with the key of its packet.
 */
final class PacketTimes {

    /** More packets than any decoder delays a picture by. */
    private static final int SLOTS = 1024;
    private static final int KEY_LIMIT = 1 << 30;

    /** The times of a picture. */
    record Times(long timestamp, long duration) {
    }

    private final int[] keys = new int[SLOTS];
    private final long[] presentations = new long[SLOTS];
    private final long[] decodings = new long[SLOTS];
    private final long[] durations = new long[SLOTS];
    private int nextKey;

    private long lastPresentation;
    private long lastDecoding;
    private long presentationFaults;
    private long decodingFaults;

    PacketTimes() {
        forget();
    }

    /** {@return the key of the next packet} */
    int nextKey() {
        return nextKey;
    }

    /** Stores a packet's times and returns its key. */
    int remember(Packet packet) {
        int key = nextKey;
        nextKey = key + 1 == KEY_LIMIT ? 0 : key + 1;
        int slot = key % SLOTS;
        keys[slot] = key;
        presentations[slot] = packet.presentationTime();
        decodings[slot] = packet.decodingTime();
        durations[slot] = packet.duration();
        return key;
    }

    /**
     * Computes the times of a picture.
     *
     * <p>Containers such as AVI state no presentation times, or wrong ones, but decoding times at the rate of the
     * pictures. Of the two kinds of times, the one that has decreased less often so far is used.
     *
     * @param key the key that the picture returned with; any value
     * @param fed the key of the packet whose decoding delivered the picture; any value
     */
    Times of(long key, long fed) {
        boolean known = knows(key);
        return choose(known ? presentations[slot(key)] : Packet.NO_TIME, known ? durations[slot(key)] : 0,
                knows(fed) ? decodings[slot(fed)] : Packet.NO_TIME);
    }

    /** Returns the presentation times of both packets. */
    Times numbers(long key, long fed) {
        return new Times(knows(key) ? presentations[slot(key)] : Packet.NO_TIME,
                knows(fed) ? presentations[slot(fed)] : Packet.NO_TIME);
    }

    /**
     * Computes the times of a picture.
     *
     * @param presentation the presentation time of its own packet
     * @param duration the duration of its own packet
     * @param decoding the decoding time of the packet whose decoding delivered it
     */
    Times choose(long presentation, long duration, long decoding) {
        if (decoding != Packet.NO_TIME) {
            decodingFaults += decoding <= lastDecoding ? 1 : 0;
            lastDecoding = decoding;
        } else if (presentation != Packet.NO_TIME) {
            lastDecoding = presentation;
        }
        if (presentation != Packet.NO_TIME) {
            presentationFaults += presentation <= lastPresentation ? 1 : 0;
            lastPresentation = presentation;
        } else if (decoding != Packet.NO_TIME) {
            lastPresentation = decoding;
        }
        boolean believePresentation = presentation != Packet.NO_TIME
                && (decoding == Packet.NO_TIME || presentationFaults <= decodingFaults);
        return new Times(believePresentation ? presentation : decoding, duration);
    }

    /** Returns what the times of the next pictures depend on. */
    long[] state() {
        return new long[] {lastPresentation, lastDecoding, presentationFaults, decodingFaults};
    }

    void restore(long[] state) {
        lastPresentation = state[0];
        lastDecoding = state[1];
        presentationFaults = state[2];
        decodingFaults = state[3];
    }

    /** Drops all packets, for a jump in the stream. */
    void forget() {
        Arrays.fill(keys, -1);
        lastPresentation = Packet.NO_TIME;
        lastDecoding = Packet.NO_TIME;
        presentationFaults = 0;
        decodingFaults = 0;
    }

    private boolean knows(long key) {
        return key >= 0 && key < KEY_LIMIT && keys[slot(key)] == key;
    }

    private static int slot(long key) {
        return (int) (key % SLOTS);
    }
}
