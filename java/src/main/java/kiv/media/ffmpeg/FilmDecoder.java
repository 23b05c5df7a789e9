package kiv.media.ffmpeg;

import java.io.DataInputStream;
import java.io.DataOutputStream;
import java.io.IOException;
import java.util.HashMap;
import java.util.List;
import java.util.Map;
import kiv.media.ffmpeg.index.FilmMap;

/**
 * Gives the pictures that decoding a whole film gives, and decodes as little of it as it can. It decodes from the nearest
 * access point, and from the film's beginning where the pictures do not come as expected.
 */
final class FilmDecoder implements FilmPictures {

    private static final int ATTEMPTS = 16;

    private final FilmPackets film;
    private final SequentialDecoding sequential;
    private final RandomAccessDecoding nearby;
    private FilmNumbers numbers;
    private TimeSearch search;

    FilmDecoder(MediaReader reader, MediaStream stream, PacketFetcher.Opening opening) {
        film = new FilmPackets(reader, stream, opening);
        sequential = new SequentialDecoding(film);
        nearby = new RandomAccessDecoding(film);
        begin();
    }

    private void begin() {
        numbers = new FilmNumbers(film, sequential);
        search = new TimeSearch(film.map());
    }

    /** Whether a number of a picture is certain only when all before it were decoded, which was not done yet. */
    boolean numbersTakeDecoding() {
        return numbers.takeDecoding();
    }

    FilmMap map() {
        return film.map();
    }

    @Override
    public long decodedPackets() {
        return nearby.decoded() + sequential.decoded();
    }

    @Override
    public long damagedPackets() {
        return sequential.damagedPackets();
    }

    @Override
    public boolean has(long number) throws IOException {
        return numbers.has(number);
    }

    /** Learns what every group gives, and a checksum of each picture. */
    void learnAll() throws IOException {
        numbers.verify(Long.MAX_VALUE);
    }

    /** Reads the index to the end. */
    void readAll() throws IOException {
        film.readAll();
    }

    @Override
    public long count() throws IOException {
        return numbers.count();
    }

    @Override
    public long promised() throws IOException {
        return numbers.promised();
    }

    @Override
    public Picture picture(long number) throws IOException {
        return has(number) ? decode((int) number) : null;
    }

    /** A picture by a number that decoding may change, and by its packet, which stays the same. */
    private record Promise(long number, int packet) {
    }

    /** Takes pictures that were promised. */
    @FunctionalInterface
    private interface Attempt<T> {
        /** Returns null when decoding has changed the numbers. */
        T run() throws IOException;
    }

    private static <T> T settle(Attempt<T> attempt) throws IOException {
        for (int left = ATTEMPTS; left > 0; left--) {
            T result = attempt.run();
            if (result != null) {
                return result;
            }
        }
        throw FilmNumbers.unsettled();
    }

    /** Returns a promise that there is; null when the film ends before it. */
    private Promise promise(long number) throws IOException {
        return numbers.isPromised(number) ? new Promise(number, numbers.packetOf((int) number)) : null;
    }

    /** Decodes a picture that was promised. @return null when it has turned out to be another one */
    private Picture keep(Promise promise) throws IOException {
        Picture picture = promise == null ? null : decode((int) promise.number);
        if (picture != null && numbers.packetOf((int) promise.number) != promise.packet) {
            picture.close();
            return null;
        }
        return picture;
    }

    @Override
    public Picture pictureAt(long time) throws IOException {
        return settle(() -> keep(promise(promisedAt(time, false))));
    }

    @Override
    public List<Picture> allAt(long... times) throws IOException {
        return settle(() -> {
            Map<Long, Promise> promises = new HashMap<>();
            long[] shown = new long[times.length];
            for (int i = 0; i < shown.length; i++) {
                shown[i] = promisedAt(times[i], false);
                promises.put(shown[i], promise(shown[i]));
            }
            return all(number -> keep(promises.get(number)), shown);
        });
    }

    @Override
    public Picture middle(long part, long parts) throws IOException {
        return promised() == 0 ? null : settle(() -> keep(promise(FilmPictures.middleOf(part, parts, promised()))));
    }

    @Override
    public Picture next(FilmPlace place) throws IOException {
        for (int left = ATTEMPTS; left > 0; left--) {
            int before = map().changes();
            Promise promise = promise(place.isBeginning() ? promisedAt(place.time(), false) : numberAfter(place));
            if (before != map().changes()) {
                continue;
            }
            if (promise == null) {
                return null;
            }
            Picture picture = keep(promise);
            if (picture != null) {
                place.reach(promise.number, promise.packet, map().changes());
                return picture;
            }
        }
        throw FilmNumbers.unsettled();
    }

    private long numberAfter(FilmPlace place) {
        if (place.changes() == map().changes() || place.packet() < 0) {
            return place.number() + 1;
        }
        long number = numbers.numberOf(place.packet());
        if (number < 0) {
            throw FilmNumbers.unsettled();
        }
        return number + 1;
    }

    @Override
    public long timeOf(long number) throws IOException {
        return numbers.times((int) number).timestamp();
    }

    @Override
    public long numberAt(long time) throws IOException {
        return promisedAt(time, true);
    }

    /**
     * Returns the number of the picture that is shown at a time.
     *
     * @param certain whether no picture before it may be missing
     */
    private long promisedAt(long time, boolean certain) throws IOException {
        if (!isThere(0, certain)) {
            throw new MediaFormatException("not one picture can be decoded");
        }
        return search.find(time, number -> isThere(number, certain) ? numbers.times(number).timestamp() : null);
    }

    private boolean isThere(long number, boolean certain) throws IOException {
        return certain ? numbers.has(number) : numbers.isPromised(number);
    }

    private Picture decode(int number) throws IOException {
        PacketTimes.Times times = numbers.isKnown(number) ? numbers.times(number) : null;
        if (!numbers.isKnown(number)) {
            return null; // that was learned now
        }
        Picture picture = numbers.takeVerified(number);
        if (picture == null && !sequential.isNear(number) && nearby.isPossible(number)) {
            boolean trusted = film.isDamaged();
            picture = nearby.picture(number);
            if (film.isDamaged() != trusted) {
                return decode(number);
            }
        }
        if (picture == null) {
            picture = sequential.picture(number);
            if (picture == null) {
                return null;
            }
            times = numbers.times(number);
        }
        return picture.timed(times);
    }

    void save(DataOutputStream out) throws IOException {
        count();
        map().save(out);
    }

    void load(DataInputStream in) throws IOException {
        film.load(in);
        stop();
        begin();
    }

    private void stop() {
        nearby.close();
        sequential.close();
        numbers.close();
    }

    @Override
    public void close() {
        stop();
        film.close();
    }
}
