package kiv.media.ffmpeg.index;

import java.util.zip.CRC32;

/** Pictures each of which is coded alone. */
final class AloneExaminer extends PacketExaminer {

    private static final int HEAD_OF_CHUNK = 8;
    private static final int LAST_CHUNK = 0x49454E44;
    /** Bytes that state the kind of DV. */
    private static final int[] KIND_OF_DV = {3, 4, 451};

    private final String codec;
    private final CRC32 crc = new CRC32();
    /** Of the first packet. */
    private int size;
    private int kind;

    AloneExaminer(String codec) {
        this.codec = codec;
    }

    @Override
    public boolean isAlone() {
        return true;
    }

    /** What is read of the others shows whether decoders take them. */
    @Override
    public boolean isTentative() {
        return switch (codec) {
            case "png", "dvvideo", "v210", "rawvideo" -> false;
            default -> true;
        };
    }

    @Override
    void read(byte[] bytes, int end, CodedPicture picture) {
        picture.restart = end > 0;
        picture.pictures = end > 0 ? 1 : CodedPicture.UNKNOWN;
        picture.broken = end > 0 && switch (codec) {
            case "png" -> !isWhole(bytes, end);
            case "dvvideo", "v210", "rawvideo" -> !isLikeFirst(bytes, end);
            default -> false;
        };
    }

    /** Whether the checksum of each chunk of a PNG is right. */
    private boolean isWhole(byte[] bytes, int end) {
        int chunk = 0;
        for (int at = HEAD_OF_CHUNK; chunk != LAST_CHUNK;) {
            int length = number(bytes, at);
            if (length < 0 || length > end - at - HEAD_OF_CHUNK - Integer.BYTES) {
                return false;
            }
            chunk = number(bytes, at + Integer.BYTES);
            crc.reset();
            crc.update(bytes, at + Integer.BYTES, Integer.BYTES + length);
            at += HEAD_OF_CHUNK + length;
            if (number(bytes, at) != (int) crc.getValue()) {
                return false;
            }
            at += Integer.BYTES;
        }
        return true;
    }

    private int number(byte[] bytes, int at) {
        return at(bytes, at) << 24 | at(bytes, at + 1) << 16 | at(bytes, at + 2) << 8 | at(bytes, at + 3);
    }

    /** Whether the packet has the size of the first one, and is of its kind. */
    private boolean isLikeFirst(byte[] bytes, int end) {
        int own = 0;
        if (codec.equals("dvvideo")) {
            for (int at : KIND_OF_DV) {
                own = own << Byte.SIZE | at(bytes, at);
            }
        }
        if (size == 0) {
            size = end;
            kind = own;
        }
        return size == end && kind == own;
    }
}
