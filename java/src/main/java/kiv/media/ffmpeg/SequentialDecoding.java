package kiv.media.ffmpeg;

import java.io.IOException;
import java.util.BitSet;
import kiv.media.ffmpeg.index.FilmMap;

/**
 * Decodes a film from its beginning, as everyone's decoder does, which is right by definition. The map learns each new
 * picture. A packet that cannot be decoded is left out.
 */
final class SequentialDecoding implements AutoCloseable {

    private final FilmPackets film;
    /** Decodes each packet once. Null before it is needed. */
    private FilmRun front;
    /** Decodes again what the other run has passed. */
    private FilmRun again;
    private final BitSet undecodable = new BitSet();
    private long decodedBefore;

    SequentialDecoding(FilmPackets film) {
        this.film = film;
    }

    /** {@return how many packets were decoded, by closed runs too} */
    long decoded() {
        return decodedBefore + (front == null ? 0 : front.decoded()) + (again == null ? 0 : again.decoded());
    }

    /** {@return how many packets could not be decoded} */
    long damagedPackets() {
        return undecodable.cardinality();
    }

    /** Whether a run has come to the group of a learned picture, and not to the picture. */
    boolean isNear(int number) {
        return number < film.map().learned() && (isNear(front, number) || isNear(again, number));
    }

    private boolean isNear(FilmRun run, int number) {
        FilmMap map = film.map();
        return run != null && run.polled() <= number && run.polled() >= map.first(map.groupOf(number));
    }

    /** Decodes up to a picture. @return null when the film ends before */
    Picture picture(int number) throws IOException {
        while (true) {
            int reached = nearest(number).polled();
            Picture picture = next(reached);
            if (picture == null || reached == number) {
                return picture;
            }
            picture.close();
        }
    }

    /** Decodes up to a picture and the map learns those that are new. @return null at the film's end */
    Picture next(int number) throws IOException {
        FilmMap map = film.map();
        FilmRun run = nearest(number);
        while (true) {
            for (Picture picture; (picture = run.poll()) != null; picture.close()) {
                int polled = run.polled() - 1;
                if (polled == map.learned()) {
                    map.learn(FilmRun.own(picture), FilmRun.fed(picture, map.index().size()));
                }
                if (polled == number) {
                    return picture;
                }
            }
            film.readPast(run.nextPacket());
            try {
                if (!run.decode(map.index().size())) {
                    if (run.polled() >= map.learned()) {
                        map.learnEnd();
                    }
                    return null;
                }
            } catch (DecodeException e) {
                undecodable.set(run.nextPacket() - 1); // the film goes on without it
            }
        }
    }

    /** Returns the run that gives a picture, and which has come nearest to it. */
    private FilmRun nearest(int number) {
        if (front == null) {
            front = film.openRun(false);
        }
        if (front.polled() <= number) {
            return front;
        }
        if (again != null && again.polled() > number) {
            stop(again);
            again = null;
        }
        if (again == null) {
            again = film.openRun(false);
        }
        return again;
    }

    private void stop(FilmRun run) {
        if (run != null) {
            decodedBefore += run.decoded();
            run.close();
        }
    }

    /** Closes the runs. The next picture opens new ones. */
    @Override
    public void close() {
        stop(front);
        stop(again);
        front = null;
        again = null;
    }
}
