package kiv.media.ffmpeg;

import java.io.DataInputStream;
import java.io.DataOutputStream;
import java.io.IOException;
import java.util.Arrays;
import java.util.BitSet;
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
    private FilmRun wholeRun;
    /** Packets that the whole film goes on without. */
    private final BitSet undecodable = new BitSet();
    private int wholeNumber;

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
    }

    FilmMap map() {
        return map;
    }

    @Override
    public long decodedPackets() {
        return decodedBefore + (run == null ? 0 : run.decoded()) + (wholeRun == null ? 0 : wholeRun.decoded());
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

    /** Makes a picture known. @return whether the film has it */
    @Override
    public boolean has(long number) throws IOException {
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
            Picture picture = nextOfWhole(map.learned());
            if (picture != null) {
                picture.close();
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
            try (Picture picture = nextOfWhole(map.verified())) {
                verifiedAll = picture == null;
                if (!verifiedAll) {
                    map.verify((int) checksum(picture));
                }
            }
        }
    }

    /** Reads the index to the end, and learns what it does not say. */
    @Override
    public long count() throws IOException {
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
            times = has(number) ? clock.of(number) : null;
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

    @Override
    public Picture pictureAt(long time) throws IOException {
        for (int attempt = 0; attempt < ATTEMPTS; attempt++) {
            Picture picture = picture(numberAt(time));
            if (picture != null) {
                return picture;
            }
            // It turned out to have fewer pictures.
        }
        throw new MediaFormatException("the film gives other pictures each time it is decoded");
    }

    @Override
    public long timeOf(long number) throws IOException {
        return times((int) number).timestamp();
    }

    @Override
    public long numberAt(long time) throws IOException {
        if (!has(0)) {
            throw new MediaFormatException("not one picture can be decoded");
        }
        int part = firstPartBeyond(time);
        long most = part == 0 ? Packet.NO_TIME : latest[part - 1];
        int number = part * PART;
        for (; has(number); number++) {
            if (number == (parts + 1) * PART) {
                latest = parts < latest.length ? latest : Arrays.copyOf(latest, 2 * parts);
                latest[parts++] = most;
            }
            long begins = times(number).timestamp();
            if (changes != map.changes()) {
                changes = map.changes();
                parts = 0;
                return numberAt(time);
            }
            if (begins > time) {
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
        PacketTimes.Times times = has(number) ? times(number) : null;
        if (!has(number)) {
            return null; // that was learned now
        }
        Picture picture = null;
        boolean learning = number < map.learned() && wholeRun != null && wholeNumber <= number;
        if (examiner != null && !learning && map.groupOf(number) < map.counted() && !surprising.get(map.groupOf(number))) {
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
            int reached = wholeRun == null || wholeNumber > number ? 0 : wholeNumber;
            Picture picture = nextOfWhole(reached);
            if (picture == null || reached == number) {
                return picture;
            }
            picture.close();
        }
    }

    /** Decodes the next picture of the whole film, and notes it when it is new. @return null at the film's end */
    private Picture nextOfWhole(int number) throws IOException {
        if (wholeRun == null || wholeNumber > number) {
            if (wholeRun != null) {
                decodedBefore += wholeRun.decoded();
                wholeRun.close();
            }
            wholeRun = new FilmRun(stream, new PacketFetcher(opening, map.index(), stream), false);
            wholeNumber = 0;
        }
        while (true) {
            for (Picture picture; (picture = wholeRun.poll()) != null; picture.close()) {
                if (wholeNumber == map.learned()) {
                    map.learn(packet(picture.timestamp(), -1), packet(picture.duration(), map.index().size()));
                }
                if (wholeNumber++ == number) {
                    return picture;
                }
            }
            readPacketsPast(wholeRun.nextPacket());
            try {
                if (!wholeRun.decode(map.index().size())) {
                    if (wholeNumber >= map.learned()) {
                        map.learnEnd();
                    }
                    return null;
                }
            } catch (DecodeException e) {
                undecodable.set(wholeRun.nextPacket() - 1); // the film goes on without it
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
        adopt(loaded);
    }

    @Override
    public void close() {
        stopRun();
        if (wholeRun != null) {
            wholeRun.close();
        }
        reader.release();
    }
}
