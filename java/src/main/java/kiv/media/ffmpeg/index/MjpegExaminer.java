package kiv.media.ffmpeg.index;

/** JPEG pictures may use the tables of those before them. */
final class MjpegExaminer extends PacketExaminer {
    private boolean sawCodes;

    @Override
    void read(byte[] bytes, int end, CodedPicture picture) {
        boolean codes = false;
        boolean quantizers = false;
        boolean scan = false;
        int at = 2;
        while (!scan && at(bytes, at) == 0xFF) {
            int marker = at(bytes, at + 1);
            codes |= marker == 0xC4;
            quantizers |= marker == 0xDB;
            scan = marker == 0xDA;
            at += 2 + (at(bytes, at + 2) << 8 | at(bytes, at + 3));
        }
        picture.pictures = scan && at(bytes, 0) == 0xFF && at(bytes, 1) == 0xD8 ? 1 : CodedPicture.UNKNOWN;
        picture.restart = scan && quantizers && (codes || !sawCodes);
        sawCodes |= codes;
    }
}
