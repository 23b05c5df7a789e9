package kiv.media.ffmpeg.wall;

import java.util.ArrayDeque;
import java.util.ArrayList;
import java.util.Deque;
import java.util.HashMap;
import java.util.List;
import java.util.Map;
import java.util.stream.Collectors;
import kiv.media.ffmpeg.natives.PictureCall;
import kiv.media.ffmpeg.natives.ProcessFlags;

/**
 * What a decoder of pictures has been asked to decode, from a key picture on, and what it has delivered of that. A decoder that
 * has seen other packets since is reset and decodes these again; then it is as if it had not.
 */
final class PacketHistory {

    /** Decoders deliver a picture fewer packets later. */
    private static final int LEAST_PACKETS = 32;
    private static final int MOST_BYTES = 32 << 20;
    private static final int LEAST_BYTES = 64 * 1024;

    /**
     * A packet.
     *
     * @param bytes a copy
     * @param key of its call
     */
    record Asked(byte[] bytes, int flags, long key) {
    }

    private record Kept(int length, int flags, long key) {
    }

    private final Deque<Kept> packets = new ArrayDeque<>();
    /** Their bytes, one behind the other and from the end on to the beginning. A new array for each would have to be cleared. */
    private byte[] ring = {};
    /** Where the first packet begins. */
    private int begin;
    /** Bytes of all. */
    private int used;
    /** Whether the decoder may work ahead, so that packets are kept. */
    private boolean kept;
    /** Whether a decoder that has decoded these has the state that it has. */
    private boolean complete = true;
    /** How many pictures of which packet were delivered. */
    private final Map<Long, Integer> delivered = new HashMap<>();

    /** {@return whether the packets are enough for the present state} */
    boolean isComplete() {
        return complete;
    }

    /** Packets are kept from now on, or from the next key picture on. */
    void keep() {
        kept = true;
    }

    void add(byte[] packet, int length, int flags, long key) {
        boolean isKey = (flags & ProcessFlags.KEY) != 0;
        complete &= kept;
        if (!kept || packets.isEmpty() && !complete && !isKey) {
            return;
        }
        if (isKey) {
            forgetOld();
        }
        if (length > MOST_BYTES - used) {
            clear();
            complete = false;
            return;
        }
        makeRoom(length);
        int at = (begin + used) % ring.length;
        int before = Math.min(length, ring.length - at);
        System.arraycopy(packet, 0, ring, at, before);
        System.arraycopy(packet, before, ring, 0, length - before);
        used += length;
        packets.add(new Kept(length, flags, key));
        complete |= packets.size() > LEAST_PACKETS;
    }

    private void makeRoom(int length) {
        if (length > ring.length - used) {
            byte[] larger = new byte[Math.max(LEAST_BYTES, Math.min(MOST_BYTES, Math.max(2 * ring.length, used + length)))];
            copy(begin, larger, used);
            ring = larger;
            begin = 0;
        }
    }

    private void copy(int from, byte[] to, int length) {
        int before = Math.min(length, ring.length - from);
        System.arraycopy(ring, from, to, 0, before);
        System.arraycopy(ring, 0, to, before, length - before);
    }

    /** Drops what lies before the last key picture that has enough packets behind it. */
    private void forgetOld() {
        int at = 0;
        int drop = 0;
        for (Kept kept : packets) {
            if ((kept.flags & ProcessFlags.KEY) != 0 && packets.size() - at >= LEAST_PACKETS) {
                drop = at;
            }
            at++;
        }
        for (; drop > 0; drop--) {
            Kept old = packets.remove();
            delivered.remove(old.key);
            begin = (begin + old.length) % ring.length;
            used -= old.length;
        }
        if (delivered.size() > packets.size()) {
            delivered.keySet().retainAll(packets.stream().map(Kept::key).collect(Collectors.toSet()));
        }
    }

    /** The caller gets a picture. */
    void deliver(long[] call) {
        if (!packets.isEmpty()) {
            delivered.merge(call[PictureCall.PICTURE_KEY], 1, Integer::sum);
        }
    }

    /** {@return the packets, in their order} */
    List<Asked> packets() {
        List<Asked> asked = new ArrayList<>();
        int at = begin;
        for (Kept kept : packets) {
            byte[] bytes = new byte[kept.length];
            copy(at, bytes, kept.length);
            asked.add(new Asked(bytes, kept.flags, kept.key));
            at = (at + kept.length) % ring.length;
        }
        return asked;
    }

    /** {@return how many pictures of which packet were delivered, a copy} */
    Map<Long, Integer> delivered() {
        return new HashMap<>(delivered);
    }

    /** The decoder begins anew. */
    void clear() {
        packets.clear();
        delivered.clear();
        used = 0;
        complete = true;
    }
}
