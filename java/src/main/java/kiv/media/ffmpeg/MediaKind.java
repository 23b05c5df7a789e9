package kiv.media.ffmpeg;

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

    private static final MediaKind[] KINDS = values();

    private final int type;

    MediaKind(int type) {
        this.type = type;
    }

    /** A reader calls it for each packet, so it makes no objects. */
    static MediaKind of(long type) {
        for (MediaKind kind : KINDS) {
            if (kind.type == type) {
                return kind;
            }
        }
        return UNKNOWN;
    }
}
