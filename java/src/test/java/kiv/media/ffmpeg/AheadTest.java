package kiv.media.ffmpeg;

import static org.assertj.core.api.Assertions.assertThat;
import static org.assertj.core.api.Assertions.assertThatThrownBy;
import static org.assertj.core.api.InstanceOfAssertFactories.type;

import java.nio.file.Files;
import java.nio.file.Path;
import java.time.Duration;
import java.util.ArrayList;
import java.util.Iterator;
import java.util.LinkedHashMap;
import java.util.List;
import java.util.Map;
import java.util.Random;
import java.util.TreeMap;
import kiv.media.ffmpeg.exactness.Reference;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.CsvSource;
import org.junit.jupiter.params.provider.ValueSource;

/** What a worker decodes before it is asked for is the same, or dropped. */
class AheadTest {

    private static String row(Picture picture) {
        try (picture) {
            return picture.timestamp() + " " + picture.duration() + " " + Reference.md5(picture.toBytes());
        }
    }

    /** Leaves a stream of pictures early, and goes on in the way that is named. */
    private static List<String> rows(Path film, Isolation isolation, int threads, int first, String rest) throws Exception {
        List<String> rows = new ArrayList<>();
        try (MediaReader reader = MediaReader.open(film, isolation);
                VideoDecoder decoder = VideoDecoder.open(reader.firstVideo().orElseThrow(), threads)) {
            Iterator<Picture> pictures = decoder.each(reader).iterator();
            for (int i = 0; i < first && pictures.hasNext(); i++) {
                rows.add(row(pictures.next()));
            }
            switch (rest) {
                case "packets", "others" -> {
                    int number = 0;
                    for (Packet packet; (packet = reader.read()) != null;) {
                        if (decoder.accepts(packet) && (rest.equals("packets") || number++ % 7 > 1)) {
                            decoder.decode(packet).forEach(picture -> rows.add(row(picture)));
                        }
                    }
                }
                case "seek" -> {
                    reader.seek(Duration.ofMillis(1500));
                    decoder.reset();
                    decoder.pictures(reader).limit(20).forEach(picture -> rows.add(row(picture)));
                    return rows;
                }
                default -> {
                }
            }
            decoder.finish().forEach(picture -> rows.add(row(picture)));
        }
        return rows;
    }

    @ParameterizedTest
    @CsvSource({"balle-jbart.mp4, 3", "Force_constante.avi, 1"})
    void picturesAreThoseOfThisProcess(String film, int threads) throws Exception {
        Path file = TestMedia.media(film);
        for (String rest : List.of("packets", "others", "seek", "finish")) {
            // What several threads guess for pictures that are missing is not always the same.
            int used = rest.equals("others") ? 1 : threads;
            assertThat(rows(file, Isolation.wall(), used, 23, rest)).as(rest)
                    .isEqualTo(rows(file, Isolation.none(), used, 23, rest));
        }
    }

    /** Keeps up to so many pictures open, closes them in any order, and looks at each one last. */
    private static List<String> keptRows(Path film, Isolation isolation, int threads, int most) throws Exception {
        Map<Integer, String> rows = new TreeMap<>();
        Map<Integer, Picture> open = new LinkedHashMap<>();
        Random random = new Random(most);
        try (MediaReader reader = MediaReader.open(film, isolation);
                VideoDecoder decoder = VideoDecoder.open(reader.firstVideo().orElseThrow(), threads)) {
            int number = 0;
            for (Picture picture : decoder.each(reader)) {
                open.put(number++, picture);
                while (open.size() > random.nextInt(most + 1)) {
                    Integer any = new ArrayList<>(open.keySet()).get(random.nextInt(open.size()));
                    rows.put(any, row(open.remove(any)));
                }
            }
        }
        open.forEach((any, picture) -> rows.put(any, row(picture)));
        return List.copyOf(rows.values());
    }

    @ParameterizedTest
    @CsvSource({"balle-jbart.mp4, 1, 5", "balle-jbart.mp4, 2, 30", "balle-jbart.mp4, 16, 90", "Force_constante.avi, 16, 30"})
    void anOpenPictureStaysAsItIs(String film, int threads, int most) throws Exception {
        Path file = TestMedia.media(film);
        assertThat(keptRows(file, Isolation.wall(), threads, most)).hasSizeGreaterThan(20)
                .isEqualTo(keptRows(file, Isolation.none(), 1, 0));
    }

    private static String row(AudioBlock block) {
        return block.timestamp() + " " + Reference.md5(block.toBytes());
    }

    /** As with pictures; the reader is at a packet that the decoder has perhaps seen. */
    private static List<String> blocks(Path file, Isolation isolation, int first, String rest) throws Exception {
        List<String> rows = new ArrayList<>();
        try (MediaReader reader = MediaReader.open(file, isolation); AudioDecoder decoder = AudioDecoder.open(reader)) {
            decoder.blocks(reader).limit(first).forEach(block -> rows.add(row(block)));
            switch (rest) {
                case "packets", "other packets" -> {
                    if (rest.startsWith("other")) {
                        reader.packets().limit(12).forEach(packet -> { });
                    }
                    if (rest.startsWith("other") && !file.toString().contains("pcm")) {
                        decoder.reset(); // it depends on packets before
                    }
                    reader.packets().limit(9).filter(decoder::accepts).forEach(packet -> {
                        try {
                            decoder.decode(packet).forEach(block -> rows.add(row(block)));
                        } catch (DecodeException e) {
                            rows.add(e.getMessage());
                        }
                    });
                    decoder.blocks(reader).forEach(block -> rows.add(row(block)));
                }
                case "seek" -> {
                    reader.seek(Duration.ofMillis(300));
                    decoder.reset();
                    decoder.blocks(reader).forEach(block -> rows.add(row(block)));
                }
                default -> decoder.finish().forEach(block -> rows.add(row(block)));
            }
        }
        return rows;
    }

    private static void assertSameBlocks(Path file) throws Exception {
        for (String rest : List.of("packets", "other packets", "seek", "finish")) {
            for (int first : new int[] {1, 17}) {
                assertThat(blocks(file, Isolation.wall(), first, rest)).as(rest)
                        .isEqualTo(blocks(file, Isolation.none(), first, rest));
            }
        }
    }

    @ParameterizedTest
    @ValueSource(strings = {"aac.m4a", "flac.flac", "mp2.mp2", "pcm_s24le.wav", "ac3.ac3", "opus_mono.webm", "wma2.asf",
        "g722.wav", "h264_vorbis.mkv"})
    void soundIsThatOfThisProcess(String name, @TempDir Path directory) throws Exception {
        Path file = TestMedia.stream(name);
        assertSameBlocks(file);
        byte[] damaged = Files.readAllBytes(file);
        for (int at = damaged.length / 3; at < damaged.length * 2 / 3; at += 997) {
            damaged[at] ^= 0x55;
            damaged[at + 1] ^= 0x55;
        }
        assertSameBlocks(Files.write(directory.resolve(name), damaged));
    }

    @Test
    void whatWasDecodedBeforeTheEndIsDelivered() throws Exception {
        Path file = TestMedia.media("house_lo.mp3");
        List<String> all = blocks(file, Isolation.none(), Integer.MAX_VALUE, "finish");
        List<String> rows = new ArrayList<>();
        try (MediaReader reader = MediaReader.open(file, Isolation.wall()); AudioDecoder decoder = AudioDecoder.open(reader)) {
            Iterator<AudioBlock> blocks = decoder.blocks(reader).iterator();
            for (int i = 0; i < 4; i++) {
                rows.add(row(blocks.next()));
            }
            ProcessHandle.current().descendants().filter(one -> one.children().findAny().isEmpty())
                    .forEach(ProcessHandle::destroyForcibly);
            assertThatThrownBy(() -> blocks.forEachRemaining(block -> rows.add(row(block))))
                    .asInstanceOf(type(WorkerException.class))
                    .satisfies(e -> assertThat(e.packets()).isGreaterThanOrEqualTo(rows.size()));
        }
        assertThat(all).startsWith(rows.toArray(String[]::new)).hasSizeGreaterThan(rows.size());
        assertThat(rows).hasSizeGreaterThan(4);
    }
}
