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
        long presentation = own == null ? Packet.NO_TIME : own.presentationTime();
        long decoding = fed.decodingTime();
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
        return new Times(believePresentation ? presentation : decoding, own == null ? 0 : own.duration());
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
