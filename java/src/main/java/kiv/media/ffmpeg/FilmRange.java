package kiv.media.ffmpeg;

import java.io.IOException;
import java.io.UncheckedIOException;
import java.util.ArrayDeque;
import java.util.Arrays;
import java.util.Deque;

/** The pictures of a range of a film, in any steps. */
final class FilmRange extends PullSpliterator<Picture> {

    /** So many pictures are decoded at once when they do not come in order. */
    private static final int BATCH = 32;

    private final Film film;
    private final long to;
    private final long step;
    private long next;
    private final Deque<Picture> batch = new ArrayDeque<>();

    FilmRange(Film film, long from, long to, long step) {
        this.film = film;
        this.next = from;
        this.to = to;
        this.step = step;
    }

    @Override
    Picture next() {
        try {
            if (batch.isEmpty()) {
                fill();
            }
            return batch.poll();
        } catch (IOException e) {
            throw new UncheckedIOException(e);
        }
    }

    private void fill() throws IOException {
        long[] numbers = new long[step > 0 ? 1 : BATCH];
        int size = 0;
        while (size < numbers.length && (step > 0 ? next < to : next > to) && next >= 0 && film.has(next)) {
            numbers[size++] = next;
            next += step;
        }
        batch.addAll(film.pictures(Arrays.copyOf(numbers, size)));
    }
}
