package kiv.media.ffmpeg.natives;

import java.lang.annotation.Native;

/** FFmpeg's bits for the part that a stream plays in its container. */
public final class Disposition {

    /** The one that players choose among others of its kind. */
    @Native public static final int DEFAULT = 1;

    /** Another language over the pictures. */
    @Native public static final int DUB = 2;

    /** In the original language. */
    @Native public static final int ORIGINAL = 4;

    /** Somebody comments. */
    @Native public static final int COMMENT = 8;

    /** The words of a song. */
    @Native public static final int LYRICS = 0x10;

    /** The music without the singer. */
    @Native public static final int KARAOKE = 0x20;

    /** Subtitles that are shown unless others are wanted. */
    @Native public static final int FORCED = 0x40;

    /** For those who hear badly. */
    @Native public static final int HEARING_IMPAIRED = 0x80;

    /** For those who see badly. */
    @Native public static final int VISUAL_IMPAIRED = 0x100;

    /** Without voices. */
    @Native public static final int CLEAN_EFFECTS = 0x200;

    /** One picture that goes with a sound file, such as a record's cover. */
    @Native public static final int ATTACHED_PICTURE = 0x400;

    /** Small pictures of a film. */
    @Native public static final int TIMED_THUMBNAILS = 0x800;

    /** Sound that is not part of what is seen. */
    @Native public static final int NON_DIEGETIC = 0x1000;

    /** What is said, as text. */
    @Native public static final int CAPTIONS = 0x10000;

    /** What is seen, as text. */
    @Native public static final int DESCRIPTIONS = 0x20000;

    /** Data about the others. */
    @Native public static final int METADATA = 0x40000;

    /** Is mixed into another one. */
    @Native public static final int DEPENDENT = 0x80000;

    /** One picture that is shown for a time. */
    @Native public static final int STILL_IMAGE = 0x100000;

    /** Several views in one. */
    @Native public static final int MULTILAYER = 0x200000;

    private Disposition() {
    }
}
