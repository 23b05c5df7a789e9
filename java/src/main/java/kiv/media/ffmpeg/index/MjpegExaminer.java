package kiv.media.ffmpeg.index;

import java.util.Arrays;

/** JPEG pictures may use the tables of those before them. */
final class MjpegExaminer extends PacketExaminer {
    private static final int CODES = 0xC4;
    private static final int QUANTIZERS = 0xDB;
    private static final int SCAN = 0xDA;
    private static final int LONGEST_CODE = 16;
    private boolean sawCodes;
    /** Of the size and the parts of pictures; 0 at first. */
    private int frame;

    @Override
    void read(byte[] bytes, int end, CodedPicture picture) {
        boolean codes = false;
        boolean quantizers = false;
        boolean scan = false;
        int at = 2;
        while (!scan && at(bytes, at) == 0xFF) {
            int marker = at(bytes, at + 1);
            int size = at(bytes, at + 2) << 8 | at(bytes, at + 3);
            codes |= marker == CODES;
            quantizers |= marker == QUANTIZERS;
            scan = marker == SCAN;
            if (marker >= 0xC0 && marker <= 0xC2) {
                int hash = Arrays.hashCode(Arrays.copyOfRange(bytes, at, Math.min(end, at + 2 + size)));
                picture.broken |= frame != 0 && frame != hash;
                frame = hash;
            }
            picture.broken |= marker == CODES && !areCodes(bytes, at + 4, at + 2 + size);
            at += 2 + size;
        }
        picture.broken |= scan && hasMarkers(bytes, at, end);
        picture.pictures = scan && at(bytes, 0) == 0xFF && at(bytes, 1) == 0xD8 ? 1 : CodedPicture.UNKNOWN;
        picture.restart = scan && quantizers && (codes || !sawCodes);
        sawCodes |= codes;
    }

    private boolean areCodes(byte[] bytes, int from, int end) {
        int at = from;
        while (at < end) {
            if ((at(bytes, at) & 0xEC) != 0) {
                return false;
            }
            int values = 0;
            int room = 1;
            for (int length = 1; length <= LONGEST_CODE; length++) {
                int count = at(bytes, at + length);
                values += count;
                room = 2 * room - count;
                if (room < 0) {
                    return false;
                }
            }
            at += 1 + LONGEST_CODE + values;
        }
        return at == end;
    }

    /** Whether something begins within or behind a scan that a decoder would obey. */
    private boolean hasMarkers(byte[] bytes, int from, int end) {
        for (int at = nextOf(bytes, (byte) 0xFF, from, end); at + 1 < end; at = nextOf(bytes, (byte) 0xFF, at + 1, end)) {
            int marker = at(bytes, at + 1);
            boolean second = marker == 0xD8; // the other field
            if (marker == 0xD9 || second) {
                return false;
            }
            if (marker != 0 && marker != 0xFF && (marker < 0xD0 || marker > 0xD7)) {
                return true;
            }
        }
        return false;
    }
}
