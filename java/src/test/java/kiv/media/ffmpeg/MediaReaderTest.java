package kiv.media.ffmpeg;

import static kiv.media.ffmpeg.Refusals.refused;
import static org.assertj.core.api.Assertions.assertThat;
import static org.assertj.core.api.Assertions.assertThatThrownBy;
import static org.junit.jupiter.params.provider.Arguments.arguments;

import java.io.ByteArrayInputStream;
import java.io.IOException;
import java.io.InputStream;
import java.io.UncheckedIOException;
import java.nio.ByteBuffer;
import java.nio.channels.ReadableByteChannel;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.NoSuchFileException;
import java.nio.file.Path;
import java.time.Duration;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import java.util.stream.Stream;
import kiv.media.ffmpeg.exactness.Reference;
import kiv.media.ffmpeg.natives.PacketFields;
import kiv.media.ffmpeg.natives.c_mediareader_ffmpeg;
import kiv.media.ffmpeg.natives.c_mediareader_source;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.Arguments;
import org.junit.jupiter.params.provider.CsvSource;
import org.junit.jupiter.params.provider.EnumSource;
import org.junit.jupiter.params.provider.MethodSource;
import org.junit.jupiter.params.provider.ValueSource;

class MediaReaderTest {

    static Stream<Path> files() {
        return Stream.of(TestMedia.clips().stream().map(TestMedia.Clip::file),
                Stream.of("vorbis.ogg", "flac.flac", "flac_24.flac").map(TestMedia::stream),
                TestMedia.pcmSources().stream().map(TestMedia.Sound::file)).flatMap(all -> all);
    }

    @ParameterizedTest
    @MethodSource("files")
    void everyPacketIsThatOfFfmpeg(Path file) throws IOException {
        try (MediaReader reader = MediaReader.open(file)) {
            List<String> lines = new ArrayList<>(reader.streams().stream().map(MediaReaderTest::line).toList());
            reader.packets().map(MediaReaderTest::line).forEach(lines::add);
            assertThat(lines.stream().map(line -> known(reader, line))).containsExactlyElementsOf(
                    Reference.run(List.of(file.toString(), "--list-packets")).stream()
                            .map(row -> known(reader, String.join(" ", row))).toList());
            assertThat(reader.read()).as("after the end").isNull();
        }
    }

    @ParameterizedTest
    @MethodSource("files")
    void forwardOnlyThePacketsAreTheSame(Path file) throws IOException {
        InputStream dripping = new ByteArrayInputStream(Files.readAllBytes(file)) {
            @Override
            public synchronized int read(byte[] to, int offset, int length) {
                return super.read(to, offset, Math.min(length, pos % 4093));
            }
        };
        try (MediaReader reader = MediaReader.open(file); MediaReader forward = MediaReader.open(dripping)) {
            refused(MediaException.class, "forward only", () -> forward.seek(Duration.ZERO));
            assertThat(forward.packets().map(Packet::data))
                    .containsExactlyElementsOf(reader.packets().map(Packet::data).toList());
        } catch (MediaFormatException e) {
            // An index at the end, which FFmpeg 8 needs of CAF, and of APNG the number of its rounds.
            assertThat(file.toString()).matches(".*\\.(mp4|m4v|mov|m4a|caf|apng)");
            assertThat(e).hasMessageContaining("forward only (");
        }
    }

    /** Without sizes and times where FFmpeg knows them only because it parsed or decoded, which the library forbids. */
    private static String known(MediaReader reader, String line) {
        MediaStream stream = reader.streams().get(Integer.parseInt(line.split(" ")[1]));
        return stream.isSupported() ? line : line.replaceFirst("^(\\w+ \\d+ ).* (?=\\d+ \\w+$)", "$1");
    }

    private static String line(MediaStream stream) {
        return "stream " + stream.index() + " " + stream.kind().ordinal() + " " + stream.codecId() + " "
                + Integer.toUnsignedString(stream.codecTag()) + " " + stream.width() + " " + stream.height() + " "
                + stream.timeBase().toString().replace('/', ' ') + " " + stream.extradata().length + " "
                + Reference.md5(stream.extradata());
    }

    private static String line(Packet packet) {
        return "packet " + packet.streamIndex() + " " + packet.presentationTime() + " " + packet.decodingTime() + " "
                + packet.duration() + " " + (packet.isKey() ? 1 : 0) + " " + packet.size() + " "
                + Reference.md5(packet.bytes());
    }

    @ParameterizedTest
    @CsvSource({"1, 0, 0, 1, 0, false", "0, 1, -1, 0, 90, false", "-1, 0, 0, -1, 180, false", "0, -1, 1, 0, 270, false",
        "-1, 0, 0, 1, 0, true", "0, -1, -1, 0, 90, true", "1, 0, 0, -1, 180, true", "0, 1, 1, 0, 270, true",
        "0.866, 0.5, -0.5, 0.866, 0, false", "0, 0, 0, 0, 0, false", "1, 0, 1, 0, 0, false", "0.01, 2, -2, 0, 90, false"})
    void theMatrixOfAFilmTellsHowItIsTurned(double a, double b, double c, double d, int rotation, boolean mirrored,
            @TempDir Path directory) throws IOException {
        Path film = TestMedia.placed(TestMedia.stream("h264_baseline_320x240.mp4"), directory.resolve("a.mp4"), a, b, c, d);
        try (MediaReader reader = MediaReader.open(film)) {
            MediaStream video = reader.firstVideo().orElseThrow();
            assertThat(List.of(video.rotation(), video.isMirrored())).containsExactly(rotation, mirrored);
            assertThat(video.shownWidth()).isEqualTo(rotation % 180 == 0 ? 320 : 240);
            try (VideoDecoder decoder = VideoDecoder.open(video)) {
                Picture picture = decoder.pictures(reader).findFirst().orElseThrow();
                assertThat(List.of(picture.rotation(), picture.isMirrored())).containsExactly(rotation, mirrored);
            }
        }
    }

    @Test
    void seekingEndsAtAKeyPacketBeforeTheTime() throws IOException {
        try (MediaReader reader = MediaReader.open(TestMedia.film())) {
            MediaStream video = reader.firstVideo().orElseThrow();
            List<Packet> all = reader.packets().filter(p -> p.streamIndex() == video.index()).toList();
            Packet target = all.get(200);
            reader.seek(video, target.presentationTime());
            Packet found = reader.packets().filter(p -> p.streamIndex() == video.index()).findFirst().orElseThrow();
            assertThat(found.isKey()).isTrue();
            assertThat(found.presentationTime()).isLessThanOrEqualTo(target.presentationTime());
            reader.seek(Duration.ZERO);
            assertThat(reader.packets().filter(p -> p.streamIndex() == video.index()).map(Packet::data))
                    .containsExactlyElementsOf(all.stream().map(Packet::data).toList());
            refused(IllegalArgumentException.class, "", () -> reader.seek(Duration.ofSeconds(Long.MAX_VALUE)));
        }
    }

    @ParameterizedTest
    @CsvSource({
        "playlist.m3u8, '#EXTM3U\n#EXT-X-TARGETDURATION:10\n#EXTINF:10,\nfile:///etc/passwd\n#EXT-X-ENDLIST\n'",
        "list.ffconcat, 'ffconcat version 1.0\nfile /etc/passwd\n'",
        "session.sdp, 'v=0\no=- 0 0 IN IP4 127.0.0.1\ns=x\nc=IN IP4 127.0.0.1\nt=0 0\nm=video 5004 RTP/AVP 96\n'",
        "text.txt, 'To be or not to be, that is the question.'",
        "empty.mp4, ''",
    })
    void whatIsNoContainerIsRefused(String name, String text, @TempDir Path directory) throws IOException {
        Path file = Files.writeString(directory.resolve(name), text);
        // The refusal before any reader of FFmpeg's is opened.
        refused(MediaFormatException.class, file + ": not a media file that can be read (not a known media file)",
                () -> MediaReader.open(file));
    }

    @Test
    void filesThatCannotBeReadAreTheSystemsMatter(@TempDir Path directory) {
        refused(NoSuchFileException.class, "", () -> MediaReader.open(directory.resolve("none")));
        assertThatThrownBy(() -> MediaReader.open(directory)).isInstanceOf(IOException.class);
        HostileChannel zeros = new HostileChannel(new byte[50_000]);
        refused(MediaFormatException.class, "", () -> MediaReader.open(zeros));
        assertThat(zeros.open).as("a channel that was not taken over").isTrue();
    }

    @Test
    void halfAFileMayComeByteByByte() throws IOException {
        Path file = TestMedia.stream("mp3_mono.mp3");
        byte[] half = Arrays.copyOf(Files.readAllBytes(file), (int) Files.size(file) / 2);
        try (MediaReader reader = MediaReader.open(new HostileChannel(half, HostileChannel.Way.ONE_BY_ONE, 0));
                MediaReader other = MediaReader.open(file)) {
            List<ByteBuffer> packets = reader.packets().map(Packet::data).toList();
            assertThat(other.packets().limit(packets.size() - 1).map(Packet::data)).isNotEmpty()
                    .isEqualTo(packets.subList(0, packets.size() - 1));
        }
    }

    @ParameterizedTest
    @EnumSource(names = {"MORE_THAN_ASKED", "LESS_THAN_TOLD", "NEGATIVE"})
    void aChannelThatMiscountsIsRefused(HostileChannel.Way way) throws IOException {
        HostileChannel channel = new HostileChannel(Files.readAllBytes(TestMedia.stream("mp3_mono.mp3")), way, 0);
        assertThatThrownBy(() -> MediaReader.open(channel)).isInstanceOf(IOException.class).hasMessageContaining("the channel");
    }

    @Test
    void onlyTheLibrarysCodecsAreDecodedToKnowThem() throws IOException {
        for (String name : List.of("flv1_nellymoser.flv", "mp2.mp2")) {
            try (MediaReader reader = MediaReader.open(TestMedia.stream(name))) {
                assertThat(reader.firstAudio().orElseThrow().sampleFormat() >= 0).as(name).isEqualTo(name.equals("mp2.mp2"));
            }
        }
    }

    static Stream<Arguments> limits() {
        ReaderLimits usual = ReaderLimits.USUAL;
        return Stream.of(arguments(usual.withStreams(1), "streams: 1"), arguments(usual.withBytes(1000), "bytes: 1000"),
                arguments(usual.withIndexEntries(10), "entries: 10"),
                arguments(usual.withProcessorTime(Duration.ofMillis(1)), "processor time: 1"));
    }

    @ParameterizedTest
    @MethodSource("limits")
    void openingEndsAtALimit(ReaderLimits limits, String message) throws IOException {
        // Before the film lie empty boxes, so that reading its beginning takes some milliseconds on any machine.
        ByteBuffer boxes = ByteBuffer.allocate(2 << 20);
        while (boxes.hasRemaining()) {
            boxes.putInt(8).put("free".getBytes(StandardCharsets.US_ASCII));
        }
        byte[] film = Files.readAllBytes(TestMedia.stream("h264_aac.mp4"));
        int from = limits.processorTime().toMillis() == 1 ? 0 : boxes.capacity();
        byte[] all = Arrays.copyOfRange(boxes.array(), from, boxes.capacity() + film.length);
        System.arraycopy(film, 0, all, boxes.capacity() - from, film.length);
        HostileChannel channel = new HostileChannel(all);
        assertThatThrownBy(() -> MediaReader.open(channel, limits)).isInstanceOf(MediaFormatException.class)
                .hasMessageContaining("more than the allowed").hasMessageEndingWith(message + ")");
    }

    @Test
    void afterFewPacketsLessIsKnown() throws IOException {
        Path film = TestMedia.stream("mpeg1_mp2.mpg");
        try (MediaReader reader = MediaReader.open(film, ReaderLimits.USUAL.withPackets(1));
                MediaReader other = MediaReader.open(film)) {
            assertThat(reader.streams().get(0).width()).isZero();
            assertThat(other.streams().get(0).width()).isPositive();
            assertThat(reader.packets().map(Packet::data)).containsExactlyElementsOf(other.packets().map(Packet::data).toList());
        }
    }

    @Test
    void nativesCheckTheirArguments() throws IOException {
        HostileChannel channel = new HostileChannel(Files.readAllBytes(TestMedia.stream("mp3_mono.mp3")));
        long reader = c_mediareader_ffmpeg.n_reader_open(FfmpegLibrary.context(), new c_mediareader_source(channel));
        try {
            for (int stream : new int[] {-1, 1, Integer.MAX_VALUE}) {
                refused(RuntimeException.class, "no such stream: " + stream + " in line 2611",
                        () -> c_mediareader_ffmpeg.n_reader_get_stream(reader, stream));
            }
            refused(RuntimeException.class, "shorter than 8 in line 2703",
                    () -> c_mediareader_ffmpeg.n_reader_read(reader, new long[PacketFields.SIZE - 1]));
            refused(RuntimeException.class, "shorter than " + PacketFields.SIZE_WITH_LENGTH + " in line 2707",
                    () -> c_mediareader_ffmpeg.n_reader_read_stream(reader, 0, null, new long[PacketFields.SIZE]));
            refused(RuntimeException.class, "shorter than " + PacketFields.SIZE_WITH_LENGTH + " in line 2709",
                    () -> c_mediareader_ffmpeg.n_reader_read_several(reader, 0, new byte[1], new long[PacketFields.SIZE]));
            refused(RuntimeException.class, "2611", () -> c_mediareader_ffmpeg.n_reader_seek(reader, 1, 0, 0));
            refused(RuntimeException.class, "2613", () -> c_mediareader_ffmpeg.n_reader_seek(reader, 0, 0, 8));
        } finally {
            c_mediareader_ffmpeg.n_reader_delete(reader);
        }
    }

    /** Packets and failures of a channel come in the same order, whether packets are read one by one or ahead. */
    @ParameterizedTest
    @ValueSource(strings = {"h264_b_320x240.mp4", "dv_pal.avi", "mpeg2_b_323x243.mpg"})
    void packetsReadAheadAreTheSame(String name) throws IOException {
        byte[] bytes = Files.readAllBytes(TestMedia.stream(name));
        for (int failing = 1; failing <= 256; failing *= 2) {
            assertThat(packetsAndFailures(bytes, failing, true)).hasSizeGreaterThan(5)
                    .isEqualTo(packetsAndFailures(bytes, failing, false));
        }
    }

    private static List<String> packetsAndFailures(byte[] bytes, int failing, boolean isAhead) throws IOException {
        HostileChannel channel = new HostileChannel(bytes);
        List<String> all = new ArrayList<>();
        try (MediaReader reader = MediaReader.open(channel)) {
            int[] reads = {0};
            channel.hook = () -> {
                if (++reads[0] % failing == 0 && reads[0] < 5 * failing) {
                    throw new IOException("fails");
                }
            };
            PacketsAhead packets = new PacketsAhead(reader, reader.firstVideoOrThrow());
            int stream = reader.firstVideoOrThrow().index();
            long[] fields = isAhead ? packets.fields() : new long[PacketFields.SIZE_WITH_LENGTH];
            for (byte[] packet = {}; packet != null && all.size() < 500;) {
                try {
                    packet = isAhead ? packets.next() : reader.demuxer().readStream(stream, null, fields);
                    all.add(packet == null ? "end" : Arrays.toString(fields)
                            + ByteBuffer.wrap(packet, 0, (int) fields[PacketFields.LENGTH]).hashCode());
                } catch (IOException | MediaFormatException e) {
                    all.add(e.getMessage());
                }
            }
        }
        return all;
    }

    @Test
    void whatTheChannelThrowsReachesTheCaller() throws IOException {
        byte[] bytes = Files.readAllBytes(TestMedia.film());
        for (Throwable failure : List.of(new IOException("the disk is gone"), new IllegalStateException("a bug"))) {
            HostileChannel channel = new HostileChannel(bytes);
            try (MediaReader reader = MediaReader.open(channel)) {
                assertThat(reader.read()).isNotNull();
                channel.hook = () -> {
                    if (failure instanceof IOException e) {
                        throw e;
                    }
                    throw (RuntimeException) failure;
                };
                assertThatThrownBy(() -> {
                    while (reader.read() != null) {
                        // What the packets are does not matter.
                    }
                }).isSameAs(failure);
                assertThatThrownBy(() -> reader.packets().toList()).extracting(e ->
                        e instanceof UncheckedIOException ? e.getCause() : e).isSameAs(failure);
            }
            channel.open = true;
            assertThatThrownBy(() -> MediaReader.open(channel)).isSameAs(failure);
            assertThatThrownBy(() -> MediaReader.open((ReadableByteChannel) channel)).isSameAs(failure);
        }
    }
}
