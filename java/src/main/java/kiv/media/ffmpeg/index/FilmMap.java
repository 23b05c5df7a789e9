package kiv.media.ffmpeg.index;

import java.io.DataInputStream;
import java.io.DataOutputStream;
import java.io.IOException;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import kiv.media.ffmpeg.natives.PacketFields;
import kiv.media.ffmpeg.natives.PacketFlags;

/**
 * Which packet gives which picture of a film. Packets form groups, which begin where decoding can start. All pictures of a
 * group are shown before those of the next one. What a group gives follows from the heads of its pictures; where it does
 * not, it is learned by decoding the film from its beginning.
 */
public final class FilmMap {

    /** Groups of pictures that are coded alone are that long. */
    private static final int SMALLEST_GROUP = 8;
    /** Ranks within a group have 16 bits. */
    private static final int LARGEST_GROUP = Short.MAX_VALUE;
    private static final int UNKNOWN = CodedPicture.UNKNOWN;
    private static final int NONE = Integer.MAX_VALUE;

    private final PacketIndex index;
    /** Null when nothing is known of the codec's pictures. */
    private final PacketExaminer examiner;
    private boolean ended;
    private boolean headersChanged;
    /** The first group of which it is not certain that it gives what its heads promise, although all made sense before. */
    private int irregular = NONE;

    private int groups;
    private int[] starts = new int[16];
    private int[] counts = new int[16];
    /** The number of the first picture, of as many groups as are counted, and of the next one. */
    private int[] firsts = new int[17];
    private int counted;

    /** The pictures that decoding from the beginning gave: their own packets, and those whose decoding delivered them. */
    private int[] own = new int[16];
    private int[] fed = new int[16];
    private int learned;
    private int learnedGroups;
    /** Checksums of the first pictures. */
    private int[] sums = new int[16];
    private int summed;
    /** How many pictures the heads of each group promise; or that only decoding can tell. */
    private int[] promised = new int[16];
    private int changes;
    /** The group whose pictures were asked for last, and these. */
    private int recentGroup = -1;
    private int[] recent = {};

    // Of the open group.
    private CodedPicture picture = new CodedPicture();
    /** Its pictures, and behind them some to be used again. */
    private final List<CodedPicture> open = new ArrayList<>();
    private int openSize;
    private int delay;
    /** Whether the sequence of pictures begins anew before or after the group. */
    private boolean uncertain;
    private boolean newUncertain;

    public FilmMap(PacketIndex index, PacketExaminer examiner) {
        this.index = index;
        this.examiner = examiner;
    }

    /**
     * Takes the next packet.
     *
     * @param bytes begins with its bytes
     * @param size how many they are
     * @param fields laid out as {@link PacketFields}
     */
    public void add(byte[] bytes, int size, long[] fields) {
        picture.clear();
        if (examiner != null) {
            examiner.examine(bytes, size, picture);
            headersChanged |= examiner.headersChanged();
            boolean begins = examiner.takeSequenceBegins();
            uncertain |= begins;
            newUncertain = begins;
            if ((fields[PacketFields.FLAGS] & PacketFlags.DAMAGED) != 0) {
                picture.clear();
            }
        }
        boolean broken = picture.broken;
        // A film may begin with a part of a packet.
        boolean lasting = picture.brokenHeaders || broken && index.size() > 0;
        if (broken) {
            picture.clear();
        }
        boolean alone = examiner != null && examiner.isAlone();
        if (index.size() == 0 || newUncertain || picture.restart && (!alone || openSize >= SMALLEST_GROUP)) {
            endGroup();
            uncertain = newUncertain;
            newUncertain = false;
            if (groups == starts.length) {
                starts = Arrays.copyOf(starts, 2 * groups);
                counts = Arrays.copyOf(counts, 2 * groups);
                promised = Arrays.copyOf(promised, 2 * groups);
                firsts = Arrays.copyOf(firsts, 2 * groups + 1);
            }
            starts[groups++] = index.size();
        }
        // What a film has that begins within a group says nothing of the rest.
        boolean odd = groups > 1 && picture.pictures == UNKNOWN
                || lasting || index.size() > 0 && fields[PacketFields.ERRORS] > 0;
        if (odd && examiner != null) {
            irregular = Math.min(irregular, groups - 1);
        }
        index.add(bytes, size, fields, (picture.restart ? PacketIndex.RESTART : 0)
                | (picture.refersBack ? PacketIndex.REFERS_BACK : 0));
        keep();
    }

    /** Appends the picture at work to the open group. */
    private void keep() {
        if (openSize <= LARGEST_GROUP) {
            if (openSize == open.size()) {
                open.add(new CodedPicture());
            }
            picture = open.set(openSize, picture);
        }
        openSize++;
    }

    /** There are no more packets. */
    public void end() {
        ended = true;
        endGroup();
    }

    public boolean hasEnded() {
        return ended;
    }

    /**
     * Whether a packet made no sense in a picture's group or before it, or one of these groups gave other pictures than
     * its heads promise.
     *
     * @param number a picture that is known, or the number behind the last one
     */
    public boolean isIrregularAt(long number) {
        return irregular < NONE && (irregular >= counted ? irregular < groups && number >= firsts[counted]
                : number >= firsts[Math.max(0, irregular - 1)]);
    }

    public boolean headersChanged() {
        return headersChanged;
    }

    private void endGroup() {
        if (openSize == 0) {
            return;
        }
        int group = groups - 1;
        int start = starts[group];
        int[] order = promised();
        int count = order == null || !isCertain(order) ? UNKNOWN : order.length;
        promised[group] = order == null ? UNKNOWN : order.length;
        if (order != null) {
            for (int i = 0; i < openSize; i++) {
                index.rank(start + i, -1);
            }
            for (int rank = 0; rank < order.length; rank++) {
                index.rank(start + order[rank], rank);
            }
        }
        counts[group] = count;
        openSize = 0;
        count();
    }

    /** The packets of the open group that give a picture, as those are shown; null when their heads do not say. */
    private int[] promised() {
        if (examiner == null || uncertain || openSize > LARGEST_GROUP) {
            return null;
        }
        int[] order = new int[openSize];
        int size = 0;
        for (int i = 0; i < openSize; i++) {
            int pictures = open.get(i).pictures;
            if (pictures == UNKNOWN) {
                return null;
            }
            order[size] = i;
            size += pictures;
        }
        order = Arrays.copyOf(order, size);
        switch (examiner.order()) {
            case NUMBERED -> sortByNumber(order);
            case BY_KIND -> sortByKind(order);
            default -> {
                // They are shown as they are stored.
            }
        }
        return order;
    }

    /** Whether decoding gives what the heads of the open group promise. */
    private boolean isCertain(int[] order) {
        int most = reordering(order);
        boolean surprising = most > Math.max(delay, examiner.knownDelay());
        delay = Math.max(delay, most);
        // A decoder leaves out pictures that refer to what was before the film's beginning, or to what it lacks.
        boolean whole = groups > 1 ? isWhole(groups - 2) : open.get(0).restart;
        boolean leading = order.length == 0 || order[0] != 0;
        return !surprising && (whole || !leading && groups > 1) && !(groups == 1 && leading);
    }

    /** Whether a group gave all that it promised, or is certain to. */
    private boolean isWhole(int group) {
        return counts[group] != UNKNOWN && counts[group] == promised[group];
    }

    private void sortByNumber(int[] order) {
        for (int i = 1; i < order.length; i++) {
            int packet = order[i];
            long number = open.get(packet).order;
            int at = i;
            while (at > 0 && open.get(order[at - 1]).order > number) {
                order[at] = order[at - 1];
                at--;
            }
            order[at] = packet;
        }
    }

    private void sortByKind(int[] order) {
        int size = 0;
        int waiting = -1;
        for (int i = 0; i < order.length; i++) {
            int packet = order[i];
            if (open.get(packet).bidirectional) {
                order[size++] = packet;
            } else {
                if (waiting >= 0) {
                    order[size++] = waiting;
                }
                waiting = packet;
            }
        }
        if (waiting >= 0) {
            order[size] = waiting;
        }
    }

    /** The most pictures that are stored before a picture and shown after it. */
    private static int reordering(int[] order) {
        int most = 0;
        int last = 0;
        for (int packet : order) {
            last = Math.max(last, packet + 1);
        }
        int[] rank = new int[last];
        Arrays.fill(rank, -1);
        for (int i = 0; i < order.length; i++) {
            rank[order[i]] = i;
        }
        // Those of higher rank stored before: kept few by looking at the highest ones only.
        int[] waiting = new int[order.length];
        int size = 0;
        int next = 0;
        for (int value : rank) {
            if (value < 0) {
                continue;
            }
            int at = size++;
            while (at > 0 && waiting[at - 1] < value) {
                waiting[at] = waiting[at - 1];
                at--;
            }
            waiting[at] = value;
            most = Math.max(most, at);
            while (size > 0 && waiting[size - 1] == next) {
                size--;
                next++;
            }
        }
        return most;
    }

    private void count() {
        recentGroup = -1;
        while (counted < groups && (counted < groups - 1 || openSize == 0) && counts[counted] != UNKNOWN) {
            firsts[counted + 1] = firsts[counted] + counts[counted];
            counted++;
        }
    }

    /** The number of pictures in all groups from the first one on whose pictures are known. */
    public int known() {
        return Math.max(firsts[counted], learned);
    }

    /** Whether the next group is complete but what it gives must be learned. */
    public boolean isStuck() {
        return counted < groups && (counted < groups - 1 || openSize == 0);
    }

    /** Whether all pictures of the film are known. */
    public boolean isWhole() {
        return ended && counted == groups;
    }

    public int groups() {
        return groups;
    }

    public int counted() {
        return counted;
    }

    public int start(int group) {
        return starts[group];
    }

    /** The first packet behind a group. */
    public int end(int group) {
        return group + 1 < groups ? starts[group + 1] : index.size();
    }

    public int first(int group) {
        return firsts[group];
    }

    /** The group of a known picture. */
    public int groupOf(int number) {
        if (number < learned && number >= firsts[learnedGroups]) {
            return learnedGroups;
        }
        int at = Arrays.binarySearch(firsts, 0, counted + 1, number);
        int group = at >= 0 ? at : -at - 2;
        while (firsts[group + 1] == firsts[group]) {
            group++;
        }
        return group;
    }

    public int groupOfPacket(int packet) {
        int at = Arrays.binarySearch(starts, 0, groups, packet);
        return at >= 0 ? at : -at - 2;
    }

    /** The own packets of the pictures of a known group, as they are shown; -1 stands for one that is not known. */
    public int[] pictures(int group) {
        if (group != recentGroup) {
            recent = find(group);
            recentGroup = group;
        }
        return recent;
    }

    private int[] find(int group) {
        if (group < learnedGroups) {
            return Arrays.copyOfRange(own, firsts[group], firsts[group + 1]);
        }
        int predicted = group < counted ? firsts[group + 1] - firsts[group] : 0;
        int[] packets = predicted(group, Math.max(predicted, learned - firsts[group]));
        // Of the group that decoding from the beginning has reached, a part is certain.
        if (group == learnedGroups) {
            System.arraycopy(own, firsts[group], packets, 0, learned - firsts[group]);
        }
        return packets;
    }

    private int[] predicted(int group, int size) {
        int[] packets = new int[size];
        Arrays.fill(packets, -1);
        for (int packet = starts[group]; packet < end(group); packet++) {
            if (index.rank(packet) >= 0 && index.rank(packet) < size) {
                packets[index.rank(packet)] = packet;
            }
        }
        return packets;
    }

    /** The pictures from the beginning on that were learned. */
    public int learned() {
        return learned;
    }

    /** Whether a known picture is in a group of which only a part was learned. The other part may have other numbers. */
    public boolean isPartlyLearned(long number) {
        return learnedGroups < groups && learned > firsts[learnedGroups] && number >= firsts[learnedGroups]
                && (learnedGroups >= counted || number < firsts[learnedGroups + 1]);
    }

    public int learnedGroups() {
        return learnedGroups;
    }

    /** How often a group was learned to give other pictures than had been expected. */
    public int changes() {
        return changes;
    }

    public int learnedFed(int number) {
        return fed[number];
    }

    /** Notes the next picture that decoding from the beginning gave; -1 stands for no packet. */
    public void learn(int ownPacket, int fedPacket) {
        recentGroup = -1;
        if (learned == own.length) {
            own = Arrays.copyOf(own, 2 * learned);
            fed = Arrays.copyOf(fed, 2 * learned);
        }
        int group = ownPacket < 0 ? learnedGroups : groupOfPacket(ownPacket);
        while (learnedGroups < group) {
            learnGroup();
        }
        own[learned] = ownPacket;
        fed[learned++] = fedPacket;
    }

    /** Decoding from the beginning gave all there is. */
    public void learnEnd() {
        while (learnedGroups < groups) {
            learnGroup();
        }
    }

    private void learnGroup() {
        recentGroup = -1;
        int group = learnedGroups++;
        int[] now = Arrays.copyOfRange(own, firsts[group], learned);
        if (counts[group] != UNKNOWN && !Arrays.equals(now, predicted(group, counts[group]))) {
            changes++;
        }
        counts[group] = learned - firsts[group];
        if (!Arrays.equals(now, predicted(group, counts[group]))) {
            irregular = group > 1 && promised[group] != UNKNOWN ? Math.min(irregular, group) : irregular;
            promised[group] = UNKNOWN; // it is not whole
        }
        counted = Math.min(counted, group);
        count();
    }

    /** Notes the checksum of the next picture. */
    public void verify(int checksum) {
        if (summed == sums.length) {
            sums = Arrays.copyOf(sums, 2 * summed);
        }
        sums[summed++] = checksum;
    }

    /** Of so many pictures from the first one on there are checksums. */
    public int verified() {
        return summed;
    }

    public int checksum(int number) {
        return sums[number];
    }

    public void save(DataOutputStream out) throws IOException {
        index.save(out);
        out.writeBoolean(headersChanged);
        out.writeInt(irregular);
        out.writeInt(groups);
        for (int group = 0; group < groups; group++) {
            out.writeInt(starts[group]);
            out.writeInt(counts[group]);
        }
        out.writeInt(learnedGroups);
        out.writeInt(learned);
        for (int i = 0; i < learned; i++) {
            out.writeInt(own[i]);
            out.writeInt(fed[i]);
        }
        out.writeInt(summed);
        for (int i = 0; i < summed; i++) {
            out.writeInt(sums[i]);
        }
    }

    /**
     * Loads what {@link #save} wrote of a whole film.
     *
     * @throws java.io.StreamCorruptedException when a value is none that there can be
     */
    public static FilmMap load(DataInputStream in, PacketExaminer examiner) throws IOException {
        FilmMap map = new FilmMap(PacketIndex.load(in), examiner);
        int packets = map.index.size();
        map.headersChanged = in.readBoolean();
        map.irregular = in.readInt();
        map.ended = true;
        map.groups = in.readInt();
        PacketIndex.check(map.groups >= 0 && map.groups <= packets && map.groups > 0 == packets > 0
                && map.groups <= in.available() / Long.BYTES
                && (map.irregular == NONE || map.irregular >= 0 && map.irregular < map.groups));
        map.starts = new int[map.groups + 1];
        map.counts = new int[map.groups + 1];
        map.promised = new int[map.groups + 1];
        map.firsts = new int[map.groups + 2];
        long pictures = 0;
        for (int group = 0; group < map.groups; group++) {
            map.starts[group] = in.readInt();
            map.counts[group] = in.readInt();
            pictures += map.counts[group];
            PacketIndex.check(map.starts[group] < packets && map.counts[group] >= 0 && pictures < Integer.MAX_VALUE
                    && (group == 0 ? map.starts[0] == 0 : map.starts[group] > map.starts[group - 1]));
        }
        map.count();
        map.learnedGroups = in.readInt();
        map.learned = in.readInt();
        PacketIndex.check(map.learnedGroups >= 0 && map.learnedGroups <= map.groups
                && map.learned >= map.firsts[map.learnedGroups] && map.learned <= pictures
                && map.learned <= in.available() / Long.BYTES);
        map.own = new int[map.learned + 1];
        map.fed = new int[map.learned + 1];
        for (int i = 0; i < map.learned; i++) {
            map.own[i] = in.readInt();
            map.fed[i] = in.readInt();
            PacketIndex.check(map.own[i] >= -1 && map.own[i] < packets && map.fed[i] >= 0 && map.fed[i] <= packets);
        }
        for (int group = map.learnedGroups; group < map.groups; group++) {
            map.checkRanks(group);
        }
        int left = in.readInt();
        PacketIndex.check(left >= 0 && left <= pictures && left == in.available() / Integer.BYTES);
        for (; left > 0; left--) {
            map.verify(in.readInt());
        }
        return map;
    }

    /** Checks that each picture of a group which was not decoded has one packet. */
    private void checkRanks(int group) throws IOException {
        PacketIndex.check(counts[group] <= end(group) - starts[group]);
        boolean[] there = new boolean[counts[group]];
        int size = 0;
        for (int packet = starts[group]; packet < end(group); packet++) {
            int rank = index.rank(packet);
            PacketIndex.check(rank < 0 || rank < there.length && !there[rank]);
            if (rank >= 0) {
                there[rank] = true;
                size++;
            }
        }
        PacketIndex.check(size == there.length);
    }

    public PacketIndex index() {
        return index;
    }
}
