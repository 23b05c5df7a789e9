package kiv.media.ffmpeg;

import java.util.List;
import java.util.Locale;
import java.util.Objects;
import java.util.Optional;
import java.util.stream.Stream;

/**
 * The kinds of files that an {@link AudioFileWriter} writes.
 *
 * <pre>{@code
 * AudioContainer container = AudioContainer.find("song.mp3", AudioCodec.MP3).orElseThrow();
 * try (AudioFileWriter file = AudioFileWriter.create(Path.of("song.mp3"), encoder, container)) {
 *     file.write(packets);
 *     file.finish(encoder.frames());
 * }
 * }</pre>
 */
public enum AudioContainer {
    /** A WAVE header with the lengths, then the sound. */
    WAV,
    /** AAC packets, each with an ADTS header. */
    ADTS,
    /** The AMR storage format: a line of text, then the packets. */
    AMR,
    /** FLAC's own: the length and a check sum, then the packets. */
    FLAC,
    /** Ogg, for Opus, Vorbis and FLAC. */
    OGG,
    /** MPEG-4 with sound alone, for AAC and ALAC. */
    M4A,
    /** 3GP, for AMR and AAC. */
    THREE_GP,
    /** The packets alone, for formats whose packets describe themselves or need no description. */
    RAW;

    private static final String WAV_EXTENSION = "wav";

    /** A file name extension, its format, and its kind of file. */
    private record Row(String extension, AudioCodec codec, AudioContainer container) {
    }

    private static final List<Row> ROWS = List.of(
            new Row("aac", AudioCodec.AAC, ADTS),
            new Row("m4a", AudioCodec.AAC, M4A),
            new Row("m4a", AudioCodec.ALAC, M4A),
            new Row("flac", AudioCodec.FLAC, FLAC),
            new Row("opus", AudioCodec.OPUS, OGG),
            new Row("ogg", AudioCodec.VORBIS, OGG),
            new Row("ogg", AudioCodec.OPUS, OGG),
            new Row("ogg", AudioCodec.FLAC, OGG),
            new Row("oga", AudioCodec.VORBIS, OGG),
            new Row("oga", AudioCodec.OPUS, OGG),
            new Row("oga", AudioCodec.FLAC, OGG),
            new Row("amr", AudioCodec.AMR_NB, AMR),
            new Row("awb", AudioCodec.AMR_WB, AMR),
            new Row("amr", AudioCodec.AMR_WB, AMR),
            new Row("3gp", AudioCodec.AMR_WB, THREE_GP),
            new Row("3gp", AudioCodec.AMR_NB, THREE_GP),
            new Row("3gp", AudioCodec.AAC, THREE_GP),
            new Row("mp3", AudioCodec.MP3, RAW),
            new Row("ac3", AudioCodec.AC3, RAW),
            new Row("dts", AudioCodec.DTS, RAW),
            new Row("g722", AudioCodec.G722, RAW),
            new Row("al", AudioCodec.ALAW, RAW),
            new Row("ul", AudioCodec.MULAW, RAW),
            new Row("raw", AudioCodec.PCM, RAW));

    /**
     * Finds the kind of file by the extension of its name.
     *
     * @param fileName a file's name
     * @param codec the format of the sound
     * @return the kind, or empty when such files do not hold that format
     */
    public static Optional<AudioContainer> find(String fileName, AudioCodec codec) {
        Objects.requireNonNull(codec, "codec");
        String extension = extension(fileName);
        if (extension.equals(WAV_EXTENSION)) {
            return isInWav(codec) ? Optional.of(WAV) : Optional.empty();
        }
        return ROWS.stream().filter(row -> row.codec == codec && row.extension.equals(extension)).findFirst()
                .map(Row::container);
    }

    /**
     * Finds the usual format of files by the extension of their names.
     *
     * @param fileName a file's name
     * @return the format, or empty when no file that is written has such a name
     */
    public static Optional<AudioCodec> usualCodec(String fileName) {
        String extension = extension(fileName);
        return extension.equals(WAV_EXTENSION) ? Optional.of(AudioCodec.PCM)
                : ROWS.stream().filter(row -> row.extension.equals(extension)).findFirst().map(Row::codec);
    }

    /**
     * Lists the file name extensions for a format.
     *
     * @param codec the format of the sound
     * @return the extensions without the dot, the best first
     */
    public static List<String> extensions(AudioCodec codec) {
        Objects.requireNonNull(codec, "codec");
        List<String> own = ROWS.stream().filter(row -> row.codec == codec).map(Row::extension).toList();
        return isInWav(codec) ? Stream.concat(own.stream(), Stream.of(WAV_EXTENSION)).toList() : own;
    }

    private static String extension(String fileName) {
        Objects.requireNonNull(fileName, "fileName");
        return fileName.substring(fileName.lastIndexOf('.') + 1).toLowerCase(Locale.ROOT);
    }

    private static boolean isInWav(AudioCodec codec) {
        return codec != AudioCodec.AMR_NB && !codec.isOfFfmpeg();
    }

    /** Whether such files can hold the format. */
    boolean holds(AudioCodec codec) {
        return this == WAV ? isInWav(codec) : ROWS.stream().anyMatch(row -> row.container == this && row.codec == codec)
                || this == RAW && isInWav(codec);
    }

    /** FFmpeg's name of the kind of file, when FFmpeg writes it for the format; else empty. */
    Optional<String> ffmpegName(AudioCodec codec) {
        return switch (this) {
            case FLAC -> Optional.of("flac");
            case OGG -> Optional.of("ogg");
            case M4A -> Optional.of("ipod");
            case THREE_GP -> Optional.of("3gp");
            case AMR -> codec == AudioCodec.AMR_WB ? Optional.of("amr") : Optional.empty();
            default -> Optional.empty();
        };
    }

    /** Whether the library needs no FFmpeg to write such files of some formats. */
    boolean isWrittenByHand() {
        return this == WAV || this == ADTS || this == AMR || this == RAW;
    }

    /** Whether FFmpeg goes back to write the lengths, and cannot do without. */
    boolean needsToSeek() {
        return this == M4A || this == THREE_GP;
    }
}
