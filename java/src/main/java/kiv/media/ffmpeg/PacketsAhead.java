package kiv.media.ffmpeg;

import java.io.IOException;
import kiv.media.ffmpeg.natives.PacketFields;

/**
 * Gives the packets of one stream one by one, and reads several of them with each native call, which costs more than reading
 * a small packet does. What goes wrong is thrown in the place of the packet that could not be read.
 */
final class PacketsAhead {

    private static final int MOST = 32;
    private static final int ROOM = 64 * 1024;
    private static final int SIZE = PacketFields.SIZE_WITH_LENGTH;

    private final MediaReader reader;
    private final int stream;
    private byte[] room = new byte[ROOM];
    private final long[] all = new long[MOST * SIZE];
    /** How many packets were read at once, and how many of them are used up. */
    private int count;
    private int used;
    /** Where the next packet begins in the room. */
    private int place;
    /** The bytes of the last packet, when they did not fit into the room. */
    private byte[] last;
    private boolean ended;
    /** Waits for the packets before it. */
    private Throwable failure;

    /** Of the packet that was returned last. */
    private byte[] bytes = {};
    private final long[] fields = new long[SIZE];

    PacketsAhead(MediaReader reader, MediaStream stream) {
        this.reader = reader;
        this.stream = stream.index();
    }

    /**
     * Returns the next packet.
     *
     * @return an array that begins with the packet's bytes, valid until the next call; null at the end
     */
    byte[] next() throws IOException {
        if (used == count && failure == null && !ended) {
            readSeveral();
        }
        if (used == count) {
            throwFailure();
            return null;
        }
        System.arraycopy(all, used * SIZE, fields, 0, SIZE);
        int size = length();
        used++;
        if (used == count && last != null) {
            return last;
        }
        int from = place;
        place += size;
        if (from == 0) {
            return room;
        }
        if (bytes.length < size) {
            bytes = new byte[size + (size >> 1)];
        }
        System.arraycopy(room, from, bytes, 0, size);
        return bytes;
    }

    /** Describes the packet that was returned last, laid out as {@link PacketFields} with the length. */
    long[] fields() {
        return fields;
    }

    /** How many bytes the packet has that was returned last. */
    int length() {
        return (int) fields[PacketFields.LENGTH];
    }

    private void readSeveral() {
        if (last != null && last.length > room.length) {
            room = new byte[last.length + (last.length >> 1)];
        }
        last = null;
        count = 0;
        used = 0;
        place = 0;
        all[PacketFields.STREAM] = PacketFields.NONE;
        try {
            last = reader.demuxer().readSeveral(stream, room, all);
        } catch (IOException | RuntimeException | Error e) {
            failure = e;
        }
        while (count < MOST && all[count * SIZE + PacketFields.STREAM] != PacketFields.NONE) {
            count++;
        }
        ended = failure == null && last == null && count < MOST;
    }

    private void throwFailure() throws IOException {
        Throwable now = failure;
        failure = null;
        if (now instanceof IOException e) {
            throw e;
        }
        if (now instanceof RuntimeException e) {
            throw e;
        }
        if (now instanceof Error e) {
            throw e;
        }
    }
}
