package kiv.media.ffmpeg.index;

/** A packet may have pictures that are not shown, with the sizes of all at its end. */
final class Vp9Examiner extends PacketExaminer {
    @Override
    void read(byte[] bytes, int end, CodedPicture picture) {
        int last = at(bytes, end - 1);
        int frames = 1;
        int[] sizes = {end};
        if ((last & 0xE0) == 0xC0) {
            int width = (last >> 3 & 3) + 1;
            frames = (last & 7) + 1;
            int at = end - 2 - width * frames;
            if (at >= 0 && at(bytes, at) == last) {
                sizes = new int[frames];
                for (int i = 0; i < width * frames; i++) {
                    sizes[i / width] |= at(bytes, at + 1 + i) << 8 * (i % width);
                }
            } else {
                frames = 1;
            }
        }
        int shown = 0;
        boolean restart = false;
        int at = 0;
        for (int i = 0; i < frames; i++) {
            BitReader bits = new BitReader(bytes, at, end);
            if (bits.bits(2) != 2) {
                return;
            }
            int profile = bits.bit() | bits.bit() << 1;
            bits.skip(profile == 3 ? 1 : 0);
            boolean again = bits.flag();
            boolean inter = !again && bits.flag();
            boolean visible = again || bits.flag();
            restart |= i == 0 && !again && !inter;
            shown += visible ? 1 : 0;
            at += sizes[i];
        }
        picture.restart = restart && shown == 1;
        picture.pictures = shown <= 1 ? shown : CodedPicture.UNKNOWN;
    }
}
