package kiv.media.ffmpeg.natives;

import java.lang.annotation.Native;

/** FFmpeg's bits for the part that a stream plays in its container. */
public final class Disposition {

    /** One picture that goes with a sound file, such as a record's cover. */
    @Native public static final int ATTACHED_PICTURE = 0x400;

    private Disposition() {
    }
}
