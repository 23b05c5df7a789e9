package kiv.media.ffmpeg;

import java.util.Arrays;
import java.util.Collections;
import java.util.EnumSet;
import java.util.Set;
import java.util.stream.Collectors;

/**
 * The part that a stream plays in its container.
 *
 * <pre>{@code
 * reader.streams().stream().filter(stream -> stream.dispositions().contains(Disposition.DEFAULT))
 * }</pre>
 */
public enum Disposition {
    /** The one that players choose among others of its kind. */
    DEFAULT(kiv.media.ffmpeg.natives.Disposition.DEFAULT),
    /** Another language over the pictures. */
    DUB(kiv.media.ffmpeg.natives.Disposition.DUB),
    /** In the original language. */
    ORIGINAL(kiv.media.ffmpeg.natives.Disposition.ORIGINAL),
    /** Somebody comments. */
    COMMENT(kiv.media.ffmpeg.natives.Disposition.COMMENT),
    /** The words of a song. */
    LYRICS(kiv.media.ffmpeg.natives.Disposition.LYRICS),
    /** The music without the singer. */
    KARAOKE(kiv.media.ffmpeg.natives.Disposition.KARAOKE),
    /** Subtitles that are shown unless others are wanted. */
    FORCED(kiv.media.ffmpeg.natives.Disposition.FORCED),
    /** For those who hear badly. */
    HEARING_IMPAIRED(kiv.media.ffmpeg.natives.Disposition.HEARING_IMPAIRED),
    /** For those who see badly. */
    VISUAL_IMPAIRED(kiv.media.ffmpeg.natives.Disposition.VISUAL_IMPAIRED),
    /** Sound without voices. */
    CLEAN_EFFECTS(kiv.media.ffmpeg.natives.Disposition.CLEAN_EFFECTS),
    /** One picture that goes with a sound file, such as a record's cover. */
    ATTACHED_PICTURE(kiv.media.ffmpeg.natives.Disposition.ATTACHED_PICTURE),
    /** Small pictures of a film. */
    TIMED_THUMBNAILS(kiv.media.ffmpeg.natives.Disposition.TIMED_THUMBNAILS),
    /** Sound that is not part of what is seen. */
    NON_DIEGETIC(kiv.media.ffmpeg.natives.Disposition.NON_DIEGETIC),
    /** What is said, as text. */
    CAPTIONS(kiv.media.ffmpeg.natives.Disposition.CAPTIONS),
    /** What is seen, as text. */
    DESCRIPTIONS(kiv.media.ffmpeg.natives.Disposition.DESCRIPTIONS),
    /** Data about the other streams. */
    METADATA(kiv.media.ffmpeg.natives.Disposition.METADATA),
    /** Is mixed into another stream. */
    DEPENDENT(kiv.media.ffmpeg.natives.Disposition.DEPENDENT),
    /** One picture that is shown for a time. */
    STILL_IMAGE(kiv.media.ffmpeg.natives.Disposition.STILL_IMAGE),
    /** Several views in one stream. */
    MULTILAYER(kiv.media.ffmpeg.natives.Disposition.MULTILAYER);

    private final int bit;

    Disposition(int bit) {
        this.bit = bit;
    }

    /** Those whose bits are set; bits that have no name are left out. */
    static Set<Disposition> of(long bits) {
        return Collections.unmodifiableSet(Arrays.stream(values()).filter(part -> (bits & part.bit) != 0)
                .collect(Collectors.toCollection(() -> EnumSet.noneOf(Disposition.class))));
    }
}
