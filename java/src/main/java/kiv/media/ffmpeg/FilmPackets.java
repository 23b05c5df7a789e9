package kiv.media.ffmpeg;

import java.io.DataInputStream;
import java.io.IOException;
import kiv.media.ffmpeg.index.FilmMap;
import kiv.media.ffmpeg.index.PacketExaminer;
import kiv.media.ffmpeg.index.PacketIndex;

/** The packets of a film, which are read into its index once, and what is known of the film by them. */
final class FilmPackets implements AutoCloseable {

    private final MediaReader reader;
    private final MediaStream stream;
    private final PacketFetcher.Opening opening;
    /** Null when nothing is known of the codec's pictures. */
    private final PacketExaminer examiner;
    private final PacketsAhead ahead;
    private FilmMap map;
    private FilmClock clock;
    private boolean damaged;

    FilmPackets(MediaReader reader, MediaStream stream, PacketFetcher.Opening opening) {
        this.reader = reader;
        this.stream = stream;
        this.opening = opening;
        this.examiner = stream.examiner();
        this.ahead = new PacketsAhead(reader, stream);
        adopt(new FilmMap(new PacketIndex(), examiner));
    }

    private void adopt(FilmMap newMap) {
        map = newMap;
        clock = new FilmClock(map, stream);
    }

    FilmMap map() {
        return map;
    }

    PacketIndex index() {
        return map.index();
    }

    FilmClock clock() {
        return clock;
    }

    /** Whether the heads of the codec's pictures can be read. */
    boolean hasExaminer() {
        return examiner != null;
    }

    /** Whether each picture is coded alone. */
    boolean isIntraOnly() {
        return examiner != null && examiner.isAlone();
    }

    /** Whether decoding alone says which pictures there are, although the packets promise some. */
    boolean isTentative() {
        return examiner != null && examiner.isTentative();
    }

    /** Whether a decoder has noticed damage somewhere. From then on each picture must have its checksum. */
    boolean isDamaged() {
        return damaged;
    }

    void reportDamage() {
        damaged = true;
    }

    /** Adds the next packet to the index. @return false at the end */
    boolean read() throws IOException {
        if (map.hasEnded()) {
            return false;
        }
        byte[] bytes;
        try {
            bytes = ahead.next();
        } catch (MediaFormatException e) {
            if (map.index().size() == 0) {
                throw e;
            }
            bytes = null; // as for all who decode it: what is behind the damage is left out
        }
        if (bytes == null) {
            map.end();
        } else {
            map.add(bytes, ahead.length(), ahead.fields());
        }
        return bytes != null;
    }

    /** Adds packets up to one and that one itself, if the film has it. */
    void readPast(int packet) throws IOException {
        while (map.index().size() <= packet && read()) {
            // One is enough.
        }
    }

    /** Reads the index to the end. */
    void readAll() throws IOException {
        while (read()) {
            // The map takes each packet.
        }
    }

    /**
     * Opens a decoder that decodes from the first packet on.
     *
     * @param strict whether damage that the decoder notices is an error
     */
    FilmRun openRun(boolean strict) {
        return new FilmRun(stream, new PacketFetcher(opening, map.index(), stream), strict);
    }

    /**
     * Replaces the map by a saved one. Runs that were opened before use the old one.
     *
     * @throws MediaFormatException when it is that of another film; the map then stays
     */
    void load(DataInputStream in) throws IOException {
        FilmMap loaded = FilmMap.load(in, examiner);
        if (loaded.index().size() > 0) {
            try (PacketFetcher fetcher = new PacketFetcher(opening, loaded.index(), stream)) {
                fetcher.fetch(0);
            } catch (MediaFormatException e) {
                throw new MediaFormatException("the index is that of another film", e);
            }
        }
        adopt(loaded);
    }

    @Override
    public void close() {
        reader.release();
    }
}
