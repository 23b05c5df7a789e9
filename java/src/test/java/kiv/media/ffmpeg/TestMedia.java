package kiv.media.ffmpeg;

import java.io.IOException;
import java.io.UncheckedIOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.List;
import java.util.Set;
import java.util.stream.Stream;

/**
 * Where the tests find FFmpeg, the files that they decode and the program that they are compared with: made and fetched
 * by the build, never part of the sources. The build's scripts name the places in the environment; without that they are
 * where the build puts them.
 */
public final class TestMedia {

    private static final String REAL_CLIPS = """
            balle-jbart.mp4       h264       720 576 -
            Force_constante.avi   mpeg4      400 300 xvid
            Principe_inertie.avi  mpeg4      400 300 xvid
            g1.avi                mpeg4      400 300 -
            quicktime.mp4         mpeg4      190 240 -
            10min.mkv             h264       384 288 -
            flashmob.mkv          h264       384 288 -
            blue.mpg              mpeg1video 320 240 -
            """;

    private static final String REAL_SOUNDS = """
            balle-jbart.mp4         aac        0xff
            balle1-vp9.avi          mp3        0x55
            demo-congrats_g722.wav  adpcm_g722 0x28f
            activated_g722.wav      adpcm_g722 0x65
            pepnotify.wav           pcm_s16le  1
            secosmic_lo.wav         adpcm_ms   2
            silence-44-s.ac3        ac3        0x2000
            no-tags.m4a             aac        0xff
            silence-1.wma           wmav2      0x161
            matrix_ping_pong.wmv    wmav2      0x161
            house_lo.mp3            mp3        0x55
            silence-44-s.mp3        mp3        0x55
            sheep_on_drugs.mp3      mp3        0x55
            silence-44-s-mpeg25.mp3 mp3        0x55
            breakdance.flv          mp3        0x55
            """;

    /** A file with pictures; the size is that of the shown ones. */
    public record Clip(Path file, String codec, int width, int height, Set<String> traits) {
        @Override
        public String toString() {
            return file.getFileName().toString();
        }
    }

    /** A file with sound; the tags are the WAVE format tags that stand for its codec. */
    public record Sound(Path file, String codec, List<Integer> tags) {
        @Override
        public String toString() {
            return file.getFileName().toString();
        }
    }

    private TestMedia() {
    }

    /** A made stream. */
    public static Path stream(String name) {
        return existing(place("KIV_STREAMS_DIR", "streams").resolve(name));
    }

    /** A real file. */
    public static Path media(String name) {
        return existing(place("KIV_MEDIA_DIR", "media").resolve(name));
    }

    /** A real H.264 film in an MP4 with sound. */
    public static Path film() {
        return media("balle-jbart.mp4");
    }

    /** The program that decodes with FFmpeg directly. */
    public static Path referenceDecoder() {
        return existing(place("KIV_REFERENCE_DECODER", "release/tests/reference_decoder"));
    }

    /** FFmpeg's directory, with the libraries that the others need loaded. */
    public static Path ffmpeg() {
        Path directory = FfmpegLibrary.directory();
        FfmpegLibrary.loadNatives();
        FfmpegLibrary.preload(directory);
        return directory;
    }

    /** Every made stream with pictures, and the real files whose codec has a media subtype. */
    public static List<Clip> clips() {
        return Stream.concat(table("manifest.tsv").map(row -> clip(stream(row[0]), row[1], row[3], row[4], row[7])),
                words(REAL_CLIPS).map(row -> clip(media(row[0]), row[1], row[2], row[3], row[4]))).toList();
    }

    private static Clip clip(Path file, String codec, String width, String height, String traits) {
        return new Clip(file, codec, Integer.parseInt(width), Integer.parseInt(height), Set.of(traits.split(",")));
    }

    /** The clip of that file name. */
    public static Clip clip(String name) {
        return clips().stream().filter(clip -> clip.toString().equals(name)).findFirst().orElseThrow();
    }

    /** Every stream that a decoder for PCM can be made for. */
    public static List<Sound> pcmSources() {
        return Stream.concat(table("audio.tsv").filter(row -> !row[4].equals("-"))
                .map(row -> new Sound(stream(row[0]), row[1], Stream.of(row[4].split(",")).map(Integer::decode).toList())),
                words(REAL_SOUNDS).map(row -> new Sound(media(row[0]), row[1], List.of(Integer.decode(row[2]))))).toList();
    }

    private static Stream<String[]> table(String name) {
        try {
            return Files.readAllLines(stream(name)).stream().skip(1).map(line -> line.split("\t"));
        } catch (IOException e) {
            throw new UncheckedIOException(e);
        }
    }

    private static Stream<String[]> words(String table) {
        return table.lines().map(line -> line.split(" +"));
    }

    private static Path place(String name, String usual) {
        String named = System.getProperty(name, System.getenv(name));
        Path place = named != null && !named.isEmpty() ? Path.of(named) : Path.of("..", "build", usual);
        return place.toAbsolutePath().normalize();
    }

    private static Path existing(Path file) {
        if (!Files.isRegularFile(file)) {
            throw new AssertionError(file + " is missing: run ./test in the root once, or set KIV_STREAMS_DIR,"
                    + " KIV_MEDIA_DIR and KIV_REFERENCE_DECODER");
        }
        return file;
    }
}
