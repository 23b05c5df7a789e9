package kiv.media.ffmpeg.wall;

import java.util.ArrayDeque;
import java.util.Arrays;
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
    private static final int USUAL_ARRAY = 64 * 1024;

    /**
     * A packet.
     *
     * @param bytes a copy
     * @param key of its call
     */
    record Asked(byte[] bytes, int flags, long key) {
    }

    /** Its bytes are a part of an array that packets have in common: a new array for each would have to be cleared. */
    private record Kept(byte[] array, int from, int length, int flags, long key) {
        Asked asked() {
            return new Asked(Arrays.copyOfRange(array, from, from + length), flags, key);
        }
    }

    private final Deque<Kept> packets = new ArrayDeque<>();
    /** Arrays that are used again, from the last key picture on. */
    private final Deque<byte[]> spare = new ArrayDeque<>();
    /** The array of the last packets, and where the next one begins in it. */
    private byte[] array = {};
    private int next;
    /** Bytes of all packets. */
    private int bytes;
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
        if (length > MOST_BYTES - bytes) {
            clear();
            complete = false;
            return;
        }
        if (length > array.length - next) {
            byte[] old = spare.poll();
            array = old != null && old.length >= length ? old : new byte[Math.max(USUAL_ARRAY, length)];
            next = 0;
        }
        System.arraycopy(packet, 0, array, next, length);
        packets.add(new Kept(array, next, length, flags, key));
        next += length;
        bytes += length;
        complete |= packets.size() > LEAST_PACKETS;
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
        spare.clear();
        for (; drop > 0; drop--) {
            Kept old = packets.remove();
            delivered.remove(old.key);
            bytes -= old.length;
            if (old.array != array && (packets.isEmpty() || packets.peek().array != old.array)) {
                spare.add(old.array);
            }
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
        return packets.stream().map(Kept::asked).toList();
    }

    /** {@return how many pictures of which packet were delivered, a copy} */
    Map<Long, Integer> delivered() {
        return new HashMap<>(delivered);
    }

    /** The decoder begins anew. */
    void clear() {
        packets.clear();
        spare.clear();
        array = new byte[0];
        next = 0;
        delivered.clear();
        bytes = 0;
        complete = true;
    }
}
