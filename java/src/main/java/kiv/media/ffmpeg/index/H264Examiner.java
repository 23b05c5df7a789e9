package kiv.media.ffmpeg.index;

/** Examines H.264. */
final class H264Examiner extends UnitExaminer {

    private static final int SLICE = 1;
    private static final int PARTITION = 2;
    private static final int SLICE_OF_RESTART = 5;
    private static final int INFORMATION = 6;
    private static final int SEQUENCE = 7;
    private static final int PICTURE = 8;
    private static final int RECOVERY_POINT = 6;
    private static final int KINDS = 5;
    private static final int FORWARD = 0;
    private static final int BOTH = 1;
    private static final int INTRA = 2;
    private static final int SWITCHING = 3;
    private static final int SWITCHING_INTRA = 4;
    private static final int MOST_REFERENCES = 32;

    /** Of a sequence, what slices are read with. */
    private record Sequence(int frameNumberBits, int orderKind, int orderBits, boolean framesOnly, boolean separate,
            boolean colourless, int leastQuantizer, boolean storesDeltas, boolean gaps, int blocks) {
    }

    /** A picture header, of which slices are read with what is behind the number of its sequence. */
    private record PictureHeader(int sequence, boolean arithmetic, boolean statesBottom, boolean grouped, int references0,
            int references1, boolean weighted, int weightedBoth, int quantizer, boolean statesFilter, boolean redundant) {
    }

    private final Sequence[] sequences = new Sequence[32];
    private final PictureHeader[] headers = new PictureHeader[256];
    private int delay = Integer.MAX_VALUE;
    private long previousOrder;
    private long previousNumber;
    private int openField;
    private int openFrameNumber;
    /** The frame number of the last picture that others refer to; -1 when it is not known. */
    private int lastReference = -1;

    // Of the packet at work.
    private boolean known;
    private boolean broken;
    private int fields;
    private boolean frame;
    private boolean second;
    private boolean restart;
    private boolean intra;
    private boolean reference;
    private boolean sequenceHere;
    private boolean pictureHere;
    private boolean recovery;
    private int frameNumber;
    private int lowOrder;
    /** Whether the picture forgets all before it, and numbers begin anew behind it. */
    private boolean forgets;
    private Sequence sequence;

    H264Examiner(byte[] extradata) {
        super(1);
        if (!readExtradata(extradata, extradata.length > 6 && extradata[0] == 1, 4)) {
            delay = -1; // the decoder decides what to do without
        }
    }

    @Override
    void lists(byte[] extradata) {
        int at = list(extradata, 6, extradata[5] & 0x1F);
        list(extradata, at + 1, extradata[at] & 0xFF);
    }

    @Override
    public int knownDelay() {
        return delay;
    }

    @Override
    void read(byte[] bytes, int end, CodedPicture picture) {
        known = true;
        broken = false;
        fields = 0;
        frame = false;
        second = false;
        restart = false;
        intra = true;
        reference = false;
        sequenceHere = false;
        pictureHere = false;
        recovery = false;
        forgets = false;
        boolean whole = eachUnit(bytes, end);
        boolean any = frame || fields != 0;
        notePicture(any);
        picture.broken = broken || !whole;
        if (!whole || !known || !any || sequence == null) {
            openField = 0;
            return;
        }
        if (!frame && fields != 3 && openField + fields == 3 && openFrameNumber == frameNumber) {
            openField = 0;
            picture.pictures = 0;
            return;
        }
        follow(picture);
        openField = frame || fields == 3 ? 0 : fields;
        openFrameNumber = frameNumber;
        if (restart) {
            previousOrder = 0;
            previousNumber = 0;
        }
        switch (sequence.orderKind) {
            case 0 -> {
                picture.order = whole(lowOrder, sequence.orderBits, previousOrder);
                previousOrder = reference ? picture.order : previousOrder;
            }
            case 2 -> picture.order = ++previousNumber;
            default -> {
                return;
            }
        }
        if (restart || forgets) {
            forgetOrders();
        }
        picture.broken |= noteOrder(picture.order);
        picture.pictures = 1;
        boolean headed = !headersChanged() || sequenceHere && pictureHere;
        picture.restart = headed && (restart || recovery && intra);
        picture.refersBack = !restart;
        if (restart && !headed) {
            picture.pictures = CodedPicture.UNKNOWN; // numbers begin anew within a group
        }
    }

    /** Compares the picture's number with that of the one before it. */
    private void follow(CodedPicture picture) {
        if (lastReference >= 0 && !restart && !sequence.gaps && frame) {
            int next = lastReference + 1 & (1 << sequence.frameNumberBits) - 1;
            picture.broken |= frameNumber != lastReference && frameNumber != next;
        }
        if (!frame || forgets) {
            lastReference = -1;
        } else if (reference) {
            lastReference = frameNumber;
        }
    }

    @Override
    void unit(byte[] bytes, int from, int to) {
        int kind = bytes[from] & 0x1F;
        switch (kind) {
            case SLICE, SLICE_OF_RESTART -> slice(bytes, from, to, kind == SLICE_OF_RESTART);
            case PARTITION -> known = false;
            case INFORMATION -> information(bytes, from, to);
            case SEQUENCE -> sequence(bytes, from, to);
            case PICTURE -> pictureHeader(bytes, from, to);
            default -> {
                // Delimiters and the like say nothing of pictures.
            }
        }
    }

    private void pictureHeader(byte[] bytes, int from, int to) {
        BitReader bits = payload(bytes, from, to, MOST_OF_HEADERS);
        int id = bits.unsigned();
        int own = bits.unsigned();
        boolean arithmetic = bits.flag();
        boolean statesBottom = bits.flag();
        boolean grouped = bits.unsigned() != 0;
        if (id < 0 || id >= headers.length || own < 0 || own >= sequences.length || sequences[own] == null) {
            broken = true;
            return;
        }
        if (grouped) {
            headers[id] = new PictureHeader(own, arithmetic, statesBottom, true, 1, 1, false, 0, 0, false, false);
        } else {
            headers[id] = new PictureHeader(own, arithmetic, statesBottom, false, bits.unsigned() + 1, bits.unsigned() + 1,
                    bits.flag(), bits.bits(2), bits.signed() + 26, bits.skipSigned(2).flag(), bits.skip(1).flag());
            PictureHeader header = headers[id];
            broken |= bits.isBeyondEnd() || header.references0 < 1 || header.references0 > MOST_REFERENCES
                    || header.references1 < 1 || header.references1 > MOST_REFERENCES;
        }
        boolean before = headersChanged();
        noteHeader(false, PICTURE, id, bytes, from, to);
        broken |= !before && headersChanged();
        pictureHere = true;
    }

    private void slice(byte[] bytes, int from, int to, boolean restarts) {
        BitReader bits = payload(bytes, from, to, MOST_OF_SLICE);
        boolean correct = slice(bits, bytes[from], restarts);
        if (bits.isBeyondEnd() && to - from > MOST_OF_SLICE) {
            correct = rest(payload(bytes, from, to, MOST_OF_HEADERS), bytes[from], restarts);
        }
        broken |= !correct || bits.isBeyondEnd() && to - from <= MOST_OF_SLICE;
    }

    /** Reads the head of a slice. @return whether it keeps the rules */
    private boolean slice(BitReader bits, int unit, boolean restarts) {
        int block = bits.unsigned();
        int kind = bits.unsigned();
        int header = bits.unsigned();
        PictureHeader picture = header < 0 || header >= headers.length ? null : headers[header];
        Sequence own = picture == null ? null : sequences[picture.sequence];
        if (own == null || kind < 0 || kind >= 2 * KINDS) {
            known = false;
            return false;
        }
        bits.skip(own.separate ? 2 : 0);
        int number = bits.bits(own.frameNumberBits);
        int field = 0;
        if (!own.framesOnly && bits.flag()) {
            field = bits.bit() + 1;
        }
        if (restarts) {
            bits.unsigned();
        }
        int order = own.orderKind == 0 ? bits.bits(own.orderBits) : 0;
        boolean first = !frame && fields == 0;
        if (first) {
            sequence = own;
            frameNumber = number;
            lowOrder = order;
            restart = restarts;
            frame = field == 0;
        } else if (number != frameNumber || frame != (field == 0) || frame && order != lowOrder || own != sequence) {
            known = false; // more than one picture
        }
        fields |= field;
        lowOrder = Math.min(lowOrder, order);
        reference |= (unit & 0x60) != 0;
        intra &= kind % KINDS == INTRA;
        return block >= 0 && block < own.blocks && (!first || block == 0) && !(restarts && (unit & 0x60) == 0)
                && (picture.grouped || tail(bits, own, picture, kind % KINDS, unit, field != 0, restarts));
    }

    /** Reads a head again that is longer than most are. */
    private boolean rest(BitReader bits, int unit, boolean restarts) {
        bits.skipUnsigned(1);
        int kind = bits.unsigned() % KINDS;
        PictureHeader picture = headers[bits.unsigned()];
        Sequence own = sequences[picture.sequence];
        bits.skip((own.separate ? 2 : 0) + own.frameNumberBits);
        boolean field = !own.framesOnly && bits.flag();
        bits.skip(field ? 1 : 0);
        bits.skipUnsigned(restarts ? 1 : 0);
        bits.skip(own.orderBits);
        return tail(bits, own, picture, kind, unit, field, restarts) && !bits.isBeyondEnd();
    }

    /** Reads the head of a slice from behind the picture's order on. @return whether it keeps the rules */
    private boolean tail(BitReader bits, Sequence own, PictureHeader picture, int kind, int unit, boolean field,
            boolean restarts) {
        bits.skipUnsigned(picture.statesBottom && !field && own.orderKind == 0 ? 1 : 0);
        bits.skipUnsigned(own.orderKind == 1 && !own.storesDeltas ? picture.statesBottom && !field ? 2 : 1 : 0);
        bits.skipUnsigned(picture.redundant ? 1 : 0);
        boolean both = kind == BOTH;
        boolean refers = both || kind == FORWARD || kind == SWITCHING;
        bits.skip(both ? 1 : 0);
        int references0 = picture.references0;
        int references1 = picture.references1;
        if (refers && bits.flag()) {
            references0 = bits.unsigned() + 1;
            references1 = both ? bits.unsigned() + 1 : references1;
        }
        int most = field ? MOST_REFERENCES : MOST_REFERENCES / 2;
        if (refers && (references0 < 1 || references0 > most || both && (references1 < 1 || references1 > most))) {
            return false;
        }
        if (refers && !modification(bits, references0) || both && !modification(bits, references1)) {
            return false;
        }
        if (picture.weighted && refers && !both || picture.weightedBoth == 1 && both) {
            bits.skipUnsigned(own.colourless ? 1 : 2);
            weights(bits, references0, own.colourless);
            weights(bits, both ? references1 : 0, own.colourless);
        }
        if ((unit & 0x60) != 0) {
            if (restarts) {
                bits.skip(2);
            } else if (bits.flag() && !marking(bits)) {
                return false;
            }
        }
        boolean sound = !picture.arithmetic || kind == INTRA || kind == SWITCHING_INTRA || bits.within(bits.unsigned(), 0, 2);
        int quantizer = picture.quantizer + bits.signed();
        sound &= bits.within(quantizer, own.leastQuantizer, 51);
        if (kind >= SWITCHING) {
            return sound;
        }
        if (picture.statesFilter) {
            int filter = bits.unsigned();
            sound &= bits.within(filter, 0, 2) && (filter == 1
                    || bits.within(bits.signed(), -6, 6) && bits.within(bits.signed(), -6, 6));
        }
        return sound && (!picture.arithmetic || bits.alignsWith(1));
    }

    private static boolean modification(BitReader bits, int references) {
        if (!bits.flag()) {
            return true;
        }
        for (int i = 0; i <= references; i++) {
            int kind = bits.unsigned();
            if (kind == 3) {
                return true;
            }
            if (kind < 0 || kind > 3) {
                return false;
            }
            bits.skipUnsigned(1);
        }
        return false;
    }

    private static void weights(BitReader bits, int references, boolean colourless) {
        for (int i = 0; i < references; i++) {
            bits.skipUnsigned(bits.flag() ? 2 : 0);
            bits.skipUnsigned(!colourless && bits.flag() ? 4 : 0);
        }
    }

    /** Reads which pictures are forgotten. */
    private boolean marking(BitReader bits) {
        for (int i = 0; i <= 2 * MOST_REFERENCES; i++) {
            int kind = bits.unsigned();
            if (kind == 0) {
                return true;
            }
            if (kind < 0 || kind > 6) {
                return false;
            }
            forgets |= kind == 5;
            bits.skipUnsigned(kind == 3 ? 2 : kind == 5 ? 0 : 1);
        }
        return false;
    }

    private void information(byte[] bytes, int from, int to) {
        for (int at = from + 1; at + 2 < to;) {
            int kind = 0;
            while (at < to && (bytes[at] & 0xFF) == 0xFF) {
                kind += 0xFF;
                at++;
            }
            kind += bytes[at++] & 0xFF;
            int size = 0;
            while (at < to && (bytes[at] & 0xFF) == 0xFF) {
                size += 0xFF;
                at++;
            }
            size += at < to ? bytes[at++] & 0xFF : 0;
            if (kind == RECOVERY_POINT) {
                BitReader bits = new BitReader(bytes, at, Math.min(to, at + size));
                recovery = bits.unsigned() == 0 && bits.flag();
                return;
            }
            at += size;
        }
    }

    private void sequence(byte[] bytes, int from, int to) {
        BitReader bits = payload(bytes, from, to, MOST_OF_HEADERS);
        int profile = bits.bits(8);
        bits.skip(16);
        int id = bits.unsigned();
        boolean separate = false;
        boolean colourless = false;
        int leastQuantizer = 0;
        if (profile >= 100 || profile == 44 || profile == 83 || profile == 86) {
            int chroma = bits.unsigned();
            separate = chroma == 3 && bits.flag();
            colourless = chroma == 0 || separate;
            leastQuantizer = -6 * bits.unsigned();
            bits.skipUnsigned(1);
            bits.skip(1);
            if (bits.flag()) {
                for (int list = 0; list < (chroma == 3 ? 12 : 8); list++) {
                    skipScaling(bits, list < 6 ? 16 : 64);
                }
            }
        }
        int frameNumberBits = bits.unsigned() + 4;
        int orderKind = bits.unsigned();
        int orderBits = 0;
        boolean storesDeltas = false;
        if (orderKind == 0) {
            orderBits = bits.unsigned() + 4;
        } else if (orderKind == 1) {
            storesDeltas = bits.flag();
            bits.skipUnsigned(2);
            bits.skipUnsigned(bits.unsigned());
        }
        bits.unsigned();
        boolean gaps = bits.flag();
        int blocks = (bits.unsigned() + 1) * (bits.unsigned() + 1);
        boolean framesOnly = bits.flag();
        bits.skip(framesOnly ? 1 : 2);
        if (bits.flag()) {
            bits.skipUnsigned(4);
        }
        int statedDelay = orderKind == 2 ? 0 : bits.flag() ? statedDelay(bits) : -1;
        if (bits.isBeyondEnd() || frameNumberBits > 16 || orderBits > 16 || id < 0 || id >= sequences.length) {
            broken = true;
            return;
        }
        delay = Math.min(delay, statedDelay);
        sequences[id] = new Sequence(frameNumberBits, orderKind, orderBits, framesOnly, separate, colourless,
                leastQuantizer, storesDeltas, gaps, framesOnly ? blocks : 2 * blocks);
        noteHeader(true, SEQUENCE, id, bytes, from, to);
        sequenceHere = true;
    }

    private static void skipScaling(BitReader bits, int size) {
        if (bits.flag()) {
            int next = 8;
            for (int i = 0; i < size && next != 0; i++) {
                next = next + bits.signed() & 0xFF;
            }
        }
    }

    /** Reads what describes the use of pictures. @return how many are held back for their order; -1 when that is not stated */
    private static int statedDelay(BitReader bits) {
        if (bits.flag() && bits.bits(8) == 255) {
            bits.skip(32);
        }
        bits.skip(bits.flag() ? 1 : 0);
        if (bits.flag()) {
            bits.skip(4);
            bits.skip(bits.flag() ? 24 : 0);
        }
        if (bits.flag()) {
            bits.skipUnsigned(2);
        }
        bits.skip(bits.flag() ? 65 : 0);
        boolean buffers = false;
        for (int kind = 0; kind < 2; kind++) {
            if (bits.flag()) {
                buffers = true;
                int count = bits.unsigned() + 1;
                if (count < 1 || count > MOST_REFERENCES) {
                    return -1;
                }
                bits.skip(8);
                for (int i = 0; i < count && !bits.isBeyondEnd(); i++) {
                    bits.skipUnsigned(2);
                    bits.skip(1);
                }
                bits.skip(20);
            }
        }
        bits.skip(buffers ? 2 : 1);
        if (!bits.flag()) {
            return -1;
        }
        bits.skip(1);
        bits.skipUnsigned(4);
        int stated = bits.unsigned();
        bits.skipUnsigned(1);
        return bits.flag() && bits.isRestZero() ? stated : -1;
    }
}
