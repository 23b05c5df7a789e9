package kiv.media.ffmpeg;

/**
 * What a stream carries.
 *
 * <pre>{@code
 * boolean subtitled = reader.streams().stream().anyMatch(stream -> stream.kind() == MediaKind.SUBTITLE);
 * }</pre>
 */
public enum MediaKind {
    /** Pictures. */
    VIDEO,
    /** Sound. */
    AUDIO,
    /** Data of some other sort. */
    DATA,
    /** Subtitles. */
    SUBTITLE,
    /** Not recognised. */
    UNKNOWN;

    private static final MediaKind[] BY_NUMBER = {VIDEO, AUDIO, DATA, SUBTITLE};

    static MediaKind of(long number) {
        return number >= 0 && number < BY_NUMBER.length ? BY_NUMBER[(int) number] : UNKNOWN;
    }
}
