package kiv.media.ffmpeg;

import java.util.Arrays;
import kiv.media.ffmpeg.natives.MediaType;

/**
 * The kind of data in a stream.
 *
 * <pre>{@code
 * boolean subtitled = reader.streams().stream().anyMatch(stream -> stream.kind() == MediaKind.SUBTITLE);
 * }</pre>
 */
public enum MediaKind {
    /** Pictures. */
    VIDEO(MediaType.VIDEO),
    /** Sound. */
    AUDIO(MediaType.AUDIO),
    /** Other data. */
    DATA(MediaType.DATA),
    /** Subtitles. */
    SUBTITLE(MediaType.SUBTITLE),
    /** A file that goes with the medium, such as a font. */
    ATTACHMENT(MediaType.ATTACHMENT),
    /** Unknown. */
    UNKNOWN(MediaType.UNKNOWN);

    private final int type;

    MediaKind(int type) {
        this.type = type;
    }

    static MediaKind of(long type) {
        return Arrays.stream(values()).filter(kind -> kind.type == type).findFirst().orElse(UNKNOWN);
    }
}
