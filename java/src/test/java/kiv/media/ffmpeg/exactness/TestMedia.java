package kiv.media.ffmpeg.exactness;

import java.io.IOException;
import java.io.UncheckedIOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.HashMap;
import java.util.List;
import java.util.Map;
import java.util.Set;
import java.util.stream.Stream;
import kiv.media.ffmpeg.FfmpegLibrary;

/**
 * Where the tests find FFmpeg, the streams and the program that they are compared with. The build's scripts name the
 * places in the environment; without that they are where the build puts them.
 */
public final class TestMedia {

    private static final Path BUILD = Path.of("..", "build");

    /** A file with video; the size is that of the shown pictures. */
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

    /** A place named by the environment or a system property, such as {@code KIV_STREAMS_DIR}. */
    static Path place(String name, Path usual) {
        String named = System.getProperty(name, System.getenv(name));
        Path place = named != null && !named.isEmpty() ? Path.of(named) : usual;
        if (!Files.exists(place)) {
            throw new IllegalStateException(place.toAbsolutePath().normalize() + " is missing; ./test makes it, and "
                    + name + " names another place");
        }
        return place;
    }

    /** The program that decodes with FFmpeg directly. */
    static Path referenceDecoder() {
        return place("KIV_REFERENCE_DECODER", BUILD.resolve("release/tests/reference_decoder"));
    }

    /** FFmpeg's directory, with the libraries that the others need loaded. */
    static Path ffmpeg() {
        Path directory = FfmpegLibrary.directory();
        FfmpegLibrary.loadNatives();
        FfmpegLibrary.preload(directory);
        return directory;
    }

    /** The clip of that file name. */
    public static Clip clip(String name) {
        return clips().stream().filter(clip -> clip.toString().equals(name)).findFirst().orElseThrow();
    }

    /** Every stream with video, and the real files whose codec has a media subtype. */
    public static List<Clip> clips() {
        Path streams = place("KIV_STREAMS_DIR", BUILD.resolve("streams"));
        List<Clip> clips = new ArrayList<>();
        for (Map<String, String> row : table(streams.resolve("manifest.tsv"))) {
            clips.add(new Clip(streams.resolve(row.get("file")), row.get("codec"), Integer.parseInt(row.get("width")),
                    Integer.parseInt(row.get("height")), Set.of(row.get("traits").split(","))));
        }
        Path media = place("KIV_MEDIA_DIR", BUILD.resolve("media"));
        clips.add(new Clip(media.resolve("balle-jbart.mp4"), "h264", 720, 576, Set.of("b", "real")));
        clips.add(new Clip(media.resolve("Force_constante.avi"), "mpeg4", 400, 300, Set.of("b", "real", "xvid")));
        clips.add(new Clip(media.resolve("Principe_inertie.avi"), "mpeg4", 400, 300, Set.of("b", "real", "xvid")));
        clips.add(new Clip(media.resolve("g1.avi"), "mpeg4", 400, 300, Set.of("real")));
        clips.add(new Clip(media.resolve("quicktime.mp4"), "mpeg4", 190, 240, Set.of("real")));
        clips.add(new Clip(media.resolve("10min.mkv"), "h264", 384, 288, Set.of("real")));
        clips.add(new Clip(media.resolve("flashmob.mkv"), "h264", 384, 288, Set.of("real")));
        clips.add(new Clip(media.resolve("blue.mpg"), "mpeg1video", 320, 240, Set.of("real")));
        return clips;
    }

    /** The files without video. */
    static List<Path> sounds() {
        Path streams = place("KIV_STREAMS_DIR", BUILD.resolve("streams"));
        return table(streams.resolve("audio.tsv")).stream().map(row -> streams.resolve(row.get("file"))).toList();
    }

    /** Every stream that a decoder for PCM can be made for. */
    public static List<Sound> pcmSources() {
        Path streams = place("KIV_STREAMS_DIR", BUILD.resolve("streams"));
        List<Sound> sounds = new ArrayList<>();
        for (Map<String, String> row : table(streams.resolve("audio.tsv"))) {
            if (!row.get("tags").equals("-")) {
                sounds.add(new Sound(streams.resolve(row.get("file")), row.get("codec"),
                        Stream.of(row.get("tags").split(",")).map(Integer::decode).toList()));
            }
        }
        Path media = place("KIV_MEDIA_DIR", BUILD.resolve("media"));
        sounds.add(new Sound(media.resolve("balle-jbart.mp4"), "aac", List.of(0xff)));
        sounds.add(new Sound(media.resolve("balle1-vp9.avi"), "mp3", List.of(0x55)));
        sounds.add(new Sound(media.resolve("demo-congrats_g722.wav"), "adpcm_g722", List.of(0x28f)));
        sounds.add(new Sound(media.resolve("activated_g722.wav"), "adpcm_g722", List.of(0x65)));
        sounds.add(new Sound(media.resolve("pepnotify.wav"), "pcm_s16le", List.of(1)));
        sounds.add(new Sound(media.resolve("secosmic_lo.wav"), "adpcm_ms", List.of(2)));
        sounds.add(new Sound(media.resolve("silence-44-s.ac3"), "ac3", List.of(0x2000)));
        sounds.add(new Sound(media.resolve("no-tags.m4a"), "aac", List.of(0xff)));
        for (String wma : List.of("silence-1.wma", "matrix_ping_pong.wmv")) {
            sounds.add(new Sound(media.resolve(wma), "wmav2", List.of(0x161)));
        }
        for (String mp3 : List.of("house_lo.mp3", "silence-44-s.mp3", "sheep_on_drugs.mp3", "silence-44-s-mpeg25.mp3",
                "breakdance.flv")) {
            sounds.add(new Sound(media.resolve(mp3), "mp3", List.of(0x55)));
        }
        return sounds;
    }

    private static List<Map<String, String>> table(Path file) {
        try (Stream<String> lines = Files.lines(file)) {
            List<String[]> rows = lines.map(line -> line.split("\t")).toList();
            String[] headings = rows.get(0);
            return rows.subList(1, rows.size()).stream().map(row -> {
                Map<String, String> named = new HashMap<>();
                for (int i = 0; i < headings.length; i++) {
                    named.put(headings[i], row[i]);
                }
                return named;
            }).toList();
        } catch (IOException e) {
            throw new UncheckedIOException(e);
        }
    }
}
