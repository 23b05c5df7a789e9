package kiv.media.ffmpeg;

import java.io.IOException;
import kiv.media.ffmpeg.index.FilmMap;

/**
 * Which pictures a film has by number, and their times. The packets promise them. What the packets leave open is learned by
 * decoding the film from its beginning, and so is each number of a film whose packets may promise too much.
 */
final class FilmNumbers implements AutoCloseable {

    /** As many packets ahead of a picture show what its times depend on. */
    private static final int TIMES_AHEAD = 1024;

    private final FilmPackets film;
    private final FilmMap map;
    private final FilmClock clock;
    private final SequentialDecoding decoding;
    private boolean verifiedAll;
    /** The picture that was verified last, which is often the one that is wanted; or null. */
    private Picture held;
    private int heldNumber;

    FilmNumbers(FilmPackets film, SequentialDecoding decoding) {
        this.film = film;
        this.map = film.map();
        this.clock = film.clock();
        this.decoding = decoding;
        this.verifiedAll = map.hasEnded() && map.learnedGroups() == map.groups() && map.verified() == map.known();
    }

    /** Whether a number of a picture is certain only when all before it were decoded, which was not done yet. */
    boolean takeDecoding() {
        return film.isTentative() && !verifiedAll;
    }

    /** Makes a picture certain. @return whether the film has it */
    boolean has(long number) throws IOException {
        if (film.isTentative()) {
            verify(number);
        }
        return isKnown(number);
    }

    /** Whether the packets promise a picture, with the numbers of its group being those of decoding it. */
    boolean isPromised(long number) throws IOException {
        boolean known = isKnown(number);
        if (known && film.isTentative() && map.isPartlyLearned(number)) {
            learn(map.groupOf((int) number));
            known = isKnown(number);
        }
        if (known && film.isTentative() && !clock.isPlain((int) number)) {
            verify(number); // its time depends on those before it
            known = isKnown(number);
        }
        return known;
    }

    /** Makes a picture known. @return whether the film has it, or promises it */
    boolean isKnown(long number) throws IOException {
        while (map.known() <= number) {
            if (map.isStuck()) {
                learn(map.counted());
            } else if (!film.read() && !map.isStuck()) {
                break;
            }
        }
        if (film.isDamaged() || map.isIrregularAt(number)) {
            verify(number);
        }
        return number < map.known();
    }

    /** Returns how many pictures the film has. */
    long count() throws IOException {
        if (film.isTentative()) {
            verify(Long.MAX_VALUE);
        }
        return promised();
    }

    /** Reads the index to the end, and learns what it does not say. @return how many pictures there are then */
    long promised() throws IOException {
        while (!map.isWhole()) {
            if (map.isStuck()) {
                learn(map.counted());
            } else {
                film.read();
            }
        }
        if (film.isDamaged() || map.isIrregularAt(map.known())) {
            verify(Long.MAX_VALUE);
        }
        return map.known();
    }

    /** Returns the packet of a known picture; -1 when it is unknown. */
    int packetOf(int number) {
        int group = map.groupOf(number);
        return map.pictures(group)[number - map.first(group)];
    }

    /** Returns the number of a packet's picture; -1 when the packet gives none. */
    long numberOf(int packet) {
        int group = map.groupOfPacket(packet);
        int rank = AccessPoints.rank(map.pictures(group), packet);
        return rank < 0 ? -1 : map.first(group) + rank;
    }

    /** Returns the times of a known picture. */
    PacketTimes.Times times(int number) throws IOException {
        PacketTimes.Times times = clock.of(number);
        if (times == null && !clock.knowsDelay()) {
            learn(0);
            clock.learnDelay();
            for (int more = 0; more < TIMES_AHEAD && film.read(); more++) {
                // The times depend on packets behind the picture's own.
            }
            times = isKnown(number) ? clock.of(number) : null;
        }
        while (times == null) {
            learnPast(number);
            times = clock.of(number);
        }
        return times;
    }

    private void learnPast(int number) throws IOException {
        if (map.hasEnded() && map.learnedGroups() == map.groups()) {
            throw new IllegalStateException("a film's times are known when all of it was decoded");
        }
        learn(Math.max(map.learnedGroups(), map.groupOf(number)));
    }

    /** Learns what a group gives. */
    private void learn(int group) throws IOException {
        while (map.learnedGroups() <= group) {
            if (film.isTentative()) {
                verify(map.learned());
            } else {
                Picture picture = decoding.next(map.learned());
                if (picture != null) {
                    picture.close();
                    continue;
                }
            }
            if (map.learnedGroups() <= group && (verifiedAll || !film.isTentative())) {
                throw unsettled(); // there are fewer pictures than a loaded index says
            }
        }
    }

    /** Decodes the film from its beginning up to a picture, and notes the checksums of all of them. */
    void verify(long number) throws IOException {
        while (map.verified() <= number && !verifiedAll) {
            Picture picture = decoding.next(map.verified());
            verifiedAll = picture == null;
            if (!verifiedAll) {
                hold(picture, map.verified());
                map.verify((int) FilmRun.checksum(picture));
            }
        }
    }

    private void hold(Picture picture, int number) {
        if (held != null) {
            held.close();
        }
        held = picture;
        heldNumber = number;
    }

    /** Delivers the picture that was verified last if it has a number, once; otherwise null. */
    Picture takeVerified(int number) {
        Picture taken = heldNumber == number ? held : null;
        held = taken == null ? held : null;
        return taken;
    }

    static MediaFormatException unsettled() {
        return new MediaFormatException("the film gives other pictures each time it is decoded");
    }

    @Override
    public void close() {
        hold(null, -1);
    }
}
