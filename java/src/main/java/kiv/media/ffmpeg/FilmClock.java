package kiv.media.ffmpeg;

import java.util.ArrayList;
import java.util.List;
import kiv.media.ffmpeg.index.FilmMap;
import kiv.media.ffmpeg.index.PacketIndex;

/** The times of a film's pictures, as decoding the film from its beginning gives them. */
final class FilmClock {

    private static final int NOT_LEARNED = -1;

    private final FilmMap map;
    private final PacketIndex index;
    private final PacketTimes times = new PacketTimes();
    private final PictureClock clock;
    private final PictureClock plainClock;

    /** The pictures before this one have presentation times, each later than the one before. */
    private int plain;
    private long lastPlain = Packet.NO_TIME;
    private boolean allPlain = true;
    private int changes;
    /** How many packets later than its own place among the pictures a picture comes. */
    private int delay = NOT_LEARNED;
    /** The picture up to which the two clocks have gone, its group and its times. */
    private int reached;
    private int reachedGroup = -1;
    private int reachedLearned;
    private PacketTimes.Times reachedTimes;
    /** What the times depend on at the beginning of each group. */
    private final List<long[]> states = new ArrayList<>();

    FilmClock(FilmMap map, MediaStream stream) {
        this.map = map;
        this.index = map.index();
        this.clock = new PictureClock(stream.frameRate(), stream.timeBase());
        this.plainClock = new PictureClock(stream.frameRate(), stream.timeBase());
    }

    /** Starts again where the numbers of pictures have changed. */
    private void follow() {
        if (changes == map.changes()) {
            return;
        }
        changes = map.changes();
        plain = 0;
        lastPlain = Packet.NO_TIME;
        allPlain = true;
        states.clear();
        reachedGroup = -1;
    }

    /**
     * Whether the times up to a known picture are those of the packets, whatever the decoder does.
     *
     * @param number a known picture
     */
    boolean isPlain(int number) {
        follow();
        while (allPlain && plain <= number) {
            int group = map.groupOf(plain);
            int[] pictures = map.pictures(group);
            if (plain - map.first(group) >= pictures.length) {
                return false;
            }
            for (int rank = plain - map.first(group); rank < pictures.length; rank++) {
                long time = pictures[rank] < 0 ? Packet.NO_TIME : index.presentationTime(pictures[rank]);
                allPlain &= time != Packet.NO_TIME && time > lastPlain;
                if (!allPlain) {
                    break;
                }
                lastPlain = time;
                plain++;
            }
        }
        return number < plain;
    }

    /** Returns a known picture's times; null when the film must be decoded up to it to know them. */
    PacketTimes.Times of(int number) {
        int group = map.groupOf(number);
        if (isPlain(number)) {
            int packet = map.pictures(group)[number - map.first(group)];
            return plainClock.complete(new PacketTimes.Times(index.presentationTime(packet), index.duration(packet)));
        }
        for (int past = Math.min(states.size(), group + 1); past <= group; past++) {
            if (past == 0) {
                states.add(new long[] {Packet.NO_TIME, Packet.NO_TIME, 0, 0, 0});
            } else if (simulate(past - 1, map.first(past) - 1) == null) {
                if (map.first(past) > map.first(past - 1)) {
                    return null;
                }
                states.add(states.get(past - 1));
            } else {
                long[] state = times.state();
                states.add(new long[] {state[0], state[1], state[2], state[3], clock.next()});
            }
        }
        return simulate(group, number);
    }

    /** Goes through a group up to a picture. */
    private PacketTimes.Times simulate(int group, int until) {
        if (group != reachedGroup || until < reached || reachedLearned != map.learned()) {
            long[] state = states.get(group);
            times.restore(state);
            clock.restore(state[4]);
            reachedGroup = group;
            reached = map.first(group) - 1;
            reachedLearned = map.learned();
            reachedTimes = null;
        }
        int[] pictures = map.pictures(group);
        for (int number = reached + 1; number <= until; number++) {
            int own = pictures[number - map.first(group)];
            int fed = fed(number, group);
            if (fed == NOT_LEARNED) {
                reachedGroup = -1;
                return null;
            }
            reachedTimes = clock.complete(times.choose(own < 0 ? Packet.NO_TIME : index.presentationTime(own),
                    own < 0 ? 0 : index.duration(own), fed < index.size() ? index.decodingTime(fed) : Packet.NO_TIME));
            reached = number;
        }
        return reachedTimes;
    }

    /** The packet whose decoding delivers a known picture; the number of packets stands for the end. */
    int fed(int number) {
        return fed(number, map.groupOf(number));
    }

    private int fed(int number, int group) {
        if (number < map.learned()) {
            return map.learnedFed(number);
        }
        int packets = map.end(group) - map.start(group);
        int pictures = map.first(group + 1) - map.first(group);
        if (delay == NOT_LEARNED || packets != pictures) {
            return NOT_LEARNED;
        }
        int fed = map.start(group) + number - map.first(group) + delay;
        return fed < index.size() ? fed : map.hasEnded() ? index.size() : NOT_LEARNED;
    }

    /** Takes how late the pictures of the first group came, which is learned. Those of the others come as late. */
    void learnDelay() {
        int pictures = map.first(1);
        int last = NOT_LEARNED;
        for (int number = 1; number < pictures; number++) {
            int late = map.learnedFed(number) - number;
            if (map.learnedFed(number) >= index.size()) {
                break;
            }
            if (number > 1 && late != last) {
                return;
            }
            last = late;
        }
        delay = last;
    }

    boolean knowsDelay() {
        return delay != NOT_LEARNED;
    }
}
