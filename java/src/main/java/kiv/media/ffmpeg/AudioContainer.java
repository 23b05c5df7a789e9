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
 * try (AudioFileWriter file = AudioFileWriter.create(Path.of("song.mp3"), encoder.format(), container)) {
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
    /** The packets alone, for formats whose packets describe themselves or need no description. */
    RAW;

    /** A file name extension, its format, and its kind of file. */
    private record Row(String extension, AudioCodec codec, AudioContainer container) {
    }

    private static final List<Row> ROWS = List.of(
            new Row("aac", AudioCodec.AAC, ADTS),
            new Row("amr", AudioCodec.AMR_NB, AMR),
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
        Objects.requireNonNull(fileName, "fileName");
        String extension = fileName.substring(fileName.lastIndexOf('.') + 1).toLowerCase(Locale.ROOT);
        if (extension.equals("wav")) {
            return codec == AudioCodec.AMR_NB ? Optional.empty() : Optional.of(WAV);
        }
        return ROWS.stream().filter(row -> row.codec == codec && row.extension.equals(extension)).findFirst()
                .map(Row::container);
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
        return codec == AudioCodec.AMR_NB ? own : Stream.concat(own.stream(), Stream.of("wav")).toList();
    }
}
