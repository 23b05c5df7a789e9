package kiv.media.ffmpeg;

import static org.assertj.core.api.Assertions.assertThat;
import static org.assertj.core.api.Assertions.assertThatThrownBy;
import static org.assertj.core.api.Assertions.offset;

import java.io.IOException;
import java.nio.file.Path;
import java.time.Duration;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import java.util.Random;
import java.util.concurrent.Callable;
import java.util.concurrent.ExecutorService;
import java.util.concurrent.Executors;
import java.util.concurrent.Future;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.MethodSource;

class VideoDecoderTest {

    private static List<Picture> decode(Path file) throws IOException {
        try (MediaReader reader = MediaReader.open(file);
                VideoDecoder decoder = VideoDecoder.open(reader.firstVideo().orElseThrow())) {
            return decoder.pictures(reader).toList();
        }
    }

    @ParameterizedTest
    @MethodSource("kiv.media.ffmpeg.TestMedia#streams")
    void everyStreamGivesAllItsPicturesInOrder(TestMedia.Stream stream) throws IOException {
        List<Picture> pictures = decode(stream.path());
        assertThat(pictures).hasSize(stream.frames());
        assertThat(pictures.get(0).format().name()).isEqualTo(stream.format());
        if (!stream.is("sizechange") && !stream.cutsTheLeftEdge()) {
            assertThat(pictures).allMatch(p -> p.width() == stream.width() && p.height() == stream.height());
        }
        long last = Packet.NO_TIME;
        for (Picture picture : pictures) {
            if (picture.timestamp() != Packet.NO_TIME) {
                assertThat(picture.timestamp()).isGreaterThan(last);
                last = picture.timestamp();
            }
        }
        assertThat(pictures.get(0).isKey()).isTrue();
    }

    @Test
    void theRealFilmBecomesImages() throws IOException {
        List<Picture> pictures = decode(TestMedia.film());
        assertThat(pictures).hasSize(255);
        assertThat(pictures.get(0).time()).isPresent();
        for (int i : new int[] {0, 100, 254}) {
            assertThat(meanGreen(pictures.get(i))).isCloseTo(meanGreenOfYuv(pictures.get(i)), offset(3.0));
        }
    }

    private static double meanGreen(Picture picture) {
        return Arrays.stream(picture.toBufferedImage().getRGB(0, 0, picture.width(), picture.height(), null, 0,
                picture.width())).map(pixel -> pixel >> 8 & 0xFF).average().orElseThrow();
    }

    /** Green is what all three planes take part in, so exchanged planes would show. */
    private static double meanGreenOfYuv(Picture picture) {
        double y = mean(picture.plane(0));
        double u = mean(picture.plane(1));
        double v = mean(picture.plane(2));
        return 1.164 * (y - 16) - 0.391 * (u - 128) - 0.813 * (v - 128);
    }

    private static double mean(Plane plane) {
        long sum = 0;
        byte[] packed = plane.packed();
        for (byte sample : packed) {
            sum += sample & 0xFF;
        }
        return (double) sum / packed.length;
    }

    @Test
    void decodersWorkSideBySide() throws Exception {
        Path first = TestMedia.stream("h264_b_320x240.mp4");
        Path second = TestMedia.stream("mpeg1_b_321x241.mpg");
        List<byte[]> expectedFirst = luma(decode(first));
        List<byte[]> expectedSecond = luma(decode(second));
        // In one thread, packet by packet: the context remembers only the newer decoder.
        try (MediaReader a = MediaReader.open(first);
                MediaReader b = MediaReader.open(second);
                VideoDecoder decoderA = VideoDecoder.open(a.firstVideo().orElseThrow());
                VideoDecoder decoderB = VideoDecoder.open(b.firstVideo().orElseThrow())) {
            List<Picture> picturesA = new ArrayList<>();
            List<Picture> picturesB = new ArrayList<>();
            Packet packetA;
            Packet packetB;
            do {
                packetA = a.read();
                packetB = b.read();
                if (packetA != null && decoderA.accepts(packetA)) {
                    picturesA.addAll(decoderA.decode(packetA));
                }
                if (packetB != null && decoderB.accepts(packetB)) {
                    picturesB.addAll(decoderB.decode(packetB));
                }
            } while (packetA != null || packetB != null);
            picturesA.addAll(decoderA.finish());
            picturesB.addAll(decoderB.finish());
            assertThat(luma(picturesA)).containsExactlyElementsOf(expectedFirst);
            assertThat(luma(picturesB)).containsExactlyElementsOf(expectedSecond);
        }
        ExecutorService threads = Executors.newFixedThreadPool(2);
        try {
            List<Callable<List<byte[]>>> calls = List.of(() -> luma(decode(first)),
                    () -> luma(decode(second)));
            List<Future<List<byte[]>>> results = threads.invokeAll(calls);
            assertThat(results.get(0).get()).containsExactlyElementsOf(expectedFirst);
            assertThat(results.get(1).get()).containsExactlyElementsOf(expectedSecond);
        } finally {
            threads.shutdownNow();
        }
    }

    private static List<byte[]> luma(List<Picture> pictures) {
        return pictures.stream().map(picture -> picture.plane(0).packed()).toList();
    }

    @Test
    void aDamagedPacketIsToldAndDecodingGoesOn() throws IOException {
        Random random = new Random(11);
        try (MediaReader reader = MediaReader.open(TestMedia.stream("h264_baseline_320x240.mp4"));
                VideoDecoder decoder = VideoDecoder.open(reader.firstVideo().orElseThrow())) {
            int count = 0;
            int refused = 0;
            for (Packet packet; (packet = reader.read()) != null;) {
                count += decoder.decode(packet).size();
                byte[] noise = new byte[200];
                random.nextBytes(noise);
                try {
                    decoder.decode(Packet.of(noise, packet.streamIndex(), 0, 0, false));
                } catch (DecodeException e) {
                    refused++;
                }
                assertThat(decoder.decode(Packet.of(new byte[0], packet.streamIndex(), 0, 0, false))).isEmpty();
            }
            assertThat(count + decoder.finish().size()).isEqualTo(30);
            assertThat(refused).isPositive();
        }
    }

    @Test
    void afterASeekAndAResetTheFilmBeginsAgain() throws IOException {
        try (MediaReader reader = MediaReader.open(TestMedia.film());
                VideoDecoder decoder = VideoDecoder.open(reader.firstVideo().orElseThrow())) {
            Picture first = firstPicture(reader, decoder);
            for (int i = 0; i < 10; i++) {
                firstPicture(reader, decoder);
            }
            reader.seek(Duration.ZERO);
            decoder.reset();
            Picture again = firstPicture(reader, decoder);
            assertThat(again.timestamp()).isEqualTo(first.timestamp());
            assertThat(again.plane(0).packed()).isEqualTo(first.plane(0).packed());
        }
    }

    private static Picture firstPicture(MediaReader reader, VideoDecoder decoder) {
        return reader.packets().filter(decoder::accepts).flatMap(packet -> decoder.decode(packet).stream()).findFirst()
                .orElseThrow();
    }

    @Test
    void misuseIsToldAndHarmsNothing() throws IOException {
        try (MediaReader reader = MediaReader.open(TestMedia.film())) {
            MediaStream video = reader.firstVideo().orElseThrow();
            MediaStream sound = reader.streams().get(1);
            assertThatThrownBy(() -> VideoDecoder.open(sound)).isInstanceOf(IllegalArgumentException.class);
            assertThatThrownBy(() -> VideoDecoder.open((MediaStream) null)).isInstanceOf(NullPointerException.class);
            VideoDecoder decoder = VideoDecoder.open(video);
            assertThatThrownBy(() -> decoder.decode(null)).isInstanceOf(NullPointerException.class);
            assertThatThrownBy(() -> decoder.decode(Packet.of(new byte[1], 1, 0, 0, true)))
                    .isInstanceOf(IllegalArgumentException.class);
            Packet packet = reader.read();
            decoder.close();
            decoder.close();
            assertThatThrownBy(() -> decoder.decode(Packet.of(new byte[1], video.index(), 0, 0, true)))
                    .isInstanceOf(MediaStateException.class);
            assertThatThrownBy(decoder::reset).isInstanceOf(MediaStateException.class);
            assertThat(packet).isNotNull();
        }
    }

    @Test
    void whatCannotBeDecodedIsToldAtOnce() throws IOException {
        for (String name : new String[] {"balle1-vp9.avi", "Effet_force_magnetique.ogv"}) {
            try (MediaReader reader = MediaReader.open(TestMedia.media(name))) {
                assertThatThrownBy(() -> VideoDecoder.open(reader.firstVideo().orElseThrow()))
                        .isInstanceOf(UnsupportedCodecException.class)
                        .hasMessageContaining(reader.firstVideo().orElseThrow().codecName());
            }
        }
        Rational unknown = new Rational(0, 0);
        byte[] none = {};
        VideoFormat foreign = VideoFormat.of("00000000-0000-0000-0000-000000000000", 320, 240, 0, none, unknown);
        assertThatThrownBy(() -> VideoDecoder.open(foreign))
                .isInstanceOf(UnsupportedCodecException.class);
        assertThatThrownBy(() -> VideoFormat.of(MediaSubtypes.H264_AVC1, 0, 240, 0, none, unknown))
                .isInstanceOf(IllegalArgumentException.class);
        assertThatThrownBy(() -> VideoFormat.of(MediaSubtypes.H264_AVC1, 320, 1 << 20, 0, none, unknown))
                .isInstanceOf(IllegalArgumentException.class);
    }

    @Test
    void aStreamOfPicturesTakesNoMoreThanItGivesAndNothingForAStrangersDecoder() throws IOException {
        List<Picture> all = decode(TestMedia.film());
        try (MediaReader reader = MediaReader.open(TestMedia.film()); MediaReader other = MediaReader.open(TestMedia.film());
                VideoDecoder decoder = VideoDecoder.open(reader.firstVideo().orElseThrow());
                VideoDecoder stranger = VideoDecoder.open(other.firstVideo().orElseThrow());
                VideoDecoder homeless = VideoDecoder.open(decoder.format())) {
            assertThatThrownBy(() -> stranger.pictures(reader)).isInstanceOf(IllegalArgumentException.class)
                    .hasMessageContaining("not a stream of this reader");
            assertThatThrownBy(() -> homeless.pictures(reader)).isInstanceOf(IllegalArgumentException.class)
                    .hasMessageContaining("without a stream");
            assertThat(decoder.pictures(reader).parallel().limit(3).map(Picture::timestamp))
                    .containsExactlyElementsOf(all.stream().limit(3).map(Picture::timestamp).toList());
            assertThat(decoder.pictures(reader).findFirst().orElseThrow().timestamp()).isEqualTo(all.get(3).timestamp());
        }
    }
}
