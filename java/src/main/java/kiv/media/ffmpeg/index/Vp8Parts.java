package kiv.media.ffmpeg.index;

/** The parts of a picture of VP8. How many they are is coded by arithmetic. */
final class Vp8Parts {
    private static final int BYTES_OF_SIZE = 3;
    private final byte[] bytes;
    private final int end;
    private final int behindFirst;
    private int next;
    private int range = 255;
    private int value;
    private int shifted;

    /**
     * @param from where the first part begins
     * @param size its bytes
     * @param end where the picture ends
     */
    Vp8Parts(byte[] bytes, int from, int size, int end) {
        this.bytes = bytes;
        this.end = end;
        this.next = from;
        this.behindFirst = from + size;
        this.value = nextByte() << Byte.SIZE | nextByte();
    }

    private int nextByte() {
        return next < behindFirst ? bytes[next++] & 0xFF : 0;
    }

    /** Reads a bit that is as often 0 as 1. */
    private boolean flag() {
        int split = 1 + (range - 1 >> 1);
        boolean bit = value >= split << Byte.SIZE;
        range = bit ? range - split : split;
        value -= bit ? split << Byte.SIZE : 0;
        while (range < 128) {
            value <<= 1;
            range <<= 1;
            if (++shifted == Byte.SIZE) {
                shifted = 0;
                value |= nextByte();
            }
        }
        return bit;
    }

    private void skip(int bits) {
        for (int i = 0; i < bits; i++) {
            flag();
        }
    }

    private void skipOptional(int count, int bits) {
        for (int i = 0; i < count; i++) {
            skip(flag() ? bits : 0);
        }
    }

    /** Whether all parts lie within the picture. */
    boolean areWhole(boolean alone) {
        skip(alone ? 2 : 0);
        if (flag()) {
            boolean mapped = flag();
            if (flag()) {
                skip(1);
                skipOptional(4, 8);
                skipOptional(4, 7);
            }
            skipOptional(mapped ? 3 : 0, 8);
        }
        skip(10);
        if (flag() && flag()) {
            skipOptional(8, 7);
        }
        int parts = 1 << (flag() ? 2 : 0) + (flag() ? 1 : 0);
        int at = behindFirst + BYTES_OF_SIZE * (parts - 1);
        for (int i = 0; i < parts - 1 && at <= end; i++) {
            int place = behindFirst + BYTES_OF_SIZE * i;
            at += bytes[place] & 0xFF | (bytes[place + 1] & 0xFF) << 8 | (bytes[place + 2] & 0xFF) << 16;
        }
        return at <= end;
    }
}
