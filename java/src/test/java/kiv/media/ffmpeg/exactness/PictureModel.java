package kiv.media.ffmpeg.exactness;

/** A kind of picture that the tests ask for. */
public enum PictureModel {
    YV12(0x32315659, 12, 12, 0, 0, 0, 0), I420(0x30323449, 12, 12, 0, 0, 0, 0), RGB32(0, 32, 24, 0xff0000, 0xff00, 0xff, 0);

    private final int[] description;

    PictureModel(int... description) {
        this.description = description;
    }

    /** FFmpeg's name of its pixel format. */
    String format() {
        return isPlanar() ? "yuv420p" : "bgra";
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
