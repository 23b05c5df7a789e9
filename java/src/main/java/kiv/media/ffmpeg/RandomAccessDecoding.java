package kiv.media.ffmpeg;

import java.io.IOException;
import java.util.BitSet;
import kiv.media.ffmpeg.index.FilmMap;
import kiv.media.ffmpeg.index.PacketIndex;

/**
 * Decodes pictures of a film from the nearest access point. It proves that the first picture needs nothing before it, and
 * checks that each picture comes that was expected.
 */
final class RandomAccessDecoding implements AutoCloseable {

    private final FilmPackets film;
    /** Null before it is needed. */
    private FilmRun run;
    /** The number that the run gives next. */
    private int expected;
    /** The access point of the run. */
    private int begin;
    /** The checksum that its picture must have, if that is not proven yet. */
    private Long proof;
    /** Groups that do not come as expected. */
    private final BitSet surprising = new BitSet();
    private long decodedBefore;

    RandomAccessDecoding(FilmPackets film) {
        this.film = film;
    }

    /** {@return how many packets were decoded, by closed runs too} */
    long decoded() {
        return decodedBefore + (run == null ? 0 : run.decoded());
    }

    /** Whether decoding may begin within the film for a known picture. */
    boolean isPossible(int number) {
        int group = film.map().groupOf(number);
        return film.hasExaminer() && group < film.map().counted() && !surprising.get(group);
    }

    /** Decodes a picture. @return null when something did not come as expected */
    Picture picture(int number) throws IOException {
        boolean trusted = film.isDamaged();
        Picture picture = attempt(number, false);
        if (picture == null && run != null) {
            picture = attempt(number, false); // the decoder now knows how many pictures it must hold back
        }
        if (picture == null && film.isDamaged() == trusted) {
            picture = attempt(number, true);
        }
        surprising.set(film.map().groupOf(number), picture == null);
        return picture;
    }

    private Picture attempt(int number, boolean further) throws IOException {
        FilmMap map = film.map();
        int start = new AccessPoints(map).of(number, further);
        if (start < 0) {
            return null;
        }
        // Decoding goes on when that is shorter, also within the group.
        if (run == null || expected > number || run.nextPacket() < start) {
            restart(start);
        }
        try {
            Picture picture = search(number);
            if (picture != null && number < map.verified() && map.checksum(number) != (int) FilmRun.checksum(picture)) {
                picture.close();
                picture = null;
            }
            if (picture == null) {
                expected = Integer.MAX_VALUE;
            }
            return picture;
        } catch (DecodeException e) {
            // A film that begins within a group lacks something there. That says nothing of the rest.
            if (map.groupOfPacket(begin) > 0 || map.index().has(0, PacketIndex.RESTART)) {
                film.reportDamage();
            }
            stop();
            return null;
        }
    }

    private void restart(int start) throws IOException {
        FilmMap map = film.map();
        boolean strict = !map.index().has(start, PacketIndex.REFERS_BACK);
        if (run != null && (map.headersChanged() || run.isStrict() != strict)) {
            stop();
        }
        if (run == null) {
            run = film.openRun(strict);
            if (start > 0) {
                // It has what stands only at the beginning: the headers, and who made the film.
                try {
                    run.decode(map.index().size());
                } catch (DecodeException e) {
                    // Then it has none.
                }
            }
        }
        proof = prove(start);
        run.moveTo(start);
        begin = start;
        expected = new AccessPoints(map).picture(start);
    }

    /**
     * Decodes the picture to begin with after another one. A decoder that guesses what is damaged takes it from there.
     *
     * @return a checksum of the picture; null when there is nothing to compare
     */
    private Long prove(int start) throws IOException {
        FilmMap map = film.map();
        int group = map.groupOfPacket(start);
        int other = group == 0 ? 0 : map.start(group - 1);
        PacketIndex index = map.index();
        if (start == other || film.isIntraOnly() || index.has(start, PacketIndex.PROVEN)
                || other > 0 && !index.has(other, PacketIndex.RESTART)) {
            return null;
        }
        Long found = null;
        try {
            run.moveTo(other);
            run.decode(index.size());
            run.jumpTo(start);
            run.decode(index.size());
            run.jumpTo(index.size());
            run.decode(index.size());
            for (Picture picture; (picture = run.poll()) != null; picture.close()) {
                if (FilmRun.own(picture) == start) {
                    found = FilmRun.checksum(picture);
                }
            }
        } catch (DecodeException e) {
            found = null; // which decides nothing: it may be about the jump
        }
        return found;
    }

    /** Whether the picture with which decoding began needed nothing before it. */
    private boolean isProven(Picture picture, int own) {
        if (own == begin && proof != null) {
            boolean same = FilmRun.checksum(picture) == proof;
            film.index().set(begin, same ? PacketIndex.PROVEN : PacketIndex.RESTART, same);
            proof = null;
            return same;
        }
        return true;
    }

    /** Decodes up to a picture and compares those before it with the map. */
    private Picture search(int number) throws IOException {
        FilmMap map = film.map();
        AccessPoints points = new AccessPoints(map);
        int group = -1;
        int[] pictures = {};
        while (true) {
            for (Picture picture; (picture = run.poll()) != null; picture.close()) {
                int own = FilmRun.own(picture);
                if (group < 0 || expected >= map.first(group + 1)) {
                    group = map.groupOf(expected);
                    pictures = map.pictures(group);
                }
                int rank = expected - map.first(group);
                if (pictures[rank] == own && isProven(picture, own)
                        && (film.clock().isPlain(expected) || comesInTime(picture))) {
                    if (expected++ == number) {
                        return picture;
                    }
                } else if (!points.isLeading(own, begin)) {
                    picture.close();
                    return null;
                }
            }
            film.readPast(run.nextPacket());
            long errors = run.errors();
            try {
                if (!run.decode(map.index().size())) {
                    return null;
                }
                if (run.errors() > errors) {
                    throw new DecodeException("the decoder has logged an error");
                }
            } catch (DecodeException e) {
                if (!points.lacksReferences(run.nextPacket() - 1, begin)) {
                    throw e;
                }
            }
        }
    }

    /** Whether a picture came with the packet that its time depends on. */
    private boolean comesInTime(Picture picture) {
        FilmClock clock = film.clock();
        PacketTimes.Times times = clock.of(expected);
        return times != null && clock.fed(expected) == FilmRun.fed(picture, film.index().size());
    }

    private void stop() {
        if (run != null) {
            decodedBefore += run.decoded();
            run.close();
            run = null;
        }
    }

    /** Forgets what came, and closes the run. The next picture opens a new one. */
    @Override
    public void close() {
        stop();
        surprising.clear();
    }
}
