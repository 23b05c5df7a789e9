package kiv.media.ffmpeg;

import java.io.IOException;
import java.util.ArrayList;
import java.util.List;
import kiv.media.ffmpeg.index.CodedPicture;
import kiv.media.ffmpeg.index.PacketExaminer;

/** Finds the last place at or before a stream's time where decoding can start, because containers lead to wrong ones. */
final class SeekVerifier {

    /** Packets of all streams that are read for one look at a place. */
    private static final int MOST_AHEAD = 5000;
    /** Seconds. */
    private static final int FURTHEST_BACK = 1 << 16;

    /** Reads the next packet of the container, or null at its end. */
    @FunctionalInterface
    interface Packets {
        Packet read() throws IOException;
    }

    /** Moves near a time of the stream, or a position in bytes. */
    @FunctionalInterface
    interface Seek {
        boolean to(long place, boolean inBytes) throws IOException;
    }

    private final MediaStream stream;
    private final long start;
    private final long time;
    private final boolean pages;
    private final Packets packets;
    private final Seek seek;

    /**
     * @param time in units of the stream's time base
     * @param pages whether packets have the positions of their pages, and FFmpeg guesses the times of the first page behind a
     *     seek
     * @param packets reads from where the last seek led
     */
    SeekVerifier(MediaStream stream, long time, boolean pages, Packets packets, Seek seek) {
        this.stream = stream;
        this.start = stream.startTicks() == Packet.NO_TIME ? 0 : stream.startTicks();
        this.time = time;
        this.pages = pages;
        this.packets = packets;
        this.seek = seek;
    }

    /**
     * Verifies where the last seek has ended, and looks further back when that is too late, at the worst at the beginning.
     *
     * @return the packets from the place found on that were read to verify it
     */
    List<Packet> settle() throws IOException {
        double second = stream.timeBase().toDouble() > 0 ? 1 / stream.timeBase().toDouble() : 1;
        double back = second;
        List<Packet> found = findStart(pages);
        while (found.isEmpty()) {
            long earlier = (long) (time - back);
            back *= 2;
            if (earlier <= start || back > second * FURTHEST_BACK) {
                return findBeginning((long) second);
            }
            seek.to(earlier, false);
            found = findStart(pages);
        }
        return found;
    }

    /** Whatever is at the first byte is the beginning, but the reader of Matroska then begins at a later cluster. */
    private List<Packet> findBeginning(long second) throws IOException {
        List<Packet> ahead = new ArrayList<>();
        if (pages && seek.to(0, true)) {
            List<Packet> found = findStart(false);
            if (!found.isEmpty()) {
                return found;
            }
        }
        if (seek.to(0, true)) {
            try {
                for (Packet packet; ahead.size() < MOST_AHEAD && (packet = packets.read()) != null;) {
                    ahead.add(packet);
                    if (packet.streamIndex() == stream.index()) {
                        long shown = packet.presentationTime();
                        if (shown == Packet.NO_TIME || shown - second <= start) {
                            return ahead;
                        }
                        break;
                    }
                }
            } catch (MediaFormatException e) {
                return ahead; // the next read reports it again, or passes over it
            }
        }
        seek.to(start, false);
        return List.of();
    }

    /**
     * Reads up to the time.
     *
     * @param guessing whether FFmpeg guesses the times of the first page
     * @return the packets from the last place on where decoding can start; none without one
     */
    private List<Packet> findStart(boolean guessing) throws IOException {
        PacketExaminer examiner = stream.examiner();
        CodedPicture picture = new CodedPicture();
        List<Packet> ahead = new ArrayList<>();
        boolean found = false;
        Packet first = null;
        try {
            for (int count = 0; count < MOST_AHEAD; count++) {
                Packet packet = packets.read();
                if (packet == null) {
                    break;
                }
                if (packet.streamIndex() == stream.index()) {
                    first = first == null ? packet : first;
                    boolean guessed = guessing && packet.position() == first.position();
                    long shown = packet.presentationTime() != Packet.NO_TIME ? packet.presentationTime()
                            : packet.decodingTime();
                    long decoded = packet.decodingTime() != Packet.NO_TIME ? packet.decodingTime() : shown;
                    picture.restart = packet.isKey();
                    if (examiner != null) {
                        examiner.examine(packet.bytes(), packet.size(), picture);
                    }
                    if (shown != Packet.NO_TIME && shown <= time && picture.restart && !guessed) {
                        ahead.clear();
                        found = true;
                    }
                    if (!guessed && (!found && shown == Packet.NO_TIME || decoded > time)) {
                        ahead.add(packet);
                        break;
                    }
                }
                ahead.add(packet);
            }
        } catch (MediaFormatException e) {
            // The next read reports it again, or passes over it.
        }
        return found ? ahead : List.of();
    }
}
