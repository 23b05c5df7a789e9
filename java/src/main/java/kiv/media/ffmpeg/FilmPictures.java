package kiv.media.ffmpeg;

import java.io.IOException;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.HashMap;
import java.util.List;
import java.util.Map;

/** The pictures of a film by number and by time, which is in units of their stream. */
interface FilmPictures extends AutoCloseable {

    /** Returns how many there are. */
    long count() throws IOException;

    /** Whether there is a picture of that number, at least 0. */
    boolean has(long number) throws IOException;

    /** Returns a picture; null when there is none of that number. */
    Picture picture(long number) throws IOException;

    /** Returns the picture that is shown at a time. */
    Picture pictureAt(long time) throws IOException;

    /** Returns the pictures that are shown at some times, in the order of the times. */
    default List<Picture> allAt(long... times) throws IOException {
        long[] numbers = new long[times.length];
        for (int i = 0; i < numbers.length; i++) {
            numbers[i] = numberAt(times[i]);
        }
        return all(this::existing, numbers);
    }

    /** Returns how many pictures the packets promise, of which the decoder may leave out some. */
    default long promised() throws IOException {
        return count();
    }

    /** Returns the picture in the middle of one of the equal parts of what is promised; null when the film has none. */
    default Picture middle(long part, long parts) throws IOException {
        return existing(middleOf(part, parts, promised()));
    }

    /** Returns the number in the middle of a part. */
    static long middleOf(long part, long parts, long count) {
        return (2 * part + 1) * count / (2 * parts);
    }

    /** Returns the picture of a place, and moves the place to the next one; null at the end. */
    default Picture next(FilmPlace place) throws IOException {
        long number = place.isBeginning() ? numberAt(place.time()) : place.number() + 1;
        if (!has(number)) {
            return null;
        }
        Picture picture = existing(number);
        place.reach(number, -1, 0);
        return picture;
    }

    /** Returns the number of the picture that is shown at a time. */
    long numberAt(long time) throws IOException;

    /** Returns when a picture is shown that there is. */
    long timeOf(long number) throws IOException;

    /** Returns how many packets were decoded so far. */
    long decodedPackets();

    /** Returns how many packets could not be decoded so far. */
    default long damagedPackets() {
        return 0;
    }

    /** Returns a picture. @throws IndexOutOfBoundsException when there is none of that number */
    default Picture existing(long number) throws IOException {
        Picture picture = number < 0 ? null : picture(number);
        if (picture == null) {
            throw new IndexOutOfBoundsException("there is no picture " + number
                    + (number < 0 ? "" : "; the film has " + count()));
        }
        return picture;
    }

    /** Returns a picture of a number. */
    @FunctionalInterface
    interface Lookup {
        Picture of(long number) throws IOException;
    }

    /**
     * Returns some pictures in the order of the numbers, decoded in their own order.
     *
     * @return null when one of them is null
     */
    default List<Picture> all(Lookup lookup, long... numbers) throws IOException {
        Map<Long, Picture> found = new HashMap<>();
        List<Picture> pictures = new ArrayList<>();
        try {
            for (long number : Arrays.stream(numbers).sorted().distinct().toArray()) {
                Picture picture = lookup.of(number);
                if (picture == null) {
                    return null;
                }
                found.put(number, picture);
            }
            for (long number : numbers) {
                pictures.add(found.get(number).copy());
            }
            return pictures;
        } catch (Throwable e) {
            pictures.forEach(Picture::close);
            throw e;
        } finally {
            found.values().forEach(Picture::close);
        }
    }

    @Override
    void close();
}
