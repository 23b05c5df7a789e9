package kiv.media.ffmpeg;

import static org.assertj.core.api.Assertions.assertThat;
import static org.assertj.core.api.Assumptions.assumeThat;

import java.nio.charset.StandardCharsets;
import java.nio.file.Path;
import java.time.Duration;
import java.time.Instant;
import java.util.List;
import java.util.Map;
import java.util.Optional;
import java.util.stream.Stream;
import javax.sound.sampled.AudioFileFormat;
import javax.sound.sampled.AudioSystem;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.ValueSource;

/** What files say of themselves: tags, chapters, programs, covers, colours. */
class MetadataTest {

    private static final String TITLE = "Вечерний звон";

    @ParameterizedTest
    @ValueSource(strings = {"tagged.mp4", "tagged.mkv", "tagged.mp3", "tagged.m4a", "tagged.flac", "tagged.ogg"})
    void tagsAndChapters(String name) throws Exception {
        try (MediaReader reader = MediaReader.open(TestMedia.stream(name))) {
            Tags tags = reader.tags();
            assertThat(tags.title()).contains(TITLE);
            assertThat(tags.get("ARTIST")).contains("坂本 龍一").isEqualTo(tags.artist());
            assertThat(tags.album()).contains("Größe & \"Mut\"");
            assertThat(tags.get("comment")).contains("two\nlines");
            assertThat(tags.date()).hasValueSatisfying(date -> assertThat(date).startsWith("2011"));
            assertThat(reader.creationTime().or(() -> Optional.of(Instant.EPOCH)))
                    .hasValueSatisfying(made -> assertThat(made).isIn(Instant.parse("2020-02-03T04:05:06Z"), Instant.EPOCH));
            if (!name.endsWith("c") && !name.endsWith("g")) { // FLAC and Ogg have none
                assertThat(reader.chapters().stream().map(Chapter::title)).containsExactly(Optional.of("Начало"),
                        Optional.of("第二章"));
                assertThat(reader.chapters().get(1).start()).contains(Duration.ofMillis(400));
                assertThat(reader.chapters().get(1).end()).contains(Duration.ofSeconds(1));
            }
        }
    }

    @ParameterizedTest
    @ValueSource(strings = {"tagged.mp4", "tagged.mkv"})
    void languagesAndNames(String name) throws Exception {
        try (MediaReader reader = MediaReader.open(TestMedia.stream(name))) {
            List<MediaStream> streams = reader.streams();
            assertThat(streams.subList(0, 3).stream().map(MediaStream::language)).containsExactly(Optional.empty(),
                    Optional.of("rus"), Optional.of("jpn"));
            assertThat(streams.get(1).channelLayout()).contains("mono");
            assertThat(streams.get(0).profileName()).contains("High");
            assertThat(streams.get(0).levelName()).contains("1.1");
            assertThat(streams.get(0).pixelFormat()).contains(PixelFormat.named("yuv420p"));
            assertThat(streams.get(0).realFrameRate().reduced()).isEqualTo(new Rational(25, 1));
            assertThat(streams.get(2).dispositions().contains(Disposition.COMMENT)).isEqualTo(TestMedia.isNewer());
            ColorDescription color = streams.get(0).color();
            if (name.endsWith("4")) {
                assertThat(Stream.of(color.range(), color.matrix(), color.transfer(), color.primaries()))
                        .containsExactly(Optional.of("tv"), Optional.of("bt709"), Optional.of("bt709"), Optional.of("bt709"));
            }
            assertThat(reader.coverArt()).isEmpty();
        }
        try (MediaReader reader = MediaReader.open(TestMedia.stream("dv_pal.dv"))) {
            assertThat(reader.streams().get(0).displayAspectRatio()).isEqualTo(new Rational(4, 3));
            assertThat(reader.streams().get(0).number()).isEmpty();
        }
        try (MediaReader reader = MediaReader.open(TestMedia.stream("mpeg2_interlaced_b_720x576.ts"))) {
            assertThat(reader.streams().get(0).fieldOrder().filter(FieldOrder.TOP_FIRST::equals).isPresent())
                    .isEqualTo(TestMedia.isNewer());
        }
    }

    @ParameterizedTest
    @ValueSource(strings = {"tagged.mp3", "tagged.m4a", "tagged.flac"})
    void coversAreDecoded(String name) throws Exception {
        AttachedPicture cover;
        try (MediaReader reader = MediaReader.open(TestMedia.stream(name))) {
            cover = reader.coverArt().orElseThrow();
            assertThat(reader.attachedPictures()).hasSize(1);
        }
        boolean jpeg = name.endsWith("3");
        assertThat(cover.mimeType()).isEqualTo(jpeg ? "image/jpeg" : "image/png");
        assertThat(cover.role().filter("Cover (front)"::equals).isPresent()).isEqualTo(jpeg);
        assertThat(cover.bytes()).startsWith(jpeg ? new byte[] {-1, (byte) 0xD8} : new byte[] {(byte) 0x89, 'P', 'N', 'G'});
        try (Picture picture = cover.decode()) {
            assertThat(picture.toBufferedImage().getWidth()).isEqualTo(64);
            assertThat(picture.height()).isEqualTo(48);
        }
    }

    @Test
    void programs() throws Exception {
        try (MediaReader reader = MediaReader.open(TestMedia.stream("programs.ts"))) {
            assertThat(reader.programs().stream().map(Program::name)).containsExactly(Optional.of("Один"), Optional.of("Two"));
            assertThat(reader.programs().stream().map(Program::streams)).containsExactly(List.of(0, 1), List.of(2));
            assertThat(reader.streams().get(0).number()).hasValue(0x100);
        }
    }

    @Test
    void highDynamicRange(@TempDir Path directory) throws Exception {
        assumeThat(FfmpegLibrary.build().version()).matches("[78]\\..*"); // older programs lose it
        Path film = directory.resolve("hdr.mp4");
        Programs.output(Stream.concat(TestMedia.ffmpegProgram().stream(), Stream.of("-nostdin", "-v", "error", "-i",
                TestMedia.stream("hdr.hevc").toString(), "-c:v", "mpeg4", film.toString())).toList());
        try (MediaReader reader = MediaReader.open(film)) {
            ColorDescription color = reader.firstVideo().orElseThrow().color();
            assertThat(color.isHighDynamicRange()).isTrue();
            assertThat(color.contentLight()).contains(new ContentLight(1000, 400));
            MasteringDisplay screen = color.masteringDisplay().orElseThrow();
            assertThat(screen.red()).isEqualTo(new MasteringDisplay.Point(new Rational(34_000, 50_000),
                    new Rational(16_000, 50_000)));
            assertThat(screen.white().y().toDouble()).isEqualTo(0.329);
            assertThat(screen.maximum().toDouble()).isEqualTo(1000);
        }
    }

    @Test
    void javaSoundTellsThem() throws Exception {
        AudioFileFormat told = AudioSystem.getAudioFileFormat(TestMedia.stream("tagged.mp3").toFile());
        assertThat(told.properties()).containsAllEntriesOf(Map.of("title", TITLE, "author", "坂本 龍一", "album",
                "Größe & \"Mut\"", "comment", "two\nlines"));
        assertThat(told.getProperty("date")).isEqualTo(java.util.Date.from(Instant.parse("2011-05-07T00:00:00Z")));
    }

    /** A file says anything. */
    @Test
    void tagsOfAnyBytes() {
        byte[] texts = "a\0ü\0A\0second\0a\0again\0\0b\0".getBytes(StandardCharsets.ISO_8859_1);
        List<Tags> lists = Tags.lists(texts);
        assertThat(lists).hasSize(1);
        assertThat(lists.get(0).asMap()).isEqualTo(Map.of("a", "\uFFFD;again", "A", "second"));
        assertThat(Tags.lists(new byte[] {'x'})).isEmpty();
        assertThat(Tags.lists(new byte[] {0, 0})).containsExactly(Tags.NONE, Tags.NONE);
    }
}
