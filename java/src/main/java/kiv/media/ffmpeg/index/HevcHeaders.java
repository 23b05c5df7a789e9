package kiv.media.ffmpeg.index;

import java.util.Arrays;
import java.util.stream.IntStream;

/** Reads HEVC's headers of sequences and pictures, and the heads of slices, which need both. */
final class HevcHeaders {

    private static final int MOST_REFERENCES = 16;
    private static final int MOST_SETS = 64;
    private static final int BOTH = 0;
    private static final int FORWARD = 1;
    private static final int INTRA = 2;
    private static final int FIRST_RESTART = 16;
    private static final int LAST_RESTART = 23;

    /**
     * The pictures that one refers to or keeps.
     *
     * @param distances in the order of showing, those before it first, each the nearest first
     * @param used which of them it refers to itself
     */
    record References(int[] distances, boolean[] used) {
        static final References NONE = new References(new int[0], new boolean[0]);

        int count() {
            return (int) IntStream.range(0, used.length).filter(i -> used[i]).count();
        }
    }

    private record Sequence(boolean separate, boolean colourless, int leastQuantizer, int orderBits, int blocks,
            boolean offsets, References[] sets, boolean[] far, boolean hasFar, boolean motion) {
    }

    private record PictureHeader(int sequence, boolean dependent, boolean outputFlag, int extraBits, boolean initial,
            int references0, int references1, int quantizer, boolean chromaOffsets, boolean weighted, boolean weightedBoth,
            boolean parts, boolean across, boolean overrides, boolean unfiltered, boolean modifies, boolean extended,
            boolean offsetList) {
    }

    private final Sequence[] sequences = new Sequence[16];
    private final PictureHeader[] pictures = new PictureHeader[64];

    // Of the slice that was read last.
    private boolean first;
    private boolean dropsPrior;
    private boolean known;
    private boolean visible;
    private int order;
    private int orderBits;
    private References references = References.NONE;

    /** Whether it is the first one of its picture. */
    boolean isFirst() {
        return first;
    }

    boolean dropsPrior() {
        return dropsPrior;
    }

    /** Whether its headers are known, so that what follows was read. */
    boolean isKnown() {
        return known;
    }

    boolean isVisible() {
        return visible;
    }

    /** The low bits of the picture's place in the order of showing. */
    int order() {
        return order;
    }

    int orderBits() {
        return orderBits;
    }

    References references() {
        return references;
    }

    private static int bitsFor(int values) {
        return values <= 1 ? 0 : Integer.SIZE - Integer.numberOfLeadingZeros(values - 1);
    }

    /** Reads a sequence's header. @return its number; -1 when it makes no sense */
    int sequence(BitReader bits) {
        bits.skip(4);
        int sublayers = bits.bits(3);
        bits.skip(1 + 96);
        boolean[] profiles = new boolean[8];
        boolean[] levels = new boolean[8];
        for (int i = 0; i < sublayers; i++) {
            profiles[i] = bits.flag();
            levels[i] = bits.flag();
        }
        bits.skip(sublayers > 0 ? 2 * (8 - sublayers) : 0);
        for (int i = 0; i < sublayers; i++) {
            bits.skip((profiles[i] ? 88 : 0) + (levels[i] ? 8 : 0));
        }
        int id = bits.unsigned();
        int chroma = bits.unsigned();
        boolean separate = chroma == 3 && bits.flag();
        int width = bits.unsigned();
        int height = bits.unsigned();
        if (bits.flag()) {
            bits.skipUnsigned(4);
        }
        int leastQuantizer = -6 * bits.unsigned();
        bits.skipUnsigned(1);
        int ownOrderBits = bits.unsigned() + 4;
        for (int layer = bits.flag() ? 0 : sublayers; layer <= sublayers; layer++) {
            bits.skipUnsigned(3);
        }
        int block = bits.unsigned() + 3 + bits.unsigned();
        bits.skipUnsigned(4);
        if (bits.flag() && bits.flag()) {
            scaling(bits);
        }
        bits.skip(1);
        boolean offsets = bits.flag();
        if (bits.flag()) {
            bits.skip(8);
            bits.skipUnsigned(2);
            bits.skip(1);
        }
        int count = bits.unsigned();
        if (bits.isBeyondEnd() || ownOrderBits > 16 || id < 0 || id >= sequences.length || count < 0 || count > MOST_SETS
                || block < 4 || block > 6 || width <= 0 || height <= 0) {
            return -1;
        }
        References[] sets = new References[count];
        for (int i = 0; i < count; i++) {
            sets[i] = references(bits, sets, i, false);
            if (sets[i] == null) {
                return -1;
            }
        }
        boolean hasFar = bits.flag();
        boolean[] far = new boolean[hasFar ? Math.min(33, bits.unsigned() & 0x3F) : 0];
        for (int i = 0; i < far.length; i++) {
            far[i] = bits.skip(ownOrderBits).flag();
        }
        boolean motion = bits.flag();
        int size = (1 << block) - 1;
        sequences[id] = new Sequence(separate, separate || chroma == 0, leastQuantizer, ownOrderBits,
                (width + size >> block) * (height + size >> block), offsets, sets, far, hasFar, motion);
        return bits.isBeyondEnd() ? -1 : id;
    }

    private static void scaling(BitReader bits) {
        for (int size = 0; size < 4; size++) {
            for (int matrix = 0; matrix < 6; matrix += size == 3 ? 3 : 1) {
                if (bits.flag()) {
                    bits.skipUnsigned(Math.min(64, 1 << 4 + (size << 1)) + (size > 1 ? 1 : 0));
                } else {
                    bits.skipUnsigned(1);
                }
            }
        }
    }

    /** Reads a set of references, which may be told by another one. @return null when it makes no sense */
    private static References references(BitReader bits, References[] sets, int index, boolean ofSlice) {
        int[] distances = new int[2 * MOST_REFERENCES + 1];
        boolean[] used = new boolean[distances.length];
        int size = 0;
        if (index > 0 && bits.flag()) {
            int back = ofSlice ? bits.unsigned() + 1 : 1;
            if (back < 1 || back > index) {
                return null;
            }
            References other = sets[index - back];
            int sign = bits.flag() ? -1 : 1;
            int shift = sign * (bits.unsigned() + 1);
            for (int i = 0; i <= other.distances.length; i++) {
                boolean refers = bits.flag();
                if (refers || bits.flag()) {
                    used[size] = refers;
                    distances[size++] = shift + (i < other.distances.length ? other.distances[i] : 0);
                }
            }
        } else {
            int before = bits.unsigned();
            int after = bits.unsigned();
            if (before < 0 || before >= MOST_REFERENCES || after < 0 || after >= MOST_REFERENCES) {
                return null;
            }
            int distance = 0;
            for (int i = 0; i < before + after; i++) {
                distance = i == before ? 0 : distance;
                distance += (bits.unsigned() + 1) * (i < before ? -1 : 1);
                used[size] = bits.flag();
                distances[size++] = distance;
            }
        }
        return size >= 2 * MOST_REFERENCES ? null : sorted(Arrays.copyOf(distances, size), used);
    }

    private static References sorted(int[] distances, boolean[] used) {
        int[] places = IntStream.range(0, distances.length).boxed()
                .sorted((one, other) -> {
                    int sides = Boolean.compare(distances[one] >= 0, distances[other] >= 0);
                    return sides != 0 ? sides : Integer.compare(Math.abs(distances[one]), Math.abs(distances[other]));
                }).mapToInt(Integer::intValue).toArray();
        boolean[] sortedUsed = new boolean[distances.length];
        int[] sorted = new int[distances.length];
        for (int i = 0; i < places.length; i++) {
            sorted[i] = distances[places[i]];
            sortedUsed[i] = used[places[i]];
        }
        return new References(sorted, sortedUsed);
    }

    /** Reads a picture's header. @return its number; -1 when it makes no sense */
    int picture(BitReader bits) {
        int id = bits.unsigned();
        int own = bits.unsigned();
        if (id < 0 || id >= pictures.length || own < 0 || own >= sequences.length || sequences[own] == null) {
            return -1;
        }
        boolean dependent = bits.flag();
        boolean outputFlag = bits.flag();
        int extraBits = bits.bits(3);
        bits.skip(1);
        boolean initial = bits.flag();
        int references0 = bits.unsigned() + 1;
        int references1 = bits.unsigned() + 1;
        int quantizer = bits.signed() + 26;
        bits.skip(1);
        boolean skips = bits.flag();
        bits.skipUnsigned(bits.flag() ? 1 : 0);
        boolean sound = bits.within(bits.signed(), -12, 12) && bits.within(bits.signed(), -12, 12);
        boolean chromaOffsets = bits.flag();
        boolean weighted = bits.flag();
        boolean weightedBoth = bits.flag();
        boolean tiled = bits.skip(1).flag();
        boolean parts = bits.flag() || tiled;
        if (tiled) {
            int lines = bits.unsigned() + bits.unsigned();
            bits.skipUnsigned(bits.flag() ? 0 : lines);
            bits.skip(1);
        }
        boolean across = bits.flag();
        boolean overrides = false;
        boolean unfiltered = false;
        if (bits.flag()) {
            overrides = bits.flag();
            unfiltered = bits.flag();
            sound &= unfiltered || bits.within(bits.signed(), -6, 6) && bits.within(bits.signed(), -6, 6);
        }
        if (bits.flag()) {
            scaling(bits);
        }
        boolean modifies = bits.flag();
        bits.skipUnsigned(1);
        boolean extended = bits.flag();
        boolean offsetList = false;
        if (bits.flag() && bits.flag()) {
            bits.skip(7);
            bits.skipUnsigned(skips ? 1 : 0);
            offsetList = bits.skip(1).flag();
        }
        pictures[id] = new PictureHeader(own, dependent, outputFlag, extraBits, initial, references0, references1, quantizer,
                chromaOffsets, weighted, weightedBoth, parts, across, overrides, unfiltered, modifies, extended, offsetList);
        return sound && !bits.isBeyondEnd() ? id : -1;
    }

    /** Reads the head of a slice. @return whether it keeps the rules */
    boolean slice(BitReader bits, int kind) {
        boolean restarts = kind >= FIRST_RESTART && kind <= LAST_RESTART;
        known = false;
        first = bits.flag();
        dropsPrior = restarts && bits.flag();
        int id = bits.unsigned();
        PictureHeader picture = id < 0 || id >= pictures.length ? null : pictures[id];
        Sequence sequence = picture == null ? null : sequences[picture.sequence];
        if (sequence == null) {
            return false;
        }
        known = true;
        orderBits = sequence.orderBits;
        if (!first) {
            boolean dependent = picture.dependent && bits.flag();
            int block = bits.bits(bitsFor(sequence.blocks));
            if (dependent || block == 0 || block >= sequence.blocks) {
                return dependent && block != 0 && block < sequence.blocks;
            }
        }
        bits.skip(picture.extraBits);
        int type = bits.unsigned();
        visible = !picture.outputFlag || bits.flag();
        bits.skip(sequence.separate ? 2 : 0);
        order = 0;
        references = References.NONE;
        int referred = 0;
        boolean motion = false;
        if (kind != 19 && kind != 20) {
            order = bits.bits(orderBits);
            int sets = sequence.sets.length;
            references = bits.flag() ? sets == 0 ? null : sequence.sets[Math.min(sets - 1, bits.bits(bitsFor(sets)))]
                    : references(bits, sequence.sets, sets, true);
            if (references == null) {
                references = References.NONE;
                return false;
            }
            referred = references.count() + (sequence.hasFar ? far(bits, sequence) : 0);
            motion = sequence.motion && bits.flag();
        }
        return type >= BOTH && type <= INTRA && (!restarts || type == INTRA)
                && tail(bits, sequence, picture, type, referred, motion);
    }

    private static int far(BitReader bits, Sequence sequence) {
        int known = sequence.far.length > 0 ? bits.unsigned() : 0;
        int count = known + bits.unsigned();
        int referred = 0;
        for (int i = 0; i < count && !bits.isBeyondEnd(); i++) {
            boolean used = i < known ? sequence.far[Math.min(sequence.far.length - 1, bits.bits(bitsFor(sequence.far.length)))]
                    : bits.skip(sequence.orderBits).flag();
            referred += used ? 1 : 0;
            bits.skipUnsigned(bits.flag() ? 1 : 0);
        }
        return referred;
    }

    private boolean tail(BitReader bits, Sequence sequence, PictureHeader picture, int type, int referred, boolean motion) {
        boolean filtered = sequence.offsets && bits.flag();
        filtered |= sequence.offsets && !sequence.colourless && bits.flag();
        if (type != INTRA) {
            boolean both = type == BOTH;
            int references0 = picture.references0;
            int references1 = picture.references1;
            if (bits.flag()) {
                references0 = bits.unsigned() + 1;
                references1 = both ? bits.unsigned() + 1 : references1;
            }
            if (referred == 0 || references0 < 1 || references0 > MOST_REFERENCES
                    || both && (references1 < 1 || references1 > MOST_REFERENCES)) {
                return false;
            }
            if (picture.modifies && referred > 1) {
                bits.skip(bits.flag() ? references0 * bitsFor(referred) : 0);
                bits.skip(both && bits.flag() ? references1 * bitsFor(referred) : 0);
            }
            bits.skip((both ? 1 : 0) + (picture.initial ? 1 : 0));
            if (motion) {
                int list = both && !bits.flag() ? references1 : references0;
                if (list > 1 && !bits.within(bits.unsigned(), 0, list - 1)) {
                    return false;
                }
            }
            if (type == FORWARD ? picture.weighted : picture.weightedBoth) {
                bits.skipUnsigned(sequence.colourless ? 1 : 2);
                weights(bits, references0, sequence.colourless);
                weights(bits, both ? references1 : 0, sequence.colourless);
            }
            if (!bits.within(bits.unsigned(), 0, 4)) {
                return false;
            }
        }
        if (!bits.within(picture.quantizer + bits.signed(), sequence.leastQuantizer, 51)) {
            return false;
        }
        bits.skipUnsigned(picture.chromaOffsets ? 2 : 0);
        bits.skip(picture.offsetList ? 1 : 0);
        boolean unfiltered = picture.unfiltered;
        if (picture.overrides && bits.flag()) {
            unfiltered = bits.flag();
            bits.skipUnsigned(unfiltered ? 0 : 2);
        }
        bits.skip(picture.across && (filtered || !unfiltered) ? 1 : 0);
        if (picture.parts) {
            int count = bits.unsigned();
            bits.skip(count > 0 ? count * (bits.unsigned() + 1) : 0);
        }
        bits.skip(picture.extended ? Byte.SIZE * bits.unsigned() : 0);
        return bits.flag() && bits.alignsWith(0);
    }

    private static void weights(BitReader bits, int count, boolean colourless) {
        boolean[] light = new boolean[count];
        boolean[] colour = new boolean[count];
        for (int i = 0; i < count; i++) {
            light[i] = bits.flag();
        }
        for (int i = 0; i < count && !colourless; i++) {
            colour[i] = bits.flag();
        }
        for (int i = 0; i < count; i++) {
            bits.skipUnsigned((light[i] ? 2 : 0) + (colour[i] ? 4 : 0));
        }
    }
}
