package kiv.media.ffmpeg;

import java.util.List;
import java.util.Objects;
import java.util.OptionalInt;
import kiv.media.ffmpeg.headers.WaveTags;

/**
 * The format tags of WAVE headers that the library decodes.
 *
 * <pre>{@code
 * WaveFormat speech = WaveFormat.of(WaveFormatTags.ALAW, 1, 8000, 8000, 1, 8, new byte[0]);
 * try (AudioDecoder decoder = AudioDecoder.open(speech)) {
 *     decoder.decode(bytes).forEach(block -> play(block.samples()));
 * }
 * }</pre>
 */
public final class WaveFormatTags {

    /** PCM of 16 bits. */
    public static final int PCM = WaveTags.PCM;
    /** ADPCM of Microsoft. */
    public static final int ADPCM_MS = 0x0002;
    /** PCM in floating-point numbers of 32 bits. */
    public static final int FLOAT = WaveTags.FLOAT;
    /** PCM of 8 bits with the A-law. */
    public static final int ALAW = WaveTags.ALAW;
    /** PCM of 8 bits with the mu-law. */
    public static final int MULAW = WaveTags.MULAW;
    /** ADPCM of the IMA. */
    public static final int ADPCM_IMA = 0x0011;
    /** ADPCM of Yamaha. */
    public static final int ADPCM_YAMAHA = 0x0020;
    /** AMR narrow-band. */
    public static final int AMR_NB = 0x0038;
    /** MPEG audio, layer 1 or 2. */
    public static final int MPEG = 0x0050;
    /** MPEG audio, layer 3. */
    public static final int MP3 = 0x0055;
    /** AAC with its configuration as specific header. */
    public static final int AAC = 0x00FF;
    /** Windows Media Audio, version 1. */
    public static final int WMA1 = 0x0160;
    /** Windows Media Audio, version 2. */
    public static final int WMA2 = 0x0161;
    /** G.722. */
    public static final int G722 = 0x028F;
    /** AAC in ADTS frames. */
    public static final int AAC_ADTS = 0x1600;
    /** AC-3. */
    public static final int AC3 = 0x2000;
    /** DTS. */
    public static final int DTS = 0x2001;

    /** Stands for the codecs of streams that have no tag here, such as FLAC. No decoder is opened by it. */
    public static final int OTHER = 0xFFFF;

    /** A tag and FFmpeg's number of the codec. */
    private record Row(int tag, int codecId) {
    }

    /** The first row of a codec serves streams whose tag is in none of its rows. */
    private static final List<Row> ROWS = List.of(
            new Row(PCM, 65536),
            new Row(ADPCM_MS, 69638),
            new Row(FLOAT, 65557),
            new Row(ALAW, 65543),
            new Row(MULAW, 65542),
            new Row(0x6C75, 65542),
            new Row(DTS, 86020),
            new Row(0x0008, 86020),
            new Row(ADPCM_IMA, 69633),
            new Row(0x0069, 69633),
            new Row(ADPCM_YAMAHA, 69646),
            new Row(0x0022, 86037),
            new Row(0x0031, 86046),
            new Row(0x1500, 86046),
            new Row(AMR_NB, 73728),
            new Row(MP3, 86017),
            // One decoder decodes all three layers.
            new Row(MPEG, 86016),
            new Row(MPEG, 86059),
            new Row(0x0061, 69635),
            new Row(0x0062, 69634),
            new Row(G722, 69660),
            new Row(0x0065, 69660),
            new Row(0x0075, 86048),
            new Row(AAC, 86018),
            new Row(AAC_ADTS, 86018),
            new Row(0x1602, 86018),
            new Row(0x1610, 86018),
            new Row(0x0130, 86058),
            new Row(WMA1, 86023),
            new Row(WMA2, 86024),
            new Row(0x0162, 86054),
            new Row(0x0163, 86055),
            new Row(0x0200, 69644),
            new Row(0x0270, 86047),
            new Row(AC3, 86019));

    private WaveFormatTags() {
    }

    /**
     * Finds the tag for a stream: its own tag if that is one of the codec's, else the codec's first.
     *
     * @param codecId FFmpeg's number of the codec
     * @param codecTag the tag or four-character code that the container states, or 0
     * @return the tag, or empty when the library has none for the codec
     */
    public static OptionalInt find(int codecId, int codecTag) {
        OptionalInt own = ROWS.stream().filter(row -> row.codecId == codecId && row.tag == codecTag)
                .mapToInt(Row::tag).findFirst();
        return own.isPresent() ? own
                : ROWS.stream().filter(row -> row.codecId == codecId).mapToInt(Row::tag).findFirst();
    }

    /**
     * Finds the tag for a stream of a container.
     *
     * @param stream the stream
     * @return the tag, or empty when the library has none for its codec
     */
    public static OptionalInt find(MediaStream stream) {
        Objects.requireNonNull(stream, "stream");
        return stream.kind() == MediaKind.AUDIO ? find(stream.codecId(), stream.codecTag()) : OptionalInt.empty();
    }

    /** {@return every tag that the library decodes} */
    public static List<Integer> all() {
        return ROWS.stream().map(Row::tag).distinct().sorted().toList();
    }
}
