package kiv.media.ffmpeg.index;

import java.util.Arrays;

/** MPEG-1 and MPEG-2: the kind of a picture says its order. */
final class MpegVideoExaminer extends PacketExaminer {
    private static final int FRAME = 3;
    /** From here on numbers of slices have more bits elsewhere. */
    private static final int HIGHEST_ROW = 0xAF;
    private int sequence;
    private int openField;
    /** The highest number of a slice; 0 when it is not known. */
    private int rows;

    MpegVideoExaminer(byte[] extradata) {
        noteSequence(extradata, extradata.length);
    }

    @Override
    public Order order() {
        return Order.BY_KIND;
    }

    private boolean noteSequence(byte[] bytes, int end) {
        int hash = 0;
        for (int at = nextStartCode(bytes, 0, end); at < end;) {
            int code = bytes[at] & 0xFF;
            int next = nextStartCode(bytes, at, end);
            int extension = code == 0xB5 && at + 1 < end ? bytes[at + 1] >> 4 & 15 : 0;
            if (code == 0 || code >= 1 && code < 0xB0) {
                break;
            }
            if (code == 0xB3 && at + 3 < next) {
                // An interlaced picture has an even number of rows.
                rows = (((bytes[at + 2] & 0xF) << 8 | bytes[at + 3] & 0xFF) + 31) / 32 * 2;
            }
            if (code == 0xB3 || extension == 1) {
                int to = next == end ? end : next - 3;
                hash = 31 * hash + Arrays.hashCode(Arrays.copyOfRange(bytes, at, Math.min(to, at + (code == 0xB3
                        ? 140 : 7))));
            }
            at = next;
        }
        if (hash != 0) {
            if (sequence != 0 && sequence != hash) {
                changeSequence();
            }
            sequence = hash;
        }
        return hash != 0;
    }

    @Override
    void read(byte[] bytes, int end, CodedPicture picture) {
        boolean headed = noteSequence(bytes, end);
        int pictures = 0;
        int firstKind = 0;
        int firstStructure = FRAME;
        int structure = 0;
        boolean sliced = false;
        for (int at = nextStartCode(bytes, 0, end); at < end; at = nextStartCode(bytes, at, end)) {
            int code = bytes[at] & 0xFF;
            if (code == 0) {
                int kind = at(bytes, at + 2) >> 3 & 7;
                pictures++;
                structure = FRAME;
                firstKind = pictures == 1 ? kind : firstKind;
                if (kind < 1 || kind > 3) {
                    picture.broken = kind != 4;
                    return;
                }
            } else if (code == 0xB5 && at(bytes, at + 1) >> 4 == 8) {
                structure = at(bytes, at + 3) & 3;
                firstStructure = pictures == 1 ? structure : firstStructure;
            } else if (code == 0xB5 && at(bytes, at + 1) >> 4 == 3) {
                changeHeaders(); // other quantizers, until the next sequence header
            } else if (code >= 1 && code < 0xB0) {
                sliced = true;
                picture.broken |= rows != 0 && rows < HIGHEST_ROW && code > rows;
            }
        }
        boolean whole = pictures == 1 && firstStructure == FRAME
                || pictures == 2 && firstStructure != FRAME && firstStructure + structure == FRAME;
        if (!sliced || !whole && pictures != 1) {
            openField = 0;
            return;
        }
        picture.bidirectional = firstKind == 3;
        if (whole) {
            openField = 0;
            picture.pictures = 1;
        } else if (openField + firstStructure == FRAME) {
            openField = 0;
            picture.pictures = 0;
            return;
        } else {
            openField = firstStructure;
            picture.pictures = 1;
        }
        picture.restart = firstKind == 1 && (headed || !headersChanged() && sequence != 0);
    }
}
