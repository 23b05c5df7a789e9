package kiv.media.ffmpeg;

import java.io.IOException;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import kiv.media.ffmpeg.natives.PacketFields;
import kiv.media.ffmpeg.natives.c_mediareader_ffmpeg;
import kiv.media.ffmpeg.wall.ContainerReader;

/**
 * What a reader did since it was opened, so that another reader of the same bytes gets to the same place. Reading does not
 * depend on anything else, so the same calls give the same packets.
 */
final class ReaderJournal {

    /** Seeks that are kept. A player makes more, but needs only the last one. */
    private static final int MOST_SEEKS = 64;
    /** Damaged places in a row, behind which no packet is expected any more. */
    private static final int MOST_FAILURES = 1_000;

    /** A seek, behind so many packets since the one before. */
    private record Seek(long packets, int stream, long time, int flags) {
    }

    /** Opens a reader of the same bytes. */
    @FunctionalInterface
    interface Opening {
        ContainerReader open() throws IOException;
    }

    private final List<Seek> seeks = new ArrayList<>();
    /** Whether the list has all seeks. */
    private boolean complete = true;
    /** Packets since the last seek. */
    private long packets;
    private final long[] first = new long[PacketFields.SIZE];
    private final long[] last = new long[PacketFields.SIZE];

    /** A packet was read and has reached its owner. */
    void read(long[] fields) {
        System.arraycopy(fields, 0, packets == 0 ? first : last, 0, PacketFields.SIZE);
        packets++;
    }

    /** The reader is about to seek. */
    void seek(int stream, long time, int flags) {
        if (seeks.size() == MOST_SEEKS) {
            seeks.remove(0);
            complete = false;
        }
        seeks.add(new Seek(packets, stream, time, flags));
        packets = 0;
    }

    /**
     * Opens a reader and moves it behind the last packet.
     *
     * @throws MediaFormatException when the packets before are others than those that were read
     */
    ContainerReader restore(Opening opening) throws IOException {
        ContainerReader restored = null;
        if (!seeks.isEmpty()) {
            restored = follow(opening.open(), seeks.size() - 1);
        }
        if (restored == null && complete) {
            restored = follow(opening.open(), 0);
        }
        if (restored == null) {
            throw new MediaFormatException("the reader cannot go on where it was, because its bytes have changed; open the"
                    + " medium again");
        }
        return restored;
    }

    /** Moves a reader by the seeks from a number on. @return the reader; null when it is deleted for having other packets */
    private ContainerReader follow(ContainerReader reader, int from) throws IOException {
        boolean arrived = false;
        try {
            for (int i = from; i < seeks.size(); i++) {
                Seek seek = seeks.get(i);
                if (i > from || from == 0) {
                    skip(reader, seek.packets(), new long[PacketFields.SIZE]);
                }
                try {
                    reader.seek(seek.stream(), seek.time(), seek.flags());
                } catch (RuntimeException e) {
                    requireOwn(e); // the container could not do it at first either
                }
            }
            long[] begin = new long[PacketFields.SIZE];
            long[] end = new long[PacketFields.SIZE];
            arrived = skip(reader, Math.min(packets, 1), begin) && skip(reader, packets - 1, end)
                    && (packets < 1 || Arrays.equals(begin, first)) && (packets < 2 || Arrays.equals(end, last));
            return arrived ? reader : null;
        } finally {
            if (!arrived) {
                reader.delete();
            }
        }
    }

    /** Reads packets. @return whether there were so many */
    private static boolean skip(ContainerReader reader, long count, long[] fields) throws IOException {
        long[] packet = new long[PacketFields.SIZE_WITH_LENGTH];
        byte[] room = null;
        int failures = 0;
        for (long read = 0; read < count;) {
            try {
                room = reader.readStream(c_mediareader_ffmpeg.NO_STREAM, room, packet);
                if (room == null) {
                    return false;
                }
                read++;
                failures = 0;
            } catch (RuntimeException e) {
                requireOwn(e);
                if (++failures > MOST_FAILURES) {
                    return false;
                }
            }
        }
        System.arraycopy(packet, 0, fields, 0, fields.length);
        return true;
    }

    /** Natives report what a container lacks by this very class. */
    private static void requireOwn(RuntimeException failure) {
        if (failure.getClass() != RuntimeException.class) {
            throw failure;
        }
    }
}
