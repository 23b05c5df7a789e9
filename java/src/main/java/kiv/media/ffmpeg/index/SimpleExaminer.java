package kiv.media.ffmpeg.index;

/** Codecs that say in their first bits whether a picture refers to the one before it. */
final class SimpleExaminer extends PacketExaminer {
    private static final int BLOCK = 256;
    private final String codec;
    private final int smallest;
    /** The picture's width and height, each with 16 bits; 0 at first. */
    private int size;

    SimpleExaminer(String codec, int pixels) {
        this.codec = codec;
        // A smaller packet may say that nothing has changed, for which some decoders give no picture.
        this.smallest = 32 + pixels / BLOCK / Byte.SIZE;
    }

    private boolean isSameSize(int width, int height) {
        boolean same = size == 0 || size == (width << Short.SIZE | height);
        size = width << Short.SIZE | height;
        return same;
    }

    /** FFmpeg refuses pictures of Theora whose codes run beyond their end. */
    @Override
    public boolean isTentative() {
        return codec.equals("theora");
    }

    @Override
    void read(byte[] bytes, int end, CodedPicture picture) {
        BitReader bits = new BitReader(bytes, 0, end);
        boolean alone = false;
        boolean sound = end >= (codec.equals("vp8") ? 3 : codec.equals("theora") ? 1 : smallest);
        int pictures = 1;
        switch (codec) {
            case "h263" -> {
                sound &= bits.bits(22) == 0x20;
                bits.skip(8);
                sound &= bits.bits(2) == 2;
                bits.skip(3);
                alone = bits.bits(3) != 7 && bits.bit() == 0;
            }
            case "flv1" -> {
                sound &= bits.bits(17) == 1;
                bits.skip(13);
                int size = bits.bits(3);
                bits.skip(size == 0 ? 16 : size == 1 ? 32 : 0);
                alone = bits.bits(2) == 0;
            }
            case "msmpeg4v1" -> {
                sound &= bits.bits(32) == 0x100;
                bits.skip(5);
                alone = bits.bits(2) == 0;
            }
            case "wmv2" -> alone = bits.bit() == 0;
            case "vp8" -> {
                alone = (at(bytes, 0) & 1) == 0;
                pictures = at(bytes, 0) >> 4 & 1;
                int first = at(bytes, 0) >> 5 | at(bytes, 1) << 3 | at(bytes, 2) << 11;
                sound &= first <= end - (alone ? 10 : 3) && (!alone
                        || at(bytes, 3) == 0x9D && at(bytes, 4) == 1 && at(bytes, 5) == 0x2A
                        && isSameSize(at(bytes, 6) | at(bytes, 7) << 8, at(bytes, 8) | at(bytes, 9) << 8));
                sound &= new Vp8Parts(bytes, alone ? 10 : 3, first, end).areWhole(alone);
                picture.broken = !sound;
            }
            case "theora" -> {
                sound &= bits.bit() == 0;
                alone = bits.bit() == 0;
            }
            default -> {
                int kind = bits.bits(2);
                sound &= kind <= 1;
                alone = kind == 0;
            }
        }
        picture.pictures = sound ? pictures : CodedPicture.UNKNOWN;
        picture.restart = sound && alone && pictures == 1;
    }
}
