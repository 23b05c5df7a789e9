package kiv.media.ffmpeg;

import java.io.DataInputStream;
import java.io.DataOutputStream;
import java.io.IOException;
import java.util.Arrays;
import java.util.BitSet;
import java.util.HashMap;
import java.util.List;
import java.util.Map;
import java.util.zip.CRC32C;
import kiv.media.ffmpeg.index.FilmMap;
import kiv.media.ffmpeg.index.PacketExaminer;
import kiv.media.ffmpeg.index.PacketIndex;

/**
 * Gives the pictures that decoding a whole film gives, and decodes as little of it as it can. It begins where the heads of
 * pictures say that decoding can start, proves that the first picture needs nothing before it, and checks that each picture
 * comes that was expected. When one does not, it decodes the film from its beginning, which is right by definition.
 */
final class FilmDecoder implements FilmPictures {

    private static final int PART = 256;
    private static final int ATTEMPTS = 16;

    private final MediaReader reader;
    private final MediaStream stream;
    private final PacketFetcher.Opening opening;
    /** Null when nothing is known of the codec's pictures. */
    private final PacketExaminer examiner;
    private FilmMap map;
    private FilmClock clock;

    private final PacketsAhead packets;

    /** Null before it is needed. */
    private FilmRun run;
    /** The number that the run gives next. */
    private int expected;
    /** The first packet of the run, and its own group. The pictures of this group before that packet's are not wanted. */
    private int begin;
    /** What its picture must be, if that is not proven yet. */
    private Long proof;
    /** Whether the decoder has noticed damage somewhere. From then on each picture must have its checksum. */
    private boolean damaged;
    private boolean verifiedAll;
    /** Groups that do not come as expected. */
    private final BitSet surprising = new BitSet();
    private long decodedBefore;
    /** Decodes the film from its beginning, each packet once. Null before it is needed. */
    private FilmRun front;
    /** Decodes again what the other run has passed. */
    private FilmRun again;
    /** Packets that the whole film goes on without. */
    private final BitSet undecodable = new BitSet();
    /** The picture that was verified last, which is often the one that is wanted; or null. */
    private Picture held;
    private int heldNumber;

    /** Up to the end of each part of the pictures, the latest time at which one of them is shown. */
    private long[] latest = new long[16];
    private int parts;
    private int changes;

    FilmDecoder(MediaReader reader, MediaStream stream, PacketFetcher.Opening opening) {
        this.reader = reader;
        this.stream = stream;
        this.opening = opening;
        this.examiner = stream.examiner();
        this.packets = new PacketsAhead(reader, stream);
        adopt(new FilmMap(new PacketIndex(), examiner));
    }

    private void adopt(FilmMap newMap) {
        map = newMap;
        clock = new FilmClock(map, stream);
        verifiedAll = map.hasEnded() && map.learnedGroups() == map.groups() && map.verified() == map.known();
    }

    /** Whether decoding alone says which pictures there are, although the packets promise some. */
    private boolean isTentative() {
        return examiner != null && examiner.isTentative();
    }

    /** Whether a number of a picture is certain only when all before it were decoded, which was not done yet. */
    boolean numbersTakeDecoding() {
        return isTentative() && !verifiedAll;
    }

    FilmMap map() {
        return map;
    }

    @Override
    public long decodedPackets() {
        return decodedBefore + (run == null ? 0 : run.decoded()) + (front == null ? 0 : front.decoded())
                + (again == null ? 0 : again.decoded());
    }

    @Override
    public long damagedPackets() {
        return undecodable.cardinality();
    }

    /** Adds the next packet to the index. @return false at the end */
    private boolean readPacket() throws IOException {
        if (map.hasEnded()) {
            return false;
        }
        byte[] bytes;
        try {
            bytes = packets.next();
        } catch (MediaFormatException e) {
            if (map.index().size() == 0) {
                throw e;
            }
            bytes = null; // as for all who decode it: what is behind the damage is left out
        }
        if (bytes == null) {
            map.end();
        } else {
            map.add(bytes, packets.length(), packets.fields());
        }
        return bytes != null;
    }

    /** Makes a picture certain. @return whether the film has it */
    @Override
    public boolean has(long number) throws IOException {
        if (isTentative()) {
            verify(number);
        }
        return isKnown(number);
    }

    /** Whether the packets promise a picture, with the numbers of its group being those of decoding it. */
    private boolean isPromised(long number) throws IOException {
        boolean known = isKnown(number);
        if (known && isTentative() && map.isPartlyLearned(number)) {
            learn(map.groupOf((int) number));
            known = isKnown(number);
        }
        if (known && isTentative() && !clock.isPlain((int) number)) {
            verify(number); // its time depends on those before it
            known = isKnown(number);
        }
        return known;
    }

    /** Makes a picture known. @return whether the film has it, or promises it */
    private boolean isKnown(long number) throws IOException {
        while (map.known() <= number) {
            if (map.isStuck()) {
                learn(map.counted());
            } else if (!readPacket() && !map.isStuck()) {
                break;
            }
        }
        if (damaged || map.isIrregularAt(number)) {
            verify(number);
        }
        return number < map.known();
    }

    /** Learns what a group gives. */
    private void learn(int group) throws IOException {
        while (map.learnedGroups() <= group) {
            if (isTentative()) {
                verify(map.learned());
            } else {
                Picture picture = nextOfWhole(map.learned());
                if (picture != null) {
                    picture.close();
                    continue;
                }
            }
            if (map.learnedGroups() <= group && (verifiedAll || !isTentative())) {
                throw unsettled(); // there are fewer pictures than a loaded index says
            }
        }
    }

    /** Learns what every group gives, and a checksum of each picture. */
    void learnAll() throws IOException {
        verify(Long.MAX_VALUE);
    }

    /** Decodes the film from its beginning up to a picture, and notes the checksums of all of them. */
    private void verify(long number) throws IOException {
        while (map.verified() <= number && !verifiedAll) {
            Picture picture = nextOfWhole(map.verified());
            verifiedAll = picture == null;
            if (!verifiedAll) {
                hold(picture, map.verified());
                map.verify((int) checksum(picture));
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

    /** Returns the picture that was verified last if it has a number, otherwise null. */
    private Picture takeHeld(int number) {
        Picture taken = heldNumber == number ? held : null;
        held = taken == null ? held : null;
        return taken;
    }

    /** Reads the index to the end. */
    void readAll() throws IOException {
        while (readPacket()) {
            // The map takes each packet.
        }
    }

    /** Reads the index to the end, and learns what it does not say. */
    @Override
    public long count() throws IOException {
        if (isTentative()) {
            verify(Long.MAX_VALUE);
        }
        return promised();
    }

    @Override
    public long promised() throws IOException {
        while (!map.isWhole()) {
            if (map.isStuck()) {
                learn(map.counted());
            } else {
                readPacket();
            }
        }
        if (damaged || map.isIrregularAt(map.known())) {
            verify(Long.MAX_VALUE);
        }
        return map.known();
    }

    /** Returns the times of a known picture. */
    PacketTimes.Times times(int number) throws IOException {
        PacketTimes.Times times = clock.of(number);
        if (times == null && !clock.knowsDelay()) {
            learn(0);
            clock.learnDelay();
            for (int more = 0; more < 1024 && readPacket(); more++) {
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
        throw unsettled();
    }

    private static MediaFormatException unsettled() {
        return new MediaFormatException("the film gives other pictures each time it is decoded");
    }

    /** Returns a promise that there is; null when the film ends before it. */
    private Promise promise(long number) throws IOException {
        return isPromised(number) ? new Promise(number, packetOf((int) number)) : null;
    }

    private int packetOf(int number) {
        int group = map.groupOf(number);
        return map.pictures(group)[number - map.first(group)];
    }

    /** Decodes a picture that was promised. @return null when it has turned out to be another one */
    private Picture keep(Promise promise) throws IOException {
        Picture picture = promise == null ? null : decode((int) promise.number);
        if (picture != null && packetOf((int) promise.number) != promise.packet) {
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
            long[] numbers = new long[times.length];
            for (int i = 0; i < numbers.length; i++) {
                numbers[i] = promisedAt(times[i], false);
                promises.put(numbers[i], promise(numbers[i]));
            }
            return all(number -> keep(promises.get(number)), numbers);
        });
    }

    @Override
    public Picture middle(long part, long parts) throws IOException {
        return promised() == 0 ? null : settle(() -> keep(promise(FilmPictures.middleOf(part, parts, promised()))));
    }

    @Override
    public Picture next(FilmPlace place) throws IOException {
        for (int left = ATTEMPTS; left > 0; left--) {
            int before = map.changes();
            Promise promise = promise(place.isBeginning() ? promisedAt(place.time(), false) : numberAfter(place));
            if (before != map.changes()) {
                continue;
            }
            if (promise == null) {
                return null;
            }
            Picture picture = keep(promise);
            if (picture != null) {
                place.reach(promise.number, promise.packet, map.changes());
                return picture;
            }
        }
        throw unsettled();
    }

    private long numberAfter(FilmPlace place) {
        if (place.changes() == map.changes() || place.packet() < 0) {
            return place.number() + 1;
        }
        int group = map.groupOfPacket(place.packet());
        int rank = indexOf(map.pictures(group), place.packet());
        if (rank < 0) {
            throw unsettled();
        }
        return map.first(group) + rank + 1L;
    }

    @Override
    public long timeOf(long number) throws IOException {
        return times((int) number).timestamp();
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
        long number;
        do {
            if (changes != map.changes()) {
                changes = map.changes();
                parts = 0;
            }
            number = searchTime(time, certain);
        } while (changes != map.changes());
        return number;
    }

    private boolean isThere(long number, boolean certain) throws IOException {
        return certain ? has(number) : isPromised(number);
    }

    /** Finds the picture that is shown at a time, unless numbers change meanwhile. */
    private long searchTime(long time, boolean certain) throws IOException {
        int part = firstPartBeyond(time);
        long most = part == 0 ? Packet.NO_TIME : latest[part - 1];
        int number = part * PART;
        for (; isThere(number, certain); number++) {
            if (number == (parts + 1) * PART) {
                latest = parts < latest.length ? latest : Arrays.copyOf(latest, 2 * parts);
                latest[parts++] = most;
            }
            long begins = times(number).timestamp();
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

    private Picture decode(int number) throws IOException {
        PacketTimes.Times times = isKnown(number) ? times(number) : null;
        if (!isKnown(number)) {
            return null; // that was learned now
        }
        Picture picture = takeHeld(number);
        boolean reached = number < map.learned() && (isNear(front, number) || isNear(again, number));
        if (picture == null && examiner != null && !reached && map.groupOf(number) < map.counted()
                && !surprising.get(map.groupOf(number))) {
            boolean trusted = damaged;
            picture = fromNearby(number, false);
            if (picture == null && run != null) {
                picture = fromNearby(number, false); // the decoder now knows how many pictures it must hold back
            }
            if (picture == null && damaged == trusted) {
                picture = fromNearby(number, true);
            }
            surprising.set(map.groupOf(number), picture == null);
            if (damaged != trusted) {
                return decode(number);
            }
        }
        if (picture == null) {
            picture = fromBeginning(number);
            if (picture == null) {
                return null;
            }
            times = times(number);
        }
        return picture.timed(times);
    }

    /** Whether a run from the film's beginning has come to a picture's group, and not to the picture. */
    private boolean isNear(FilmRun whole, int number) {
        return whole != null && whole.polled() <= number && whole.polled() >= map.first(map.groupOf(number));
    }

    /**
     * Decodes from the nearest place.
     *
     * @param further whether to begin a group further back
     * @return null when something did not come as expected
     */
    private Picture fromNearby(int number, boolean further) throws IOException {
        int group = map.groupOf(number);
        int start = further ? startBefore(group) : startFor(number, group);
        if (start < 0 || start == 0 && !map.index().has(0, PacketIndex.RESTART)) {
            return null; // what a film begins with in the middle of a group depends on the decoder's first memory
        }
        // Decoding goes on when that is shorter, also within the group.
        if (run == null || expected > number || run.nextPacket() < start) {
            restart(start);
        }
        try {
            Picture picture = search(number);
            if (picture != null && number < map.verified() && map.checksum(number) != (int) checksum(picture)) {
                picture.close();
                picture = null;
            }
            if (picture == null) {
                expected = Integer.MAX_VALUE;
            }
            return picture;
        } catch (DecodeException e) {
            // A film that begins within a group lacks something there. That says nothing of the rest.
            damaged |= map.groupOfPacket(begin) > 0 || map.index().has(0, PacketIndex.RESTART);
            stopRun();
            return null;
        }
    }

    private void restart(int start) throws IOException {
        boolean strict = !map.index().has(start, PacketIndex.REFERS_BACK);
        if (run != null && (map.headersChanged() || run.isStrict() != strict)) {
            stopRun();
        }
        if (run == null) {
            run = new FilmRun(stream, new PacketFetcher(opening, map.index(), stream), strict);
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
        int group = map.groupOfPacket(start);
        int[] pictures = map.pictures(group);
        expected = map.first(group) + Math.max(0, indexOf(pictures, start));
    }

    /**
     * Decodes the picture to begin with after another one. A decoder that guesses what is damaged takes it from there.
     *
     * @return a checksum of the picture; null when there is nothing to compare
     */
    private Long prove(int start) throws IOException {
        int group = map.groupOfPacket(start);
        int other = group == 0 ? 0 : map.start(group - 1);
        PacketIndex index = map.index();
        if (start == other || examiner.isAlone() || index.has(start, PacketIndex.PROVEN)
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
                if (packet(picture.timestamp(), -1) == start) {
                    found = checksum(picture);
                }
            }
        } catch (DecodeException e) {
            found = null; // which decides nothing: it may be about the jump
        }
        return found;
    }

    private static long checksum(Picture picture) {
        CRC32C crc = new CRC32C();
        crc.update(picture.toBytes());
        return crc.getValue();
    }

    /** Whether the picture with which decoding began needed nothing before it. */
    private boolean isProven(Picture picture, int own) {
        if (own == begin && proof != null) {
            boolean same = checksum(picture) == proof;
            map.index().set(begin, same ? PacketIndex.PROVEN : PacketIndex.RESTART, same);
            proof = null;
            return same;
        }
        return true;
    }

    private void stopRun() {
        if (run != null) {
            decodedBefore += run.decoded();
            run.close();
            run = null;
        }
    }

    /** Returns the packet to begin with for a picture; -1 when only the beginning of the film will do. */
    private int startFor(int number, int group) {
        int[] pictures = map.pictures(group);
        int rank = number - map.first(group);
        int packet = pictures[rank];
        if (packet < 0) {
            return -1;
        }
        for (int start = packet; start >= map.start(group); start--) {
            if (map.index().has(start, PacketIndex.RESTART) && indexOf(pictures, start) <= rank
                    && indexOf(pictures, start) >= 0) {
                return start;
            }
        }
        // It is shown before the first picture of its group, and may need what is stored before that.
        return group == 0 ? 0 : startBefore(group);
    }

    private int startBefore(int group) {
        int before = map.start(Math.max(0, group - 1));
        return group <= 1 || map.index().has(before, PacketIndex.RESTART) ? before : -1;
    }

    private static int indexOf(int[] values, int value) {
        for (int i = 0; i < values.length; i++) {
            if (values[i] == value) {
                return i;
            }
        }
        return -1;
    }

    /** Decodes up to a picture and compares those before it with the map. */
    private Picture search(int number) throws IOException {
        int group = -1;
        int[] pictures = {};
        while (true) {
            for (Picture picture; (picture = run.poll()) != null; picture.close()) {
                int own = packet(picture.timestamp(), -1);
                if (group < 0 || expected >= map.first(group + 1)) {
                    group = map.groupOf(expected);
                    pictures = map.pictures(group);
                }
                int rank = expected - map.first(group);
                if (pictures[rank] == own && isProven(picture, own) && (clock.isPlain(expected) || comesInTime(picture))) {
                    if (expected++ == number) {
                        return picture;
                    }
                } else if (!comesBeforeBegin(own)) {
                    picture.close();
                    return null;
                }
            }
            readPacketsPast(run.nextPacket());
            long errors = run.errors();
            try {
                if (!run.decode(map.index().size())) {
                    return null;
                }
                if (run.errors() > errors) {
                    throw new DecodeException("the decoder has logged an error");
                }
            } catch (DecodeException e) {
                int rank = indexOf(map.pictures(map.groupOfPacket(begin)), run.nextPacket() - 1);
                if (rank < 0 || !comesBeforeBegin(run.nextPacket() - 1)) {
                    throw e; // otherwise it only lacks what is before the beginning
                }
            }
        }
    }

    /** Whether a picture came with the packet that its time depends on. */
    private boolean comesInTime(Picture picture) {
        PacketTimes.Times times = clock.of(expected);
        return times != null && clock.fed(expected) == packet(picture.duration(), map.index().size());
    }

    /** Whether a picture is shown before the one with which decoding began. Such pictures may be incomplete. */
    private boolean comesBeforeBegin(int own) {
        int group = map.groupOfPacket(begin);
        if (own < begin || own >= map.end(group)) {
            return false;
        }
        int[] pictures = map.pictures(group);
        int at = indexOf(pictures, own);
        return at < 0 || at < indexOf(pictures, begin);
    }

    private static int packet(long time, int otherwise) {
        return time == Packet.NO_TIME ? otherwise : (int) time;
    }

    private void readPacketsPast(int packet) throws IOException {
        while (map.index().size() <= packet && readPacket()) {
            // One is enough.
        }
    }

    /** Decodes the film from its beginning up to a picture. @return null when the film ends before */
    private Picture fromBeginning(int number) throws IOException {
        while (true) {
            int reached = wholeRun(number).polled();
            Picture picture = nextOfWhole(reached);
            if (picture == null || reached == number) {
                return picture;
            }
            picture.close();
        }
    }

    /** Returns the run from the film's beginning that gives a picture, and which has come nearest to it. */
    private FilmRun wholeRun(int number) {
        if (front == null) {
            front = newWholeRun();
        }
        if (front.polled() <= number) {
            return front;
        }
        if (again != null && again.polled() > number) {
            decodedBefore += again.decoded();
            again.close();
            again = null;
        }
        if (again == null) {
            again = newWholeRun();
        }
        return again;
    }

    private FilmRun newWholeRun() {
        return new FilmRun(stream, new PacketFetcher(opening, map.index(), stream), false);
    }

    /** Decodes a picture of the whole film, and notes those that are new. @return null at the film's end */
    private Picture nextOfWhole(int number) throws IOException {
        FilmRun whole = wholeRun(number);
        while (true) {
            for (Picture picture; (picture = whole.poll()) != null; picture.close()) {
                int own = whole.polled() - 1;
                if (own == map.learned()) {
                    map.learn(packet(picture.timestamp(), -1), packet(picture.duration(), map.index().size()));
                }
                if (own == number) {
                    return picture;
                }
            }
            readPacketsPast(whole.nextPacket());
            try {
                if (!whole.decode(map.index().size())) {
                    if (whole.polled() >= map.learned()) {
                        map.learnEnd();
                    }
                    return null;
                }
            } catch (DecodeException e) {
                undecodable.set(whole.nextPacket() - 1); // the film goes on without it
            }
        }
    }

    void save(DataOutputStream out) throws IOException {
        count();
        map.save(out);
    }

    void load(DataInputStream in) throws IOException {
        FilmMap loaded = FilmMap.load(in, examiner);
        if (loaded.index().size() > 0) {
            try (PacketFetcher fetcher = new PacketFetcher(opening, loaded.index(), stream)) {
                fetcher.fetch(0);
            } catch (MediaFormatException e) {
                throw new MediaFormatException("the index is that of another film", e);
            }
        }
        stopRuns();
        parts = 0;
        changes = 0;
        surprising.clear();
        adopt(loaded);
    }

    private void stopRuns() {
        stopRun();
        for (FilmRun whole : new FilmRun[] {front, again}) {
            if (whole != null) {
                decodedBefore += whole.decoded();
                whole.close();
            }
        }
        front = null;
        again = null;
        hold(null, -1);
    }

    @Override
    public void close() {
        stopRuns();
        reader.release();
    }
}
