package kiv.media.ffmpeg.index;

import java.util.Arrays;

/** A packet is what is shown at one time. */
final class Av1Examiner extends PacketExaminer {
    private int headers;

    /** Libaom refuses a tile whose arithmetic code does not end exactly. */
    @Override
    public boolean isTentative() {
        return true;
    }

    @Override
    void read(byte[] bytes, int end, CodedPicture picture) {
        boolean sequence = false;
        boolean first = true;
        int shown = 0;
        for (int at = 0; at < end;) {
            int head = at(bytes, at++);
            int kind = head >> 3 & 15;
            at += head >> 2 & 1;
            int size = end - at;
            if ((head & 2) != 0) {
                size = 0;
                for (int shift = 0, more = 0x80; (more & 0x80) != 0; shift += 7) {
                    more = at(bytes, at++);
                    size |= (more & 0x7F) << shift;
                }
            }
            if (size < 0 || size > end - at) {
                picture.clear();
                return;
            }
            if (kind == 1) {
                int hash = Arrays.hashCode(Arrays.copyOfRange(bytes, at, at + size));
                if (headers != 0 && headers != hash) {
                    changeSequence();
                }
                headers = hash;
                // A still picture or fewer bits in its heads are left to decoding.
                sequence = (at(bytes, at) & 0x18) == 0;
            } else if (kind == 3 || kind == 6) {
                BitReader bits = new BitReader(bytes, at, end);
                boolean again = bits.flag();
                int type = again ? 1 : bits.bits(2);
                boolean visible = again || bits.flag();
                picture.restart |= first && sequence && type == 0 && visible;
                shown += visible ? 1 : 0;
                first = false;
            }
            at += size;
        }
        picture.pictures = shown == 1 ? 1 : CodedPicture.UNKNOWN;
        picture.restart &= shown == 1;
    }
}
