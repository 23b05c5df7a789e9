package kiv.media.ffmpeg;

import java.util.Arrays;
import kiv.media.ffmpeg.natives.MediaType;

/**
 * What a stream carries.
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
    /** Data of some other sort. */
    DATA(MediaType.DATA),
    /** Subtitles. */
    SUBTITLE(MediaType.SUBTITLE),
    /** Not recognised. */
    UNKNOWN(MediaType.UNKNOWN);

    private final int type;

    MediaKind(int type) {
        this.type = type;
    }

    static MediaKind of(long type) {
        return Arrays.stream(values()).filter(kind -> kind.type == type).findFirst().orElse(UNKNOWN);
    }
}
