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
    private final Packet[] packets = new Packet[SLOTS];
    private int nextKey;

    private long lastPresentation;
    private long lastDecoding;
    private long presentationFaults;
    private long decodingFaults;

    PacketTimes() {
        forget();
    }

    /** Stores a packet's times and returns its key. */
    int remember(Packet packet) {
        int key = nextKey;
        nextKey = key + 1 == KEY_LIMIT ? 0 : key + 1;
        keys[key % SLOTS] = key;
        packets[key % SLOTS] = packet.withoutData();
        return key;
    }

    /**
     * Computes the times of a picture.
     *
     * <p>Containers such as AVI state no presentation times, or wrong ones, but decoding times at the rate of the
     * pictures. Of the two kinds of times, the one that has decreased less often so far is used.
     *
     * @param key the key that the picture returned with; any value
     * @param fed the packet whose decoding delivered the picture
     */
    Times of(long key, Packet fed) {
        Packet own = find(key);
        return choose(own == null ? Packet.NO_TIME : own.presentationTime(), own == null ? 0 : own.duration(),
                fed.decodingTime());
    }

    /** Returns the presentation times of both packets. */
    Times numbers(long key, Packet fed) {
        Packet own = find(key);
        return new Times(own == null ? Packet.NO_TIME : own.presentationTime(), fed.presentationTime());
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
        Arrays.fill(packets, null);
        lastPresentation = Packet.NO_TIME;
        lastDecoding = Packet.NO_TIME;
        presentationFaults = 0;
        decodingFaults = 0;
    }

    private Packet find(long key) {
        if (key < 0 || key >= KEY_LIMIT) {
            return null;
        }
        int slot = (int) (key % SLOTS);
        return keys[slot] == key ? packets[slot] : null;
    }
}
