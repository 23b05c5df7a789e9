package kiv.media.ffmpeg;

import static org.assertj.core.api.Assertions.assertThat;
import static org.assertj.core.api.Assertions.assertThatThrownBy;

import java.io.IOException;
import java.io.UncheckedIOException;
import java.nio.ByteBuffer;
import java.nio.channels.ClosedChannelException;
import java.nio.channels.SeekableByteChannel;
import java.nio.file.Files;
import java.nio.file.NoSuchFileException;
import java.nio.file.Path;
import java.time.Duration;
import java.util.Arrays;
import java.util.List;
import java.util.Random;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.CsvSource;
import org.junit.jupiter.params.provider.MethodSource;

class MediaReaderTest {

    private static MemoryChannel channel(byte[] bytes) {
        return new MemoryChannel(bytes);
    }

    @ParameterizedTest
    @MethodSource("kiv.media.ffmpeg.TestMedia#streams")
    void everyContainerGivesItsVideo(TestMedia.Stream expected) throws IOException {
        try (MediaReader reader = MediaReader.open(expected.path())) {
            MediaStream video = reader.firstVideo().orElseThrow();
            assertThat(video.codecName()).isEqualTo(expected.codec());
            if (!expected.cutsTheLeftEdge()) {
                assertThat(video.width()).isEqualTo(expected.width());
            }
            assertThat(video.height()).isEqualTo(expected.height());
            assertThat(video.timeBase().isKnown()).isTrue();
            assertThat(video.isDecodable()).isTrue();
            String subtype = MediaSubtypes.find(video).orElseThrow();
            if (expected.codec().equals("h264")) {
                assertThat(subtype).isEqualTo(MediaSubtypes.of(FourCharacterCode.of(expected.subtype())));
            }
            List<Packet> packets = reader.packets().filter(p -> p.streamIndex() == video.index()).toList();
            assertThat(packets).hasSizeGreaterThanOrEqualTo(expected.frames());
            assertThat(packets.get(0).isKey()).isTrue();
            assertThat(packets).allMatch(packet -> packet.size() > 0);
            assertThat(reader.read()).as("after the end").isNull();
        }
    }

    @Test
    void aRealFilmIsDescribed() throws IOException {
        try (MediaReader reader = MediaReader.open(TestMedia.film())) {
            assertThat(reader.formatName()).contains("mp4");
            assertThat(reader.duration().orElseThrow()).isBetween(Duration.ofSeconds(8), Duration.ofSeconds(12));
            assertThat(reader.bitRate().orElseThrow()).isPositive();
            assertThat(reader.streams()).hasSize(2);
            MediaStream video = reader.streams().get(0);
            assertThat(video).hasToString("MediaStream[0: VIDEO h264 720x576]");
            assertThat(FourCharacterCode.toText(video.codecTag())).isEqualTo("avc1");
            assertThat(video.frameCount()).isEqualTo(255);
            assertThat(video.frameRate().toDouble()).isBetween(24.0, 26.0);
            assertThat(video.extradata()).startsWith(1);
            MediaStream sound = reader.streams().get(1);
            assertThat(sound.kind()).isEqualTo(MediaKind.AUDIO);
            assertThat(sound.codecName()).isEqualTo("aac");
            assertThat(sound.channels()).isEqualTo(2);
            assertThat(sound.sampleRate()).isEqualTo(48000);
            assertThat(reader.packets().filter(p -> p.streamIndex() == 0)).hasSize(255);
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
            assertThatThrownBy(() -> reader.seek(Duration.ofSeconds(Long.MAX_VALUE)))
                    .isInstanceOf(IllegalArgumentException.class);
            assertThatThrownBy(() -> reader.seek(video, Packet.NO_TIME)).isInstanceOf(IllegalArgumentException.class);
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
        assertThatThrownBy(() -> MediaReader.open(file)).isInstanceOf(MediaFormatException.class)
                .hasMessageContaining(file.toString()).hasMessageContaining("not a media file");
    }

    @Test
    void noiseIsRefusedOrReadToItsEnd() throws IOException {
        for (int seed = 0; seed < 20; seed++) {
            byte[] noise = new byte[50_000];
            new Random(seed).nextBytes(noise);
            MemoryChannel channel = channel(noise);
            // Some raw formats have so weak a mark that it turns up by chance.
            try (MediaReader reader = MediaReader.open(channel)) {
                readAll(reader);
            } catch (MediaFormatException e) {
                assertThat(e).hasMessageNotContaining(" in line ");
            }
        }
        MemoryChannel zeros = channel(new byte[50_000]);
        assertThatThrownBy(() -> MediaReader.open(zeros)).isInstanceOf(MediaFormatException.class);
        assertThat(zeros.open).as("a channel that was not taken over").isTrue();
    }

    @Test
    void filesThatCannotBeReadAreTheSystemsMatter(@TempDir Path directory) {
        assertThatThrownBy(() -> MediaReader.open(directory.resolve("none"))).isInstanceOf(NoSuchFileException.class);
        assertThatThrownBy(() -> MediaReader.open(directory)).isInstanceOf(IOException.class);
        assertThatThrownBy(() -> MediaReader.open((Path) null)).isInstanceOf(NullPointerException.class);
        assertThatThrownBy(() -> MediaReader.open((SeekableByteChannel) null)).isInstanceOf(NullPointerException.class);
    }

    @Test
    void aTruncatedFileEndsEarly() throws IOException {
        byte[] whole = Files.readAllBytes(TestMedia.stream("mpeg4_320x240.avi"));
        try (MediaReader reader = MediaReader.open(channel(Arrays.copyOf(whole, whole.length / 2)))) {
            assertThat(reader.packets().count()).isBetween(5L, 29L);
        }
    }

    @Test
    void whatTheChannelThrowsReachesTheCaller() throws IOException {
        byte[] bytes = Files.readAllBytes(TestMedia.film());
        IOException broken = new IOException("the disk is gone");
        IllegalStateException unchecked = new IllegalStateException("a bug of the channel");
        Throwable[] next = {null};
        MemoryChannel channel = new MemoryChannel(bytes) {
            @Override
            public int read(ByteBuffer to) throws IOException {
                if (next[0] instanceof IOException e) {
                    throw e;
                }
                if (next[0] instanceof RuntimeException e) {
                    throw e;
                }
                return super.read(to);
            }
        };
        for (Throwable failure : List.of(broken, unchecked)) {
            next[0] = null;
            try (MediaReader reader = MediaReader.open(channel)) {
                assertThat(reader.read()).isNotNull();
                next[0] = failure;
                assertThatThrownBy(() -> readAll(reader)).isSameAs(failure);
            }
            assertThatThrownBy(() -> MediaReader.open(channel)).isSameAs(failure);
        }
        next[0] = null;
        try (MediaReader reader = MediaReader.open(channel)) {
            next[0] = broken;
            assertThatThrownBy(() -> reader.packets().toList()).isInstanceOf(UncheckedIOException.class)
                    .hasCause(broken);
        }
    }

    private static void readAll(MediaReader reader) throws IOException {
        Packet packet;
        do {
            packet = reader.read();
        } while (packet != null);
    }

    @Test
    void aChannelThatCallsItsReaderBackIsStopped() throws IOException {
        MediaReader[] reader = new MediaReader[1];
        var channel = new MemoryChannel(Files.readAllBytes(TestMedia.film())) {
            @Override
            public int read(ByteBuffer to) throws IOException {
                if (reader[0] != null) {
                    reader[0].read();
                }
                return super.read(to);
            }
        };
        reader[0] = MediaReader.open(channel);
        assertThatThrownBy(() -> readAll(reader[0])).isInstanceOf(MediaStateException.class);
        reader[0].close();
    }

    @Test
    void aClosedReaderRefusesEverythingButItsDescription() throws IOException {
        MediaReader reader = MediaReader.open(TestMedia.film());
        Packet packet = reader.read();
        reader.close();
        reader.close();
        assertThatThrownBy(reader::read).isInstanceOf(MediaStateException.class);
        assertThatThrownBy(() -> reader.seek(Duration.ZERO)).isInstanceOf(MediaStateException.class);
        assertThat(reader.streams()).hasSize(2);
        assertThat(packet.data().isReadOnly()).isTrue();
    }

    @Test
    void aChannelClosedUnderneathIsAnIoFailure() throws IOException {
        SeekableByteChannel channel = Files.newByteChannel(TestMedia.film());
        try (MediaReader reader = MediaReader.open(channel)) {
            channel.close();
            assertThatThrownBy(() -> readAll(reader)).isInstanceOf(ClosedChannelException.class);
        }
    }

    @Test
    void packetsOfAParallelStreamAreTakenOneByOne() throws IOException {
        try (MediaReader reader = MediaReader.open(TestMedia.film()); MediaReader other = MediaReader.open(TestMedia.film())) {
            assertThat(reader.packets().parallel().limit(3).toList()).hasSize(3);
            assertThat(reader.read().data()).isEqualTo(other.packets().skip(3).findFirst().orElseThrow().data());
        }
    }

    @Test
    void aHostileTimeBaseTellsNoTimes() {
        long[] fields = new long[23];
        Arrays.fill(fields, 7, 11, Long.MAX_VALUE);
        fields[8] = 1;
        MediaStream stream = new MediaStream(0, fields, "none", new byte[0]);
        assertThat(stream.duration()).isEmpty();
        assertThat(stream.startTime()).isEmpty();
        assertThat(stream.time(1)).contains(Duration.ofSeconds(Long.MAX_VALUE));
        assertThat(stream.time(Packet.NO_TIME)).isEmpty();
    }
}
