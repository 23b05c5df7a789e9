package kiv.media.ffmpeg;

import static org.assertj.core.api.Assertions.assertThat;
import static org.assertj.core.api.Assertions.assertThatThrownBy;
import static org.junit.jupiter.api.Assumptions.assumeTrue;

import java.io.ByteArrayInputStream;
import java.io.ByteArrayOutputStream;
import java.io.IOException;
import java.nio.ByteBuffer;
import java.nio.channels.FileChannel;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.StandardOpenOption;
import java.time.Duration;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.Collections;
import java.util.List;
import java.util.NoSuchElementException;
import java.util.Random;
import java.util.stream.LongStream;
import java.util.stream.Stream;
import java.util.zip.CRC32C;
import kiv.media.ffmpeg.index.CodedPicture;
import kiv.media.ffmpeg.index.PacketExaminer;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.CsvSource;
import org.junit.jupiter.params.provider.MethodSource;
import org.junit.jupiter.params.provider.ValueSource;

class FilmTest {

    /** A picture: its bytes' hash and its times. */
    record Row(int hash, long timestamp, long duration, Duration time) {
        static Row of(Picture picture) {
            try (picture) {
                return new Row(Arrays.hashCode(picture.toBytes()), picture.timestamp(), picture.duration(),
                        picture.time().orElseThrow());
            }
        }
    }

    @TempDir
    static Path directory;

    private static List<Row> whole(Path file) throws IOException {
        try (MediaReader reader = MediaReader.open(file);
                VideoDecoder decoder = VideoDecoder.open(reader.firstVideo().orElseThrow(), 1)) {
            return decoder.pictures(reader).map(Row::of).toList();
        }
    }

    /** Films in containers and codecs that differ, and some that were made worse. */
    static Stream<Path> films() throws IOException {
        List<Path> films = new ArrayList<>();
        for (String name : List.of("h264_b_320x240.mp4", "h264_b_322x242.h264", "h264_b_256x256.avi", "h264_b_720x576.mkv",
                "h264_interlaced_b_720x576.ts", "h264_aac.flv", "mpeg2_b_323x243.mpg", "mpeg2_ac3.ts", "mpeg2_320x240.m2v",
                "mpeg1_mp2.mpg", "mpeg4_b_322x242.avi", "mpeg4_b_320x240.mp4", "mpeg4_256x256.m4v", "msmpeg4v3_320x240.avi",
                "wmv2_wma2.asf", "h263_176x144.h263", "dv_pal.avi", "cinepak_160x120.avi", "h264_sizechange.h264",
                "mpeg2_sizechange.m2v", "h264_open_b_160x120.ts", "h264_fragments_160x120.mp4")) {
            films.add(TestMedia.stream(name));
        }
        for (String name : List.of("h264_open_b_160x120.ts", "mpeg2_ac3.ts")) {
            byte[] bytes = Files.readAllBytes(TestMedia.stream(name));
            int middle = bytes.length / 3 / 188 * 188;
            films.add(Files.write(directory.resolve("cut_" + name), Arrays.copyOfRange(bytes, middle, bytes.length)));
            byte[] twice = Arrays.copyOf(bytes, 2 * bytes.length);
            System.arraycopy(bytes, 0, twice, bytes.length, bytes.length);
            films.add(Files.write(directory.resolve("twice_" + name), twice));
        }
        byte[] avi = Files.readAllBytes(TestMedia.stream("mpeg4_mp3.avi"));
        String text = new String(avi, java.nio.charset.StandardCharsets.ISO_8859_1);
        films.add(Files.write(directory.resolve("no_index.avi"), Arrays.copyOf(avi, text.lastIndexOf("idx1"))));
        films.add(TestMedia.film());
        return films.stream();
    }

    @ParameterizedTest
    @MethodSource("films")
    void everyPictureIsThatOfTheWholeFilm(Path file) throws IOException {
        List<Row> whole = whole(file);
        Random random = new Random(5);
        try (Film film = Film.open(file)) {
            for (int i = 0; i < 12; i++) {
                int number = random.nextInt(whole.size());
                assertThat(Row.of(film.picture(number))).as("picture %d", number).isEqualTo(whole.get(number));
                Duration time = whole.get(random.nextInt(whole.size())).time.plusMillis(random.nextInt(50));
                int later = 0;
                while (later < whole.size() && whole.get(later).time.compareTo(time) <= 0) {
                    later++;
                }
                assertThat(Row.of(film.pictureAt(time))).as("at %s", time).isEqualTo(whole.get(Math.max(0, later - 1)));
            }
            List<Row> backwards = new ArrayList<>(whole.subList(Math.max(0, whole.size() - 20), whole.size()));
            Collections.reverse(backwards);
            assertThat(film.range(whole.size() - 1, Math.max(-1, whole.size() - 21), -1).map(Row::of))
                    .containsExactlyElementsOf(backwards);
            assertThat(film.range(0, Long.MAX_VALUE, 7).map(Row::of).count()).isEqualTo((whole.size() + 6) / 7);
            assertThat(film.count()).isEqualTo(whole.size());
            ByteArrayOutputStream index = new ByteArrayOutputStream();
            film.saveIndex(index);
            try (Film again = Film.open(file)) {
                again.loadIndex(new ByteArrayInputStream(index.toByteArray()));
                int last = whole.size() - 1;
                assertThat(Row.of(again.picture(last))).isEqualTo(whole.get(last));
            }
        }
    }

    @Test
    void noMoreIsDecodedThanIsNeeded() throws IOException {
        try (Film film = Film.open(TestMedia.stream("h264_b_320x240.mp4"))) {
            film.picture(55).close();
            // The group's pictures up to that one, those that it waits for, and two that prove its beginning.
            assertThat(film.decodedPackets()).isLessThanOrEqualTo(15 + 2);
            film.picture(56).close();
            assertThat(film.decodedPackets()).isLessThanOrEqualTo(15 + 4);
            assertThat(film.numberAt(film.timeOf(30))).isEqualTo(30);
        }
        try (Film film = Film.open(TestMedia.stream("h264_b_320x240.mp4"))) {
            List<Picture> pictures = film.pictures(LongStream.range(0, 60).map(i -> i * 37 % 60).toArray());
            assertThat(film.decodedPackets()).isEqualTo(60);
            assertThat(film.index().filter(Film.IndexEntry::restart)).hasSize(4);
            pictures.forEach(Picture::close);
        }
    }

    @Test
    void numbersOfTentativeCodecsTakeDecodingAndTimesDoNot() throws IOException {
        Path file = TestMedia.media("Effet_force_magnetique.ogv");
        List<Row> whole = whole(file);
        Row late = whole.get(31);
        ByteArrayOutputStream index = new ByteArrayOutputStream();
        try (Film film = Film.open(file)) {
            // A group of twelve, of which eight are needed, and those that prove its beginning
            assertThat(Row.of(film.pictureAt(late.time))).isEqualTo(late);
            assertThat(film.decodedPackets()).isLessThanOrEqualTo(12);
            assertThat(film.picturesFrom(late.time).map(Row::of)).containsExactlyElementsOf(whole.subList(31, 34));
            assertThat(film.spread(1).stream().map(Row::of)).containsExactly(whole.get(17));
            assertThat(film.decodedPackets()).isLessThan(34);
            assertThat(film.numbersTakeDecoding()).isTrue();
            long before = film.decodedPackets();
            assertThat(film.range(0, Long.MAX_VALUE, 1).map(Row::of)).containsExactlyElementsOf(whole);
            film.saveIndex(index);
            assertThat(film.decodedPackets() - before).isEqualTo(34);
        }
        try (Film film = Film.open(file)) {
            film.loadIndex(new ByteArrayInputStream(index.toByteArray()));
            assertThat(film.numbersTakeDecoding()).isFalse();
            assertThat(Row.of(film.picture(film.count() - 3))).isEqualTo(late);
            assertThat(film.decodedPackets()).isLessThanOrEqualTo(12);
        }
    }

    @ParameterizedTest
    @CsvSource({"av1.mp4,10", "jpeg2000.mov,4"})
    void picturesThatTheDecoderLeavesOutHaveNoNumber(String name, int twelfths) throws IOException {
        assumeTrue(TestMedia.isNewer() || !name.startsWith("av1"), "FFmpeg 2.8 has no decoder of AV1");
        byte[] bytes = Files.readAllBytes(TestMedia.stream(name));
        for (int i = 0; i < 40; i++) {
            bytes[bytes.length * twelfths / 12 + i] ^= 0x55;
        }
        Path damaged = Files.write(directory.resolve("left_out_" + name), bytes);
        List<Row> whole = whole(damaged);
        // libdav1d, which Debian's FFmpeg has, shows the picture that libaom leaves out.
        assertThat(whole).hasSizeLessThan(whole(TestMedia.stream(name)).size() + (name.startsWith("av1") ? 1 : 0));
        for (Row row : whole) {
            try (Film film = Film.open(damaged); Film other = Film.open(damaged)) {
                assertThat(Row.of(other.pictureAt(row.time))).isEqualTo(row);
                assertThat(film.numberAt(row.time)).isEqualTo(whole.indexOf(row));
                assertThat(Row.of(film.picture(whole.indexOf(row)))).isEqualTo(row);
                assertThat(film.count()).isEqualTo(whole.size());
            }
        }
    }

    @Test
    void picturesWithinDamageAreThoseOfTheWholeFilm() throws IOException {
        byte[] bytes = Files.readAllBytes(TestMedia.stream("mpeg4_b_320x240.mp4"));
        for (int i = 0; i < 40; i++) {
            bytes[bytes.length / 3 + 3 * i] ^= 0x55;
        }
        Path damaged = Files.write(directory.resolve("damaged.mp4"), bytes);
        List<Row> whole = whole(damaged);
        try (Film film = Film.open(damaged)) {
            for (int number = whole.size() - 1; number >= 0; number -= 3) {
                assertThat(Row.of(film.picture(number))).as("picture %d", number).isEqualTo(whole.get(number));
            }
        }
    }

    @ParameterizedTest
    @ValueSource(strings = {"h264_b_320x240.mp4", "h264_b_720x576.mkv", "h264_open_b_160x120.ts", "mpeg2_b_323x243.mpg",
        "mpeg4_b_322x242.avi", "h264_aac.flv", "wmv2_wma2.asf"})
    void verifiedMutationsGiveThePicturesOfTheWholeFilm(String name) throws IOException {
        byte[] original = Files.readAllBytes(TestMedia.stream(name));
        int mutations = "full".equals(System.getProperty("kiv.test.tier")) ? 40 : 2;
        for (int seed = 0; seed < mutations; seed++) {
            Random random = new Random(seed);
            byte[] bytes = Arrays.copyOf(original, original.length - random.nextInt(2) * random.nextInt(original.length / 2));
            for (int flips = random.nextInt(1, 8); flips > 0; flips--) {
                bytes[random.nextInt(seed % 2 == 0 ? bytes.length : 2000)] ^= 1 << random.nextInt(8);
            }
            Path file = Files.write(directory.resolve("mutation"), bytes);
            List<Row> whole;
            try {
                whole = whole(file);
            } catch (MediaException | NoSuchElementException e) {
                continue;
            }
            try (Film film = Film.open(file)) {
                film.verify();
                assertThat(film.count()).as("seed %d", seed).isEqualTo(whole.size());
                for (int number = whole.size() - 1; number >= 0; number -= 1 + random.nextInt(20)) {
                    assertThat(Row.of(film.picture(number))).as("%d of seed %d", number, seed).isEqualTo(whole.get(number));
                }
            }
        }
    }

    @Test
    void whatIsWrongIsReported() throws IOException {
        Path file = TestMedia.stream("mpeg4_b_320x240.mp4");
        ByteArrayOutputStream saved = new ByteArrayOutputStream();
        try (Film film = Film.open(file)) {
            film.saveIndex(saved);
            assertThatThrownBy(() -> film.picture(30)).isInstanceOf(IndexOutOfBoundsException.class)
                    .hasMessageContaining("has 30");
            assertThatThrownBy(() -> film.picture(-1)).isInstanceOf(IndexOutOfBoundsException.class);
            assertThatThrownBy(() -> film.range(0, 1, 0)).isInstanceOf(IllegalArgumentException.class);
        }
        Film closed = Film.open(file);
        closed.close();
        assertThatThrownBy(() -> closed.picture(0)).isInstanceOf(MediaStateException.class);
        byte[] damaged = saved.toByteArray();
        damaged[damaged.length / 2] ^= 1;
        try (Film film = Film.open(file); Film other = Film.open(TestMedia.stream("mpeg4_b_322x242.avi"))) {
            assertThatThrownBy(() -> film.loadIndex(new ByteArrayInputStream(damaged)))
                    .isInstanceOf(MediaFormatException.class);
            assertThatThrownBy(() -> other.loadIndex(new ByteArrayInputStream(saved.toByteArray())))
                    .isInstanceOf(MediaFormatException.class).hasMessageContaining("another film");
        }
        // A film that changes while it is open
        byte[] bytes = Files.readAllBytes(file);
        try (Film film = Film.open(new HostileChannel(bytes))) {
            film.count();
            Arrays.fill(bytes, bytes.length / 4, bytes.length * 3 / 4, (byte) 0x55);
            assertThatThrownBy(() -> film.picture(15)).isInstanceOf(MediaFormatException.class)
                    .hasMessageContaining("changed");
        }
        assertThatThrownBy(() -> Film.open(TestMedia.stream("mp2.mp2"))).isInstanceOf(MediaFormatException.class);
    }

    /** The checksum is right, so what is wrong must show in values and pictures. */
    @ParameterizedTest
    @ValueSource(strings = {"h264_open_b_160x120.ts", "mpeg2_b_323x243.mpg", "cinepak_160x120.avi"})
    void aDamagedIndexGivesNoWrongPicture(String name) throws IOException {
        Path file = TestMedia.stream(name);
        List<Row> whole = whole(file);
        ByteArrayOutputStream saved = new ByteArrayOutputStream();
        try (Film film = Film.open(file)) {
            film.saveIndex(saved);
        }
        for (int seed = 0; seed < 120; seed++) {
            Random random = new Random(seed);
            byte[] bytes = saved.toByteArray();
            for (int flips = random.nextInt(1, 4); flips > 0; flips--) {
                bytes[random.nextInt(bytes.length - 8)] ^= 1 << random.nextInt(8);
            }
            CRC32C crc = new CRC32C();
            crc.update(bytes, 0, bytes.length - 8);
            ByteBuffer.wrap(bytes).putLong(bytes.length - 8, crc.getValue());
            try (Film film = Film.open(file)) {
                film.loadIndex(new ByteArrayInputStream(bytes));
                for (int i = 0; i < 4; i++) {
                    int number = random.nextInt(whole.size());
                    assertThat(Row.of(film.picture(number)).hash).as("%d of seed %d", number, seed)
                            .isEqualTo(whole.get(number).hash);
                }
            } catch (MediaException e) {
                assertThat(e).isInstanceOf(MediaFormatException.class);
            }
        }
    }

    @ParameterizedTest
    @ValueSource(strings = {"h264_open_b_160x120.ts", "mpeg2_b_323x243.mpg", "mpeg4_b_322x242.avi", "h264_b_320x240.mp4",
        "h264_b_720x576.mkv"})
    void aFileThatGrowsAndShrinksGivesRightPicturesOrAnError(String name) throws IOException {
        List<Row> whole = whole(TestMedia.stream(name));
        byte[] bytes = Files.readAllBytes(TestMedia.stream(name));
        Path file = Files.write(directory.resolve("changing"), bytes);
        try (Film film = Film.open(FileChannel.open(file))) {
            film.count();
            int last = whole.size() - 1;
            Files.write(file, new byte[5000], StandardOpenOption.APPEND);
            assertThat(Row.of(film.picture(last))).isEqualTo(whole.get(last));
            Files.write(file, Arrays.copyOf(bytes, bytes.length / 2));
            for (int number = last; number >= 0; number--) {
                try {
                    assertThat(Row.of(film.picture(number))).as("picture %d", number).isEqualTo(whole.get(number));
                } catch (MediaFormatException e) {
                    assertThat(e).hasMessageMatching(".*changed.*|.*not a media file.*");
                }
            }
        }
    }

    @ParameterizedTest
    @ValueSource(strings = {"h264_open_b_160x120.ts", "h264_b_320x240.mp4", "h264_interlaced_b_720x576.ts", "hevc.mp4",
        "mpeg1_mp2.mpg", "vp9.webm"})
    void theHeadsOfPicturesShowDamageAndNothingElse(String name) throws IOException {
        Random random = new Random(1);
        int packets = 0;
        int noticed = 0;
        try (MediaReader reader = MediaReader.open(TestMedia.stream(name))) {
            MediaStream stream = reader.firstVideo().orElseThrow();
            PacketExaminer intact = stream.examiner();
            PacketExaminer damaged = stream.examiner();
            CodedPicture picture = new CodedPicture();
            for (Packet packet; (packet = reader.read()) != null;) {
                if (packet.streamIndex() != stream.index()) {
                    continue;
                }
                packets++;
                byte[] bytes = Arrays.copyOf(packet.bytes(), packet.size());
                intact.examine(bytes, bytes.length, picture);
                assertThat(picture.broken).as("packet %d", packets).isFalse();
                for (int i = 5; i < Math.min(40, bytes.length); i++) {
                    bytes[i] ^= 1 << random.nextInt(8);
                }
                damaged.examine(bytes, bytes.length, picture);
                noticed += picture.broken || picture.pictures == CodedPicture.UNKNOWN ? 1 : 0;
            }
        }
        assertThat(noticed).isGreaterThanOrEqualTo(packets * 9 / 10);
    }

    @ParameterizedTest
    @ValueSource(strings = {"h264_b_320x240.mp4", "hevc.mp4"})
    void aPictureThatComesTwiceOrHasAStartCodeInItIsBroken(String name) throws IOException {
        try (MediaReader reader = MediaReader.open(TestMedia.stream(name))) {
            PacketExaminer examiner = reader.firstVideo().orElseThrow().examiner();
            CodedPicture picture = new CodedPicture();
            byte[] bytes = {};
            for (int i = 0; i < 4; i++) {
                bytes = reader.read().bytes();
                examiner.examine(bytes, bytes.length, picture);
                assertThat(picture.broken).isFalse();
            }
            if (name.startsWith("hevc")) {
                bytes = reader.read().bytes();
                System.arraycopy(new byte[] {0, 0, 1}, 0, bytes, bytes.length - 9, 3);
            }
            examiner.examine(bytes, bytes.length, picture);
            assertThat(picture.broken).isTrue();
        }
    }

    @Test
    void anApproximateFilmTrustsItsContainer() throws IOException {
        List<Row> whole = whole(TestMedia.stream("mpeg4_b_320x240.mp4"));
        try (Film film = Film.openApproximate(TestMedia.stream("mpeg4_b_320x240.mp4"))) {
            assertThat(film.count()).isEqualTo(whole.size());
            assertThat(Row.of(film.picture(20))).isEqualTo(whole.get(20));
            assertThat(film.isExact()).isFalse();
            assertThatThrownBy(film::index).isInstanceOf(MediaStateException.class);
        }
    }

    /** Without an index, the times behind a seek in an AVI are not those of reading it. */
    static Stream<Path> timedFilms() throws IOException {
        return films().filter(file -> !file.endsWith("no_index.avi"));
    }

    @ParameterizedTest
    @MethodSource("timedFilms")
    void aSeekEndsAtOrBeforeTheTime(Path file) throws IOException {
        List<Row> whole = whole(file);
        try (MediaReader reader = MediaReader.open(file)) {
            MediaStream stream = reader.firstVideo().orElseThrow();
            for (int number : new int[] {whole.size() / 2, whole.size() - 1}) {
                reader.seek(whole.get(number).time);
                try (VideoDecoder decoder = VideoDecoder.open(stream)) {
                    assertThat(decoder.pictures(reader).map(Row::of).map(Row::hash)).contains(whole.get(number).hash);
                }
            }
        }
    }
}
