package kiv.media.ffmpeg;

import java.io.IOException;
import kiv.media.ffmpeg.index.PacketIndex;
import kiv.media.ffmpeg.natives.PacketFields;
import kiv.media.ffmpeg.natives.PacketFlags;

/**
 * Reads packets of an index again, from anywhere. It compares each packet with the index, so it does not matter where a
 * seek ended. Where no seek leads to a packet, it reads the container from its beginning.
 */
final class PacketFetcher implements AutoCloseable {

    /** A packet that far ahead is reached by reading. */
    private static final int NEAR = 32;
    /** So many packets behind a seek may be unknown: remains of a packet within which it ended. */
    private static final int MOST_UNKNOWN = 64;
    private static final int FURTHEST = 1 << 20;

    /** Opens another reader of the same bytes. */
    @FunctionalInterface
    interface Opening {
        MediaReader open() throws IOException;
    }

    private final Opening opening;
    private final PacketIndex index;
    private final int stream;
    private MediaReader reader;
    /** The place of the packet that comes next; -1 when it is unknown. */
    private int next;
    /** The packet at that place, if it was read already. */
    private byte[] ahead;
    private boolean seeksBytes;
    private final long[] fields = new long[PacketFields.SIZE_WITH_LENGTH];

    PacketFetcher(Opening opening, PacketIndex index, MediaStream stream) {
        this.opening = opening;
        this.index = index;
        this.stream = stream.index();
    }

    /**
     * Returns a packet with its place instead of its times.
     *
     * @throws MediaFormatException when the bytes have changed since the index was made
     */
    Packet fetch(int place) throws IOException {
        if (reader == null || next < 0 || place < next || place > next + NEAR) {
            move(place);
        }
        byte[] packet = advance(place);
        if (packet == null) {
            reopen();
            packet = advance(place);
        }
        if (packet == null) {
            throw new MediaFormatException("the bytes have changed since they were read first: packet " + place
                    + " is gone");
        }
        fields[PacketFields.STREAM] = stream;
        fields[PacketFields.PRESENTATION_TIME] = place;
        fields[PacketFields.DECODING_TIME] = place;
        fields[PacketFields.DURATION] = 0;
        fields[PacketFields.FLAGS] = index.has(place, PacketIndex.KEY) ? PacketFlags.KEY : 0;
        return Packet.ofNative(packet, fields);
    }

    /** Reads up to a place. @return the packet there; null when another one came */
    private byte[] advance(int place) throws IOException {
        while (next >= 0 && next <= place) {
            byte[] packet = ahead != null ? ahead : read();
            ahead = null;
            if (packet == null || !index.matches(next, packet)) {
                next = -1;
                return null;
            }
            if (next++ == place) {
                return packet;
            }
        }
        return null;
    }

    private byte[] read() throws IOException {
        try {
            return reader.demuxer().readStream(stream, null, fields);
        } catch (MediaFormatException e) {
            return null;
        }
    }

    private void reopen() throws IOException {
        if (reader != null) {
            reader.release();
            reader = null;
        }
        reader = opening.open();
        next = 0;
        ahead = null;
    }

    private void move(int place) throws IOException {
        if (reader == null) {
            reopen();
        }
        if (next >= 0 && next <= place && place <= next + NEAR) {
            return;
        }
        int target = place;
        for (int back = 1; target > 0; back *= 2) {
            if (seek(target, seeksBytes) && find(place)) {
                return;
            }
            if (seek(target, !seeksBytes) && find(place)) {
                seeksBytes = !seeksBytes;
                return;
            }
            int restart = target - 1;
            for (int left = back; restart > 0 && !(index.has(restart, PacketIndex.RESTART) && --left == 0); restart--) {
                // Further back, in growing steps.
            }
            target = back > FURTHEST ? 0 : restart;
        }
        reopen();
    }

    private boolean seek(int target, boolean inBytes) throws IOException {
        long to = index.position(target);
        if (!inBytes) {
            to = index.decodingTime(target) != Packet.NO_TIME ? index.decodingTime(target)
                    : index.presentationTime(target);
        }
        next = -1;
        ahead = null;
        return (inBytes ? to >= 0 : to != Packet.NO_TIME) && reader.demuxer().trySeek(stream, to, inBytes);
    }

    /** Looks where the reader is. @return whether that is at or before a place, from which on all packets are as indexed */
    private boolean find(int place) throws IOException {
        for (int unknown = 0; unknown < MOST_UNKNOWN; unknown++) {
            byte[] packet = read();
            if (packet == null) {
                return false;
            }
            int at = index.find(packet, place);
            if (at > place) {
                return false;
            }
            if (at >= 0) {
                next = at;
                ahead = packet;
                if (at == place) {
                    return true;
                }
                if (advance(place - 1) != null) {
                    return true;
                }
            }
        }
        return false;
    }

    @Override
    public void close() {
        if (reader != null) {
            reader.release();
        }
    }
}
