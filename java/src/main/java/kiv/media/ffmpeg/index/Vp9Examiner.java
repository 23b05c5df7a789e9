package kiv.media.ffmpeg.index;

/** A packet may have pictures that are not shown, with the sizes of all at its end. */
final class Vp9Examiner extends PacketExaminer {
    private static final int SYNCHRONIZATION = 0x498342;
    private static final int[] FEATURE_BITS = {8, 6, 2, 0};
    private static final int WIDEST_TILE = 64;
    private static final int NARROWEST_TILE = 4;
    private static final int BLOCK = 64;
    private int width;

    // Of the frame at work.
    private boolean again;
    private boolean inter;
    private boolean visible;

    @Override
    void read(byte[] bytes, int end, CodedPicture picture) {
        int last = at(bytes, end - 1);
        int frames = 1;
        int[] sizes = {end};
        if ((last & 0xE0) == 0xC0) {
            int bytesOfSize = (last >> 3 & 3) + 1;
            frames = (last & 7) + 1;
            int at = end - 2 - bytesOfSize * frames;
            if (at >= 0 && at(bytes, at) == last) {
                sizes = new int[frames];
                for (int i = 0; i < bytesOfSize * frames; i++) {
                    sizes[i / bytesOfSize] |= at(bytes, at + 1 + i) << 8 * (i % bytesOfSize);
                }
            } else {
                frames = 1;
            }
        }
        int shown = 0;
        boolean restart = false;
        int at = 0;
        for (int i = 0; i < frames; i++) {
            if (sizes[i] <= 0 || sizes[i] > end - at || !frame(bytes, at, at + sizes[i])) {
                picture.broken = true;
                return;
            }
            restart |= i == 0 && !again && !inter;
            shown += visible ? 1 : 0;
            at += sizes[i];
        }
        picture.restart = restart && shown == 1;
        picture.pictures = shown <= 1 ? shown : CodedPicture.UNKNOWN;
    }

    /** Reads a frame. @return whether it keeps the rules */
    private boolean frame(byte[] bytes, int from, int end) {
        BitReader bits = new BitReader(bytes, from, end);
        boolean sound = bits.bits(2) == 2;
        int profile = bits.bit() | bits.bit() << 1;
        sound &= profile < 3 || bits.bit() == 0;
        again = bits.flag();
        inter = !again && bits.flag();
        visible = again || bits.flag();
        if (again || !sound) {
            return sound;
        }
        boolean resilient = bits.flag();
        boolean intra = !inter || !visible && bits.flag();
        bits.skip(inter && !resilient ? 2 : 0);
        if (intra) {
            sound = bits.bits(24) == SYNCHRONIZATION && (inter && profile == 0 || colour(bits, profile));
            bits.skip(inter ? 8 : 0);
            size(bits);
        } else {
            bits.skip(8 + 3 * 4);
            if (!bits.flag() && !bits.flag() && !bits.flag()) {
                size(bits);
            } else {
                bits.skip(bits.flag() ? 32 : 0);
            }
            bits.skip(1);
            bits.skip(bits.flag() ? 0 : 2);
        }
        bits.skip(resilient ? 2 : 4);
        filter(bits);
        bits.skip(8);
        for (int i = 0; i < 3; i++) {
            bits.skip(bits.flag() ? 5 : 0);
        }
        segments(bits);
        int blocks = (width + BLOCK - 1) / BLOCK;
        int columns = 0;
        while (WIDEST_TILE << columns < blocks) {
            columns++;
        }
        while (blocks >> columns + 1 >= NARROWEST_TILE && bits.flag()) {
            columns++;
        }
        int rows = bits.flag() ? 1 + bits.bit() : 0;
        int head = bits.bits(16);
        return sound && !bits.isBeyondEnd() && bits.alignsWith(0)
                && tiles(bytes, bits.nextByte(), end, head, 1 << columns + rows);
    }

    private static boolean colour(BitReader bits, int profile) {
        bits.skip(profile >= 2 ? 1 : 0);
        boolean sampled = (profile & 1) != 0;
        if (bits.bits(3) == 7) {
            return sampled && bits.bit() == 0;
        }
        bits.skip(sampled ? 3 : 1);
        return !sampled || bits.bit() == 0;
    }

    private void size(BitReader bits) {
        width = bits.bits(16) + 1;
        bits.skip(16);
        bits.skip(bits.flag() ? 32 : 0);
    }

    private static void filter(BitReader bits) {
        bits.skip(9);
        if (bits.flag() && bits.flag()) {
            for (int i = 0; i < 6; i++) {
                bits.skip(bits.flag() ? 7 : 0);
            }
        }
    }

    private static void segments(BitReader bits) {
        if (!bits.flag()) {
            return;
        }
        if (bits.flag()) {
            for (int i = 0; i < 7; i++) {
                bits.skip(bits.flag() ? 8 : 0);
            }
            boolean temporal = bits.flag();
            for (int i = 0; i < 3; i++) {
                bits.skip(temporal && bits.flag() ? 8 : 0);
            }
        }
        if (bits.flag()) {
            bits.skip(1);
            for (int i = 0; i < 8 * FEATURE_BITS.length; i++) {
                int feature = i % FEATURE_BITS.length;
                bits.skip(bits.flag() ? FEATURE_BITS[feature] + (feature < 2 ? 1 : 0) : 0);
            }
        }
    }

    /** Whether the parts of a frame that are coded by arithmetic lie within it, each with its first bit off. */
    private boolean tiles(byte[] bytes, int from, int end, int head, int count) {
        if (head == 0 || head >= end - from || at(bytes, from) > 0x7F) {
            return false;
        }
        int at = from + head;
        for (int left = count; left > 0; left--) {
            int size = end - at;
            if (left > 1) {
                size = at(bytes, at) << 24 | at(bytes, at + 1) << 16 | at(bytes, at + 2) << 8 | at(bytes, at + 3);
                at += 4;
            }
            if (size <= 0 || size > end - at || at(bytes, at) > 0x7F) {
                return false;
            }
            at += size;
        }
        return true;
    }
}
