package kiv.media.ffmpeg;

import java.util.Arrays;

/**
 * Finds the times of the packet that a picture was made of, and from them the picture's.
 *
 * <p>A native call carries a 64-bit time in two words of which a negative low one spoils the high one, so times do not
 * go through it: each packet gets a small key in their place, and the picture comes back with its packet's key.
 */
final class PacketTimes {

    /** Far more packets than any decoder delays a picture by. */
    private static final int SLOTS = 1024;
    private static final int KEY_LIMIT = 1 << 30;

    /** Times of a picture. */
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

    /** Notes a packet and gives its key. */
    int remember(Packet packet) {
        int key = nextKey;
        nextKey = key + 1 == KEY_LIMIT ? 0 : key + 1;
        keys[key % SLOTS] = key;
        packets[key % SLOTS] = packet.withoutData();
        return key;
    }

    /**
     * Tells the times of a picture.
     *
     * <p>Containers such as AVI tell no presentation times, or wrong ones, but decoding times that come at the same
     * pace as the pictures do. Whichever of the two has so far stepped back less often is believed.
     *
     * @param key what the picture came with; any value
     * @param fed the packet whose decoding gave the picture
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

    /** Forgets the packets, for a jump in the stream. */
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
