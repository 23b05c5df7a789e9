package kiv.media.ffmpeg.index;

import java.util.Arrays;

/** Examines HEVC. */
final class HevcExaminer extends UnitExaminer {

    private static final int VIDEO = 32;
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

    private static final int MOST_KEPT = 32;

    private final HevcHeaders headers = new HevcHeaders();
    /** Whether there are pictures of further layers. */
    private boolean layered;
    /** Whether the decoder drops the pictures that need what was before the last restart. */
    private boolean dropsLeading;
    private boolean ended = true;
    private long previousOrder;
    /** The places in the order of showing of the pictures that the decoder keeps; null while nobody knows them. */
    private long[] kept;

    // Of the packet at work.
    private boolean known;
    private boolean broken;
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
    void read(byte[] bytes, int end, CodedPicture picture) {
        known = true;
        broken = false;
        found = 0;
        restart = false;
        anew = false;
        visible = true;
        sequenceHere = false;
        pictureHere = false;
        boolean whole = eachUnit(bytes, end);
        notePicture(found > 0);
        picture.broken = broken || !whole;
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
        broken |= bytes[from] < 0 || to - from >= HEAD && (bytes[from + 1] & 7) == 0;
        boolean base = to - from > HEAD && (bytes[from] & 1) == 0 && (bytes[from + 1] & 0xF8) == 0;
        if (!base) {
            broken |= sawPicture() && !layered;
            layered = true;
            return; // of another layer, which is not decoded
        }
        if (kind <= LAST_SLICE && (kind > LAST_LEADING && kind < FIRST_RESTART || kind > CLEAN)) {
            broken = true; // nobody knows what that is
        } else if (kind <= LAST_SLICE) {
            slice(bytes, from, to, kind);
        } else if (kind == VIDEO) {
            noteHeader(true, kind, bytes[from + HEAD] >> 4 & 0xF, bytes, from, to);
        } else if (kind == SEQUENCE) {
            int id = headers.sequence(payload(bytes, from, to, MOST_OF_HEADERS));
            broken |= id < 0;
            if (id >= 0) {
                noteHeader(true, SEQUENCE, id, bytes, from, to);
                sequenceHere = true;
            }
        } else if (kind == PICTURE) {
            int id = headers.picture(payload(bytes, from, to, MOST_OF_HEADERS));
            boolean before = headersChanged();
            if (id >= 0) {
                noteHeader(false, kind, id, bytes, from, to);
                pictureHere = true;
            }
            broken |= id < 0 || !before && headersChanged();
        } else if (kind == END_OF_SEQUENCE || kind == END_OF_STREAM) {
            ended = true;
        }
    }

    private void slice(byte[] bytes, int from, int to, int kind) {
        BitReader bits = payload(bytes, from, to, MOST_OF_SLICE);
        boolean sound = headers.slice(bits, kind);
        if (bits.isBeyondEnd() && to - from > MOST_OF_SLICE) {
            bits = payload(bytes, from, to, MOST_OF_HEADERS);
            sound = headers.slice(bits, kind) || bits.isBeyondEnd() && to - from > MOST_OF_HEADERS;
        }
        broken |= !sound;
        if (!headers.isFirst()) {
            return; // a further slice of the picture
        }
        found++;
        if (!headers.isKnown()) {
            known = false;
            return;
        }
        boolean randomAccess = kind >= FIRST_RESTART && kind <= LAST_RESTART;
        visible = headers.isVisible();
        boolean complete = kind == FIRST_COMPLETE || kind == FIRST_COMPLETE + 1;
        int low = headers.order();
        if (randomAccess) {
            // Numbers begin anew, and so do pictures that need what was before.
            anew = complete || kind < FIRST_COMPLETE || ended;
            dropsLeading = anew;
            known &= !(headers.dropsPrior() && sawPicture() && anew);
            previousOrder = anew ? low : previousOrder;
            ended = false;
        }
        order = whole(low, headers.orderBits(), previousOrder);
        boolean leading = kind >= DECODABLE_LEADING && kind <= LAST_LEADING;
        if ((bytes[from + 1] & 7) == 1 && !leading && (kind > LAST_SUBLAYER || kind % 2 == 1)) {
            previousOrder = order;
        }
        boolean dropped = kind >= SKIPPED_LEADING && kind <= LAST_LEADING && dropsLeading;
        visible &= !dropped;
        restart = randomAccess && kind <= CLEAN;
        if (anew) {
            kept = new long[0];
            forgetOrders();
        }
        broken |= noteOrder(order);
        if (kept != null && !dropped) {
            keep(headers.references());
        }
    }

    /** Compares the pictures that this one refers to with those that the decoder keeps. */
    private void keep(HevcHeaders.References references) {
        long[] now = new long[Math.min(MOST_KEPT, references.distances().length) + 1];
        int size = 0;
        for (int i = 0; i < now.length - 1; i++) {
            long other = order + references.distances()[i];
            boolean there = Arrays.stream(kept).anyMatch(one -> one == other);
            broken |= !there && references.used()[i];
            if (there) {
                now[size++] = other;
            }
        }
        now[size++] = order;
        kept = Arrays.copyOf(now, size);
    }
}
