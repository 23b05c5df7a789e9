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

    /** Returns some pictures in the order of the numbers, decoded in their own order. */
    default List<Picture> all(long... numbers) throws IOException {
        Map<Long, Picture> found = new HashMap<>();
        List<Picture> pictures = new ArrayList<>();
        try {
            for (long number : Arrays.stream(numbers).sorted().distinct().toArray()) {
                found.put(number, existing(number));
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
