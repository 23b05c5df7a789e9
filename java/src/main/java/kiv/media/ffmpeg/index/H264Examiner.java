package kiv.media.ffmpeg.index;

import java.util.Arrays;

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
    private static final int INTRA = 2;

    /** Of a sequence, what slices are read with. */
    private record Sequence(int frameNumberBits, int orderKind, int orderBits, boolean framesOnly, boolean separate) {
    }

    private final Sequence[] sequences = new Sequence[32];
    /** The sequence of each picture header. */
    private final int[] sequenceOfPicture = new int[256];
    private int delay = Integer.MAX_VALUE;
    private long previousOrder;
    private long previousNumber;
    private boolean sawPicture;
    private int openField;
    private int openFrameNumber;

    // Of the packet at work.
    private boolean known;
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
    private Sequence sequence;

    H264Examiner(byte[] extradata) {
        super(1);
        Arrays.fill(sequenceOfPicture, -1);
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
    boolean sawPicture() {
        return sawPicture;
    }

    @Override
    void read(byte[] bytes, int end, CodedPicture picture) {
        known = true;
        fields = 0;
        frame = false;
        second = false;
        restart = false;
        intra = true;
        reference = false;
        sequenceHere = false;
        pictureHere = false;
        recovery = false;
        boolean whole = eachUnit(bytes, end);
        boolean any = frame || fields != 0;
        sawPicture |= any;
        if (!whole || !known || !any || sequence == null) {
            openField = 0;
            return;
        }
        if (!frame && fields != 3 && openField + fields == 3 && openFrameNumber == frameNumber) {
            openField = 0;
            picture.pictures = 0;
            return;
        }
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
        picture.pictures = 1;
        boolean headed = !headersChanged() || sequenceHere && pictureHere;
        picture.restart = headed && (restart || recovery && intra);
        picture.refersBack = !restart;
        if (restart && !headed) {
            picture.pictures = CodedPicture.UNKNOWN; // numbers begin anew within a group
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
            case PICTURE -> {
                BitReader bits = payload(bytes, from, to, MOST_OF_SLICE);
                int id = bits.unsigned();
                if (id < 0 || id >= sequenceOfPicture.length) {
                    return;
                }
                sequenceOfPicture[id] = bits.unsigned();
                noteHeader(false, kind, id, bytes, from, to);
                pictureHere = true;
            }
            default -> {
                // Delimiters and the like say nothing of pictures.
            }
        }
    }

    private void slice(byte[] bytes, int from, int to, boolean restarts) {
        BitReader bits = payload(bytes, from, to, MOST_OF_SLICE);
        bits.unsigned();
        int kind = bits.unsigned();
        int header = bits.unsigned();
        int id = header < 0 || header >= sequenceOfPicture.length ? -1 : sequenceOfPicture[header];
        Sequence own = id < 0 || id >= sequences.length ? null : sequences[id];
        if (own == null || kind < 0 || kind >= 2 * KINDS) {
            known = false;
            return;
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
        reference |= (bytes[from] & 0x60) != 0;
        intra &= kind % KINDS == INTRA;
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
        if (profile >= 100 || profile == 44 || profile == 83 || profile == 86) {
            int chroma = bits.unsigned();
            separate = chroma == 3 && bits.flag();
            bits.skipUnsigned(2);
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
        if (orderKind == 0) {
            orderBits = bits.unsigned() + 4;
        } else if (orderKind == 1) {
            bits.skip(1);
            bits.skipUnsigned(2);
            bits.skipUnsigned(bits.unsigned());
        }
        bits.unsigned();
        bits.skip(1);
        bits.skipUnsigned(2);
        boolean framesOnly = bits.flag();
        bits.skip(framesOnly ? 1 : 2);
        if (bits.flag()) {
            bits.skipUnsigned(4);
        }
        int statedDelay = orderKind == 2 ? 0 : bits.flag() ? statedDelay(bits) : -1;
        if (bits.isBeyondEnd() || frameNumberBits > 16 || orderBits > 16 || id < 0 || id >= sequences.length) {
            return;
        }
        delay = Math.min(delay, statedDelay);
        sequences[id] = new Sequence(frameNumberBits, orderKind, orderBits, framesOnly, separate);
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
        return bits.unsigned();
    }
}
