package kiv.media.ffmpeg;

import java.io.IOException;
import java.util.Arrays;
import kiv.media.ffmpeg.index.FilmMap;

/** Finds the picture of a film that is shown at a time. It goes through the times of each part of the pictures once. */
final class TimeSearch {

    private static final int PART = 256;

    /** The times at which pictures are shown. */
    @FunctionalInterface
    interface Timestamps {
        /** Returns a picture's time; null when the film ends before it. */
        Long of(int number) throws IOException;
    }

    private final FilmMap map;
    /** Up to the end of each part, the latest time at which one of the pictures is shown. */
    private long[] latest = new long[16];
    private int parts;
    private int changes;

    TimeSearch(FilmMap map) {
        this.map = map;
    }

    /** Returns the number of the picture that is shown at a time; 0 before the first one. */
    long find(long time, Timestamps timestamps) throws IOException {
        long number;
        do {
            if (changes != map.changes()) {
                changes = map.changes();
                parts = 0;
            }
            number = search(time, timestamps);
        } while (changes != map.changes());
        return number;
    }

    /** Finds the picture, unless numbers change meanwhile. */
    private long search(long time, Timestamps timestamps) throws IOException {
        int part = firstPartBeyond(time);
        long most = part == 0 ? Packet.NO_TIME : latest[part - 1];
        int number = part * PART;
        for (Long begins; (begins = timestamps.of(number)) != null; number++) {
            if (number == (parts + 1) * PART) {
                latest = parts < latest.length ? latest : Arrays.copyOf(latest, 2 * parts);
                latest[parts++] = most;
            }
            if (begins > time || changes != map.changes()) {
                break;
            }
            most = Math.max(most, begins);
        }
        return Math.max(0, number - 1);
    }

    private int firstPartBeyond(long time) {
        int low = 0;
        int high = parts;
        while (low < high) {
            int middle = (low + high) >>> 1;
            if (latest[middle] > time) {
                high = middle;
            } else {
                low = middle + 1;
            }
        }
        return low;
    }
}
