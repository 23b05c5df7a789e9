package kiv.media.ffmpeg;

import kiv.media.ffmpeg.index.FilmMap;
import kiv.media.ffmpeg.index.PacketIndex;

/** The random access points of a film: the packets with which decoding can begin, as the heads of pictures say. */
final class AccessPoints {

    private static final int NONE = -1;

    private final FilmMap map;

    AccessPoints(FilmMap map) {
        this.map = map;
    }

    /**
     * Returns the packet to begin with for a picture.
     *
     * @param number a known picture
     * @param further whether to begin a group further back
     * @return -1 when only the beginning of the film will do
     */
    int of(int number, boolean further) {
        int group = map.groupOf(number);
        int start = further ? before(group) : nearest(number, group);
        // What a film begins with in the middle of a group depends on the decoder's first memory.
        return start == 0 && !map.index().has(0, PacketIndex.RESTART) ? NONE : start;
    }

    private int nearest(int number, int group) {
        int[] pictures = map.pictures(group);
        int rank = number - map.first(group);
        int packet = pictures[rank];
        if (packet < 0) {
            return NONE;
        }
        for (int start = packet; start >= map.start(group); start--) {
            if (map.index().has(start, PacketIndex.RESTART) && rank(pictures, start) <= rank
                    && rank(pictures, start) >= 0) {
                return start;
            }
        }
        // It is shown before the first picture of its group, and may need what is stored before that.
        return group == 0 ? 0 : before(group);
    }

    private int before(int group) {
        int before = map.start(Math.max(0, group - 1));
        return group <= 1 || map.index().has(before, PacketIndex.RESTART) ? before : NONE;
    }

    /** Returns the number of an access point's picture, or of the first picture of its group when it gives none there. */
    int picture(int point) {
        int group = map.groupOfPacket(point);
        return map.first(group) + Math.max(0, rank(map.pictures(group), point));
    }

    /**
     * Whether a packet gives a leading picture, which is shown before that of the access point, or one that is not expected.
     * Such pictures may be incomplete.
     */
    boolean isLeading(int packet, int point) {
        int group = map.groupOfPacket(point);
        if (packet < point || packet >= map.end(group)) {
            return false;
        }
        int[] pictures = map.pictures(group);
        int at = rank(pictures, packet);
        return at < 0 || at < rank(pictures, point);
    }

    /** Whether a packet gives a leading picture, which may refer to pictures before the access point. */
    boolean lacksReferences(int packet, int point) {
        return rank(map.pictures(map.groupOfPacket(point)), packet) >= 0 && isLeading(packet, point);
    }

    /** Returns the rank of a packet's picture among the pictures of a group; -1 when it gives none there. */
    static int rank(int[] pictures, int packet) {
        for (int i = 0; i < pictures.length; i++) {
            if (pictures[i] == packet) {
                return i;
            }
        }
        return -1;
    }
}
