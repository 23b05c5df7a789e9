package kiv.media.ffmpeg.exactness;

/** A kind of picture that the tests ask for. */
public enum PictureModel {
    YV12("yuv420p", 0x32315659, 12, 0, 0, 0),
    I420("yuv420p", 0x30323449, 12, 0, 0, 0),
    RGB32("bgra", 0, 32, 0xff0000, 0xff00, 0xff);

    private final String format;
    private final int[] description;

    PictureModel(String format, int fourCc, int bits, int red, int green, int blue) {
        this.format = format;
        this.description = new int[] {fourCc, bits, bits == 32 ? 24 : bits, red, green, blue, 0};
    }

    /** FFmpeg's name of its pixel format. */
    public String format() {
        return format;
    }

    /** The seven integers that stand for it. */
    public int[] description() {
        return description.clone();
    }

    /** What a picture takes without padding. */
    int bytes(int width, int height) {
        return isPlanar() ? width * height + (width + 1) / 2 * ((height + 1) / 2) * 2 : 4 * width * height;
    }

    boolean isPlanar() {
        return this != RGB32;
    }
}
