package kiv.media.ffmpeg.natives;

import java.lang.annotation.Native;

/** The result of {@link c_pictures_ffmpeg#n_decode}, a sum. */
public final class PictureResult {

    /** A picture was delivered. */
    @Native public static final int PICTURE = 1;

    /** More pictures wait: call again without data. */
    @Native public static final int MORE = 2;

    /** A picture waits for a block of {@link PictureCall#WANTED_BYTES}: call again without data. */
    @Native public static final int MEMORY = 4;

    /** The packet, or its rest, could not be decoded. With more threads than one it may be an earlier packet. */
    @Native public static final int FAILED = 8;

    private PictureResult() {
    }
}
