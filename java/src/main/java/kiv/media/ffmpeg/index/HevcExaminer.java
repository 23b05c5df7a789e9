package kiv.media.ffmpeg.index;

/** Examines HEVC. */
final class HevcExaminer extends UnitExaminer {

    private static final int SEQUENCE = 33;
    private static final int PICTURE = 34;
    private static final int END_OF_SEQUENCE = 36;
    private static final int END_OF_STREAM = 37;
    private static final int FIRST_RESTART = 16;
    private static final int FIRST_COMPLETE = 19;
    private static final int CLEAN = 21;
    private static final int LAST_RESTART = 23;
    private static final int DECODABLE_LEADING = 6;
    private static final int SKIPPED_LEADING = 8;
    private static final int LAST_LEADING = 9;
    private static final int LAST_SLICE = 31;
    private static final int LAST_SUBLAYER = 14;
    private static final int HEAD = 2;

    private record Sequence(boolean separate, int orderBits) {
    }

    private record PictureHeader(int sequence, boolean outputFlag, int extraBits) {
    }

    private final Sequence[] sequences = new Sequence[16];
    private final PictureHeader[] pictures = new PictureHeader[64];
    private boolean sawPicture;
    /** Whether the decoder drops the pictures that need what was before the last restart. */
    private boolean dropsLeading;
    private boolean ended = true;
    private long previousOrder;

    // Of the packet at work.
    private boolean known;
    private int found;
    private boolean restart;
    private boolean anew;
    private boolean visible;
    private long order;
    private boolean sequenceHere;
    private boolean pictureHere;

    HevcExaminer(byte[] extradata) {
        super(HEAD);
        boolean lists = extradata.length > 22 && (extradata[0] == 1 || extradata[1] != 0 || extradata[2] > 1);
        if (!readExtradata(extradata, lists, 21)) {
            changeHeaders(); // the decoder decides what to do without
        }
    }

    @Override
    void lists(byte[] extradata) {
        int at = 23;
        for (int lists = extradata[22] & 0xFF; lists > 0; lists--) {
            at = list(extradata, at + 3, number(extradata, at + 1, 2));
        }
    }

    @Override
    boolean sawPicture() {
        return sawPicture;
    }

    @Override
    void read(byte[] bytes, int end, CodedPicture picture) {
        known = true;
        found = 0;
        restart = false;
        anew = false;
        visible = true;
        sequenceHere = false;
        pictureHere = false;
        boolean whole = eachUnit(bytes, end);
        sawPicture |= found > 0;
        if (!whole || !known || found != 1) {
            return;
        }
        picture.pictures = visible ? 1 : 0;
        picture.order = order;
        picture.restart = restart && visible && (!headersChanged() || sequenceHere && pictureHere);
        if (anew && !picture.restart) {
            picture.pictures = CodedPicture.UNKNOWN; // numbers begin anew within a group
        }
    }

    @Override
    void unit(byte[] bytes, int from, int to) {
        int kind = bytes[from] >> 1 & 0x3F;
        boolean base = to - from >= HEAD && (bytes[from] & 1) == 0 && (bytes[from + 1] & 0xF8) == 0;
        if (!base) {
            return; // of another layer, which is not decoded
        }
        if (kind <= LAST_SLICE) {
            slice(bytes, from, to, kind);
        } else if (kind == SEQUENCE) {
            sequence(bytes, from, to);
        } else if (kind == PICTURE) {
            BitReader bits = payload(bytes, from, to, MOST_OF_SLICE);
            int id = bits.unsigned();
            int own = bits.unsigned();
            if (id < 0 || id >= pictures.length || own < 0 || own >= sequences.length) {
                return;
            }
            bits.skip(1);
            pictures[id] = new PictureHeader(own, bits.flag(), bits.bits(3));
            noteHeader(false, kind, id, bytes, from, to);
            pictureHere = true;
        } else if (kind == END_OF_SEQUENCE || kind == END_OF_STREAM) {
            ended = true;
        }
    }

    private void slice(byte[] bytes, int from, int to, int kind) {
        BitReader bits = payload(bytes, from, to, MOST_OF_SLICE);
        if (!bits.flag()) {
            return; // a further slice of the picture
        }
        found++;
        boolean randomAccess = kind >= FIRST_RESTART && kind <= LAST_RESTART;
        boolean dropsPrior = randomAccess && bits.flag();
        int id = bits.unsigned();
        PictureHeader header = id < 0 || id >= pictures.length ? null : pictures[id];
        Sequence sequence = header == null ? null : sequences[header.sequence];
        if (sequence == null) {
            known = false;
            return;
        }
        bits.skip(header.extraBits);
        bits.unsigned();
        visible = !header.outputFlag || bits.flag();
        bits.skip(sequence.separate ? 2 : 0);
        boolean complete = kind == FIRST_COMPLETE || kind == FIRST_COMPLETE + 1;
        int low = complete ? 0 : bits.bits(sequence.orderBits);
        if (randomAccess) {
            // Numbers begin anew, and so do pictures that need what was before.
            anew = complete || kind < FIRST_COMPLETE || ended;
            dropsLeading = anew;
            known &= !(dropsPrior && sawPicture && anew);
            previousOrder = anew ? low : previousOrder;
            ended = false;
        }
        order = whole(low, sequence.orderBits, previousOrder);
        boolean leading = kind >= DECODABLE_LEADING && kind <= LAST_LEADING;
        if ((bytes[from + 1] & 7) == 1 && !leading && (kind > LAST_SUBLAYER || kind % 2 == 1)) {
            previousOrder = order;
        }
        visible &= !(kind >= SKIPPED_LEADING && kind <= LAST_LEADING && dropsLeading);
        restart = randomAccess && kind <= CLEAN;
    }

    private void sequence(byte[] bytes, int from, int to) {
        BitReader bits = payload(bytes, from, to, MOST_OF_HEADERS);
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
        boolean separate = bits.unsigned() == 3 && bits.flag();
        bits.skipUnsigned(2);
        if (bits.flag()) {
            bits.skipUnsigned(4);
        }
        bits.skipUnsigned(2);
        int orderBits = bits.unsigned() + 4;
        if (bits.isBeyondEnd() || orderBits > 16 || id < 0 || id >= sequences.length) {
            return;
        }
        sequences[id] = new Sequence(separate, orderBits);
        noteHeader(true, SEQUENCE, id, bytes, from, to);
        sequenceHere = true;
    }
}
