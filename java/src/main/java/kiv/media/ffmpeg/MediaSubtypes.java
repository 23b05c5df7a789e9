package kiv.media.ffmpeg;

import java.util.List;
import java.util.Objects;
import java.util.Optional;

/**
 * The media subtypes that the library decodes: GUIDs in text form, most of them derived from a four-character code.
 *
 * <pre>{@code
 * String subtype = MediaSubtypes.of(FourCharacterCode.of("MP4V"));
 * VideoFormat film = VideoFormat.of(subtype, 320, 240, 0, extradata, new Rational(1, 25));
 * }</pre>
 */
public final class MediaSubtypes {

    private static final String SUFFIX = "-0000-0010-8000-00aa00389b71";
    private static final int H264 = 28;

    /** H.264 with start codes between its units (Annex B). */
    public static final String H264_ANNEX_B = of(FourCharacterCode.of("H264"));
    /** H.264 with lengths before its units and a configuration record as extradata. */
    public static final String H264_AVC1 = of(FourCharacterCode.of("avc1"));

    /** A subtype, its four-character code or 0, and FFmpeg's number of the codec. */
    private record Row(String subtype, int fourcc, int codecId) {

        static Row of(String code, int codecId) {
            int fourcc = FourCharacterCode.of(code);
            return new Row(MediaSubtypes.of(fourcc), fourcc, codecId);
        }
    }

    /** The first row of a codec serves streams whose code is in none of its rows. */
    private static final List<Row> ROWS = List.of(
            new Row("e06d8026-db46-11cf-b4d1-00805f6cbbea", 0, 2),
            Row.of("H264", H264),
            Row.of("avc1", H264),
            Row.of("VSSH", H264),
            Row.of("MP43", 17),
            Row.of("MP42", 16),
            Row.of("MP4V", 13),
            Row.of("M4S2", 13),
            Row.of("DX50", 13),
            Row.of("H263", 5),
            new Row("68323633-767a-494d-b478-f29d25dc9037", 0, 5),
            Row.of("WMV1", 18),
            Row.of("WMV2", 19),
            Row.of("WMV3", 72),
            Row.of("dvsd", 25),
            new Row(of(1), 1, 46),
            new Row("e436eb81-524f-11ce-9f53-0020af0ba770", 0, 1),
            new Row("e436eb80-524f-11ce-9f53-0020af0ba770", 0, 1),
            Row.of("MPG1", 1),
            Row.of("cvid", 44),
            Row.of("IV32", 29));

    private MediaSubtypes() {
    }

    /**
     * Derives the GUID of a four-character code or a compression number, whether or not the library decodes it.
     *
     * @param fourcc the code, with its first character in the low byte
     * @return 36 lower-case characters
     */
    public static String of(int fourcc) {
        return String.format("%08x", fourcc) + SUFFIX;
    }

    /**
     * Finds the subtype for a stream: by its four-character code if that is one of the codec's, else by its codec. For
     * H.264 the extradata decides, because containers use one code for both kinds.
     *
     * @param codecId FFmpeg's number of the codec
     * @param codecTag the four-character code, or 0
     * @param extradata the codec's private data; may be empty
     * @return the subtype, or empty when the library has none for the codec
     */
    public static Optional<String> find(int codecId, int codecTag, byte[] extradata) {
        Objects.requireNonNull(extradata, "extradata");
        if (codecId == H264) {
            // A configuration record starts with its version, 1. Start codes start with 0.
            return Optional.of(extradata.length > 0 && extradata[0] == 1 ? H264_AVC1 : H264_ANNEX_B);
        }
        Optional<Row> named = ROWS.stream()
                .filter(row -> row.codecId == codecId && row.fourcc != 0 && row.fourcc == codecTag).findFirst();
        return named.or(() -> ROWS.stream().filter(row -> row.codecId == codecId).findFirst()).map(Row::subtype);
    }

    /**
     * Finds the subtype for a stream of a container.
     *
     * @param stream the stream
     * @return the subtype, or empty when the library has none for its codec
     */
    public static Optional<String> find(MediaStream stream) {
        return Objects.requireNonNull(stream, "stream").kind() == MediaKind.VIDEO
                ? find(stream.codecId(), stream.codecTag(), stream.extradata())
                : Optional.empty();
    }

    /** {@return FFmpeg's short name of a subtype's codec; empty for a codec whose packets come in containers only} */
    static String codecName(String subtype) {
        int codec = ROWS.stream().filter(row -> row.subtype.equals(subtype)).mapToInt(Row::codecId).findFirst().orElse(0);
        return switch (codec) {
            case 1 -> "mpeg1video";
            case 2 -> "mpeg2video";
            case 5 -> "h263";
            case 13 -> "mpeg4";
            case H264 -> "h264";
            default -> "";
        };
    }

    /** {@return every subtype that the library decodes} */
    public static List<String> all() {
        return ROWS.stream().map(Row::subtype).toList();
    }
}
