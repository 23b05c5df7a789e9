package kiv.media.ffmpeg;

import java.io.IOException;
import java.io.InputStream;
import java.io.UncheckedIOException;
import java.nio.ByteBuffer;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.HashSet;
import java.util.List;
import java.util.Objects;
import java.util.Set;
import java.util.function.BiFunction;
import java.util.function.Function;
import java.util.stream.IntStream;
import java.util.stream.Stream;

/**
 * Where the tests find FFmpeg, the files that they decode and the program that they are compared with: made and fetched
 * by the build, never part of the sources. The build's scripts name the places in the environment; without that they are
 * where the build puts them.
 */
public final class TestMedia {

    /** A file with pictures; the size is that of the shown ones. */
    public record Clip(Path file, String codec, int width, int height, Set<String> traits) {
    }

    /** A file with sound; the tags are the WAVE format tags that stand for its codec. */
    public record Sound(Path file, String codec, List<Integer> tags) {
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

    /** The program {@code ffmpeg} of the FFmpeg that is loaded, where it was fetched; else the system's. */
    public static List<String> ffmpegProgram() {
        Path home = place("KIV_FFMPEG_HOMES", ".").resolve("ffmpeg-" + FfmpegLibrary.build().version());
        return Files.isExecutable(home.resolve("ffmpeg"))
                ? List.of("env", "LD_LIBRARY_PATH=" + home, home.resolve("ffmpeg").toString()) : List.of("ffmpeg");
    }

    /** Writes a copy of an MP4 film that asks players to place its pictures by a matrix of two rows, of 16.16 bits. */
    public static Path placed(Path film, Path copy, double... matrix) {
        try {
            ByteBuffer bytes = ByteBuffer.wrap(Files.readAllBytes(film));
            int at = 0;
            while (bytes.getInt(at) != 0x746B6864) { // "tkhd" of the first track
                at++;
            }
            for (int i = 0; i < matrix.length; i++) {
                bytes.putInt(at + 44 + Integer.BYTES * (i / 2 * 3 + i % 2), (int) Math.round(matrix[i] * (1 << 16)));
            }
            return Files.write(copy, bytes.array());
        } catch (IOException e) {
            throw new UncheckedIOException(e);
        }
    }

    /** FFmpeg's directory, with the libraries that the others need loaded. */
    public static Path ffmpeg() {
        Path directory = FfmpegLibrary.directory();
        FfmpegLibrary.loadNatives();
        FfmpegLibrary.preload(directory);
        return directory;
    }

    /**
     * Whether a newer FFmpeg than the library's own line works, behind the bridge. Tests whose expectations differ then ask
     * this; docs/bridge.md has the reasons.
     */
    public static boolean isNewer() {
        return FfmpegLibrary.build().isBridged();
    }

    /** Whether sound can be encoded so. All packages of FFmpeg can; Debian's has no encoder for AMR. */
    public static boolean hasEncoder(AudioCodec codec) {
        if (!FfmpegLibrary.build().directory().startsWith("/usr") && !codec.isOfFfmpeg()) {
            return true;
        }
        int channels = codec == AudioCodec.VORBIS ? 2 : 1;
        int rate = codec.accepts(44_100, channels) ? 44_100 : codec == AudioCodec.AMR_WB ? 16_000 : 8000;
        try (AudioEncoder encoder = AudioEncoder.open(codec, rate, channels)) {
            return encoder.format() != null;
        } catch (UnsupportedCodecException e) {
            return false;
        }
    }

    /** Every made stream with pictures, and the real files whose codec has a media subtype. */
    public static List<Clip> clips() {
        return rows("manifest.tsv", (file, row) -> new Clip(file, row[1], Integer.parseInt(row[3]), Integer.parseInt(row[4]),
                Set.of(row[7].split(",")))).toList();
    }

    /** The clip of that file name. */
    public static Clip clip(String name) {
        return clips().stream().filter(clip -> clip.file().endsWith(name)).findFirst().orElseThrow();
    }

    /** Every stream that a decoder for PCM can be made for. */
    public static List<Sound> pcmSources() {
        return rows("audio.tsv", (file, row) -> row[4].equals("-") ? null : new Sound(file, row[1],
                Stream.of(row[4].split(",")).map(Integer::decode).toList())).filter(Objects::nonNull).toList();
    }

    /** Every case of the first item of each kind and one of each other item; with {@code -Dkiv.test.tier=full} all. */
    public static <T, C> Stream<C> cases(List<T> items, Function<T, ?> kind, Function<T, List<C>> cases) {
        boolean full = "full".equals(System.getProperty("kiv.test.tier"));
        Set<Object> kinds = new HashSet<>();
        return IntStream.range(0, items.size()).boxed().flatMap(i -> {
            List<C> all = cases.apply(items.get(i));
            return kinds.add(kind.apply(items.get(i))) || full ? all.stream() : Stream.of(all.get(i % all.size()));
        });
    }

    /** Of two tables of that name: the one that is made with the streams, and that of the real files among the resources. */
    private static <T> Stream<T> rows(String table, BiFunction<Path, String[], T> row) {
        try (InputStream real = TestMedia.class.getResourceAsStream("/" + table)) {
            return Stream.concat(Files.readString(stream(table)).lines().skip(1).map(line -> line.split("\t"))
                    .map(fields -> row.apply(stream(fields[0]), fields)),
                    new String(real.readAllBytes(), StandardCharsets.UTF_8).lines().skip(1).map(line -> line.split("\t"))
                    .map(fields -> row.apply(media(fields[0]), fields)));
        } catch (IOException e) {
            throw new UncheckedIOException(e);
        }
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
