package kiv.media.ffmpeg.wall;

import java.util.ArrayDeque;
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
    private static final long MOST_BYTES = 32L << 20;
    /** An array is used again for a packet that is somewhat longer. */
    private static final int SLACK = 512;

    /**
     * A packet.
     *
     * @param bytes begins with a copy
     * @param length bytes of the packet
     * @param key of its call
     */
    record Asked(byte[] bytes, int length, int flags, long key) {
    }

    private final Deque<Asked> packets = new ArrayDeque<>();
    /** Arrays that are used again. */
    private final Deque<byte[]> spare = new ArrayDeque<>();
    private long bytes;
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
        byte[] copy = spare.isEmpty() || spare.peek().length < length ? new byte[length + SLACK] : spare.remove();
        System.arraycopy(packet, 0, copy, 0, length);
        packets.add(new Asked(copy, length, flags, key));
        bytes += copy.length;
        complete |= packets.size() > LEAST_PACKETS;
        if (bytes > MOST_BYTES) {
            clear();
            complete = false;
        }
    }

    /** Drops what lies before the last key picture that has enough packets behind it. */
    private void forgetOld() {
        int at = 0;
        int drop = 0;
        for (Asked asked : packets) {
            if ((asked.flags & ProcessFlags.KEY) != 0 && packets.size() - at >= LEAST_PACKETS) {
                drop = at;
            }
            at++;
        }
        spare.clear();
        for (; drop > 0; drop--) {
            Asked old = packets.remove();
            delivered.remove(old.key);
            bytes -= old.bytes.length;
            spare.add(old.bytes);
        }
        if (delivered.size() > packets.size()) {
            delivered.keySet().retainAll(packets.stream().map(Asked::key).collect(Collectors.toSet()));
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
        return List.copyOf(packets);
    }

    /** {@return how many pictures of which packet were delivered, a copy} */
    Map<Long, Integer> delivered() {
        return new HashMap<>(delivered);
    }

    /** The decoder begins anew. */
    void clear() {
        packets.clear();
        spare.clear();
        delivered.clear();
        bytes = 0;
        complete = true;
    }
}
