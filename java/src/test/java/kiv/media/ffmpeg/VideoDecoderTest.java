package kiv.media.ffmpeg;

import static kiv.media.ffmpeg.Refusals.refused;
import static org.assertj.core.api.Assertions.assertThat;
import static org.assertj.core.api.Assertions.within;
import static org.assertj.core.api.Assumptions.assumeThat;

import com.sun.management.ThreadMXBean;
import java.awt.Color;
import java.awt.image.BufferedImage;
import java.io.IOException;
import java.lang.management.ManagementFactory;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.time.Duration;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.Collections;
import java.util.Iterator;
import java.util.List;
import java.util.Random;
import java.util.concurrent.atomic.AtomicInteger;
import java.util.concurrent.locks.LockSupport;
import java.util.stream.IntStream;
import java.util.stream.Stream;
import kiv.media.ffmpeg.TestMedia.Clip;
import kiv.media.ffmpeg.exactness.Reference;
import org.junit.jupiter.api.RepeatedTest;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.CsvSource;
import org.junit.jupiter.params.provider.MethodSource;

class VideoDecoderTest {

    /** Behind the wall orders take some more, and packets that are kept. */
    private static final int HEAP = Isolation.usual().equals(Isolation.none()) ? 1 : 4;

    @ParameterizedTest
    @MethodSource("kiv.media.ffmpeg.TestMedia#clips")
    void everyPictureIsThatOfFfmpegInItsOrder(Clip clip) throws IOException {
        List<String> pictures = new ArrayList<>();
        List<Long> times = new ArrayList<>();
        try (MediaReader reader = MediaReader.open(clip.file());
                VideoDecoder decoder = VideoDecoder.open(reader.firstVideo().orElseThrow())) {
            assertThat(reader.firstVideo().orElseThrow().isDecodable()).isTrue();
            decoder.pictures(reader).forEach(picture -> {
                pictures.add(picture.width() + "x" + picture.height() + " " + picture.format().name() + " "
                        + Reference.md5(picture.toBytes()));
                times.add(picture.timestamp());
                assertThat(picture.isKey() || pictures.size() > 1).as("first one").isTrue();
                picture.close();
            });
        }
        assertThat(pictures).isEqualTo(Reference.decode(clip.file()).pictures().stream()
                .map(picture -> picture.width() + "x" + picture.height() + " " + picture.format() + " " + picture.md5())
                .toList());
        assertThat(times).isSorted().doesNotHaveDuplicates().doesNotContain(Packet.NO_TIME);
    }

    /** The code of an encoder makes FFmpeg take that encoder's inverse transform. */
    @Test
    void theFourCharacterCodeOfTheContainerChoosesTheTransform(@TempDir Path directory) throws IOException {
        byte[] film = Files.readAllBytes(TestMedia.stream("mpeg4_320x240.avi"));
        String text = new String(film, StandardCharsets.ISO_8859_1);
        Path xvid = Files.writeString(directory.resolve("xvid.avi"), text.replace("DX50", "XVID"),
                StandardCharsets.ISO_8859_1);
        List<String> pictures = new ArrayList<>();
        try (MediaReader reader = MediaReader.open(xvid); VideoDecoder decoder = VideoDecoder.open(reader)) {
            for (Picture picture : decoder.each(reader)) {
                pictures.add(Reference.md5(picture.toBytes()));
            }
        }
        assertThat(pictures).isEqualTo(framesMd5(xvid)).isNotEqualTo(framesMd5(TestMedia.stream("mpeg4_320x240.avi")));
    }

    private static List<String> framesMd5(Path film) {
        List<String> command = new ArrayList<>(TestMedia.ffmpegProgram());
        command.addAll(List.of("-v", "error", "-i", film.toString(), "-f", "framemd5", "-"));
        return new String(Programs.output(command), StandardCharsets.US_ASCII).lines().filter(row -> !row.startsWith("#"))
                .map(row -> row.substring(row.lastIndexOf(' ') + 1)).toList();
    }

    /** A decoder of PNG would add a picture to the one before. */
    @Test
    void aKeyPacketNeedsNoOther() throws IOException {
        assumeThat(TestMedia.isNewer()).as("the genuine 2.8 reads no PNG").isTrue();
        try (MediaReader reader = MediaReader.open(TestMedia.stream("picture.png"));
                VideoDecoder decoder = VideoDecoder.open(reader)) {
            Packet packet = reader.read();
            List<String> pictures = new ArrayList<>();
            for (int i = 0; i < 3; i++) {
                try (Picture picture = decoder.decode(packet).get(0)) {
                    pictures.add(Reference.md5(picture.toBytes()));
                }
            }
            assertThat(pictures).containsOnly(pictures.get(0));
        }
    }

    @Test
    void theRealFilmBecomesImages() throws IOException {
        try (MediaReader reader = MediaReader.open(TestMedia.film()); VideoDecoder decoder = VideoDecoder.open(reader)) {
            List<Picture> pictures = decoder.pictures(reader).toList();
            for (int i : new int[] {0, 100, 254}) {
                Picture picture = pictures.get(i);
                BufferedImage image = picture.toBufferedImage();
                for (int at = 0; at < 720 * 576; at += 997) {
                    int x = at % 720;
                    int y = at / 720;
                    double luma = 1.164384 * (sample(picture, 0, x, y) - 16);
                    double blue = sample(picture, 1, x / 2, y / 2) - 128;
                    double red = sample(picture, 2, x / 2, y / 2) - 128;
                    double[] expected = {luma + 1.596027 * red, luma - 0.391762 * blue - 0.812968 * red, luma + 2.017232 * blue};
                    Color color = new Color(image.getRGB(x, y));
                    int[] actual = {color.getRed(), color.getGreen(), color.getBlue()};
                    for (int channel = 0; channel < 3; channel++) {
                        assertThat((double) actual[channel]).as("%d, %d of picture %d", x, y, i)
                                .isCloseTo(Math.min(255, Math.max(0, expected[channel])), within(3.0));
                    }
                }
            }
        }
    }

    private static int sample(Picture picture, int plane, int x, int y) {
        Plane of = picture.plane(plane);
        return of.bytes().get(y * of.lineSize() + x) & 0xFF;
    }

    @Test
    void conversionsBesideDecodingKeepTheOrderAndCloseEachPicture() throws IOException {
        Clip clip = TestMedia.clip("h264_baseline_320x240.mp4");
        List<Picture> seen = Collections.synchronizedList(new ArrayList<>());
        try (MediaReader reader = MediaReader.open(clip.file()); VideoDecoder decoder = VideoDecoder.open(reader);
                Stream<String> converted = decoder.pictures(reader, picture -> {
                    seen.add(picture);
                    LockSupport.parkNanos(picture.timestamp() % 3 * 1_000_000); // later ones are ready before
                    return Reference.md5(picture.toBytes());
                })) {
            assertThat(converted).isEqualTo(Reference.decode(clip.file()).pictures().stream().map(Reference.Picture::md5)
                    .toList());
        }
        assertThat(seen).hasSize(30).allSatisfy(picture -> refused(MediaStateException.class, "", picture::toBytes));
    }

    /** What a conversion throws comes in its place. After the close no conversion runs or begins. */
    @Test
    void aStreamOfConversionsEndsAtOnce() throws IOException {
        AtomicInteger begun = new AtomicInteger();
        AtomicInteger ended = new AtomicInteger();
        try (MediaReader reader = MediaReader.open(TestMedia.film()); VideoDecoder decoder = VideoDecoder.open(reader)) {
            try (Stream<Integer> converted = decoder.pictures(reader, picture -> {
                begun.incrementAndGet();
                int number = (int) (picture.timestamp() / 512);
                LockSupport.parkNanos(1_000_000);
                ended.incrementAndGet();
                if (number == 5) {
                    throw new IllegalArgumentException("the sixth");
                }
                return number == 6 ? null : number;
            })) {
                Iterator<Integer> numbers = converted.iterator();
                IntStream.range(0, 5).forEach(i -> assertThat(numbers.next()).isEqualTo(i));
                refused(IllegalArgumentException.class, "the sixth", numbers::next);
                refused(NullPointerException.class, "the conversion returned null", numbers::next);
            }
            int beforeClose = begun.get();
            assertThat(ended).hasValue(beforeClose).hasValueLessThan(40);
            assertThat(decoder.pictures(reader).peek(Picture::close).count()).isPositive();
            assertThat(begun).hasValue(beforeClose);
        }
    }

    @Test
    void aDamagedPacketIsToldAndDecodingGoesOn() throws IOException {
        Random random = new Random(11);
        try (MediaReader reader = MediaReader.open(TestMedia.stream("h264_baseline_320x240.mp4"));
                VideoDecoder decoder = VideoDecoder.open(reader.firstVideo().orElseThrow())) {
            int count = 0;
            byte[] noise = new byte[200];
            for (Packet packet; (packet = reader.read()) != null;) {
                count += decoder.decode(packet).size();
                random.nextBytes(noise);
                refused(DecodeException.class, "", () -> decoder.decode(Packet.of(noise, 0, 0, 0, false)));
                assertThat(decoder.decode(Packet.of(new byte[0], 0, 0, 0, false))).isEmpty();
            }
            assertThat(count + decoder.finish().size()).isEqualTo(30);
        }
    }

    /** Pictures, order and times are the same; only the delay is another one. Noise costs no picture of another packet. */
    @ParameterizedTest
    @MethodSource("kiv.media.ffmpeg.TestMedia#clips")
    void threadsChangeNothingButTheDelay(Clip clip) throws IOException {
        assertThat(pictures(clip, 3, false)).isEqualTo(pictures(clip, 1, false));
    }

    @ParameterizedTest
    @CsvSource({"1", "2", "5"})
    void noiseCostsThreadsNoPictureOfAnotherPacket(int threads) throws IOException {
        Clip clip = TestMedia.clip("h264_baseline_320x240.mp4");
        assertThat(pictures(clip, threads, true)).hasSize(30);
    }

    /** What no caller sees has no arrays of its own. */
    @Test
    void packetsOfPicturesTakeNoneOfTheHeap() throws IOException {
        ThreadMXBean heap = (ThreadMXBean) ManagementFactory.getThreadMXBean();
        long thread = Thread.currentThread().getId();
        try (MediaReader reader = MediaReader.open(TestMedia.film());
                VideoDecoder decoder = VideoDecoder.open(reader.firstVideo().orElseThrow(), 1)) {
            Iterator<Picture> pictures = decoder.pictures(reader).iterator();
            IntStream.range(0, 10).forEach(i -> pictures.next().close());
            long before = heap.getThreadAllocatedBytes(thread);
            IntStream.range(0, 100).forEach(i -> pictures.next().close());
            assertThat(heap.getThreadAllocatedBytes(thread) - before).isLessThan(HEAP * 100 * 2048L);
        }
    }

    /** Guards the cost of a call: arrays, lists or objects for each packet would show. */
    @Test
    void aPictureTakesFewBytesOfTheHeap() throws IOException {
        ThreadMXBean heap = (ThreadMXBean) ManagementFactory.getThreadMXBean();
        try (MediaReader reader = MediaReader.open(TestMedia.film());
                VideoDecoder decoder = VideoDecoder.open(reader.firstVideo().orElseThrow(), 1)) {
            List<Packet> packets = reader.packets().filter(decoder::accepts).limit(60).toList();
            long before = 0;
            for (int i = 0; i < packets.size(); i++) {
                before = i == 10 ? heap.getThreadAllocatedBytes(Thread.currentThread().getId()) : before;
                decoder.decode(packets.get(i)).forEach(Picture::close);
            }
            assertThat(heap.getThreadAllocatedBytes(Thread.currentThread().getId()) - before).isLessThan(HEAP * 50 * 512L);
        }
    }

    private static List<String> pictures(Clip clip, int threads, boolean noise) throws IOException {
        List<Picture> pictures = new ArrayList<>();
        byte[] bytes = new byte[200];
        try (MediaReader reader = MediaReader.open(clip.file());
                VideoDecoder decoder = VideoDecoder.open(reader.firstVideo().orElseThrow(), threads)) {
            for (Packet packet : reader.packets().filter(decoder::accepts).toList()) {
                Packet damaged = Packet.of(bytes, packet.streamIndex(), 0, 0, false);
                for (Packet next : noise ? List.of(packet, damaged) : List.of(packet)) {
                    new Random(bytes[0]).nextBytes(bytes);
                    try {
                        pictures.addAll(decoder.decode(next));
                    } catch (DecodeException e) {
                        assertThat(noise).isTrue();
                    }
                }
            }
            pictures.addAll(decoder.finish());
        }
        return pictures.stream().map(picture -> {
            try (picture) {
                return picture.timestamp() + " " + picture.duration() + " " + picture.isKey() + Reference.md5(picture.toBytes());
            }
        }).toList();
    }

    /** What a decoder does not consume of a packet is padding or damage, never one more picture. */
    @ParameterizedTest
    @CsvSource({"wmv2_320x240.asf, 30", "msmpeg4v3_320x240.avi, 30", "mpeg4_b_320x240.mp4, 30", "h264_b_320x240.mp4, 60"})
    void oneCallUsesAPacketUp(String name, int pictures) throws IOException {
        Random random = new Random(3);
        try (MediaReader reader = MediaReader.open(TestMedia.stream(name));
                VideoDecoder decoder = VideoDecoder.open(reader.firstVideo().orElseThrow());
                VideoDecoder victim = VideoDecoder.open(decoder.format())) {
            int count = 0;
            for (Packet packet : reader.packets().filter(decoder::accepts).toList()) {
                byte[] padded = Arrays.copyOf(packet.bytes(), packet.size() + 40);
                count += decoder.decode(Packet.of(padded, packet.streamIndex(), 0, 0, packet.isKey())).size();
                for (int i = 0; i < packet.size() / 200; i++) {
                    padded[random.nextInt(packet.size())] ^= (byte) (1 << random.nextInt(8));
                }
                try {
                    assertThat(victim.decode(Packet.of(padded, 0, 0, 0, false))).hasSizeLessThan(2);
                } catch (DecodeException e) {
                    // Without a picture.
                }
            }
            assertThat(count + decoder.finish().size()).isEqualTo(pictures);
        }
    }

    @Test
    void afterASeekAndAResetTheFilmBeginsAgain() throws IOException {
        try (MediaReader reader = MediaReader.open(TestMedia.film());
                VideoDecoder decoder = VideoDecoder.open(reader.firstVideo().orElseThrow())) {
            Picture first = decoder.pictures(reader).findFirst().orElseThrow();
            decoder.pictures(reader).limit(10).forEach(Picture::close);
            refused(IllegalArgumentException.class, "not of the decoder's stream",
                    () -> decoder.decode(Packet.of(new byte[1], 1, 0, 0, true)));
            reader.seek(Duration.ZERO);
            decoder.reset();
            Picture again = decoder.pictures(reader).findFirst().orElseThrow();
            assertThat(again.timestamp()).isEqualTo(first.timestamp());
            assertThat(again.toBytes()).isEqualTo(first.toBytes());
        }
    }

    @Test
    void aStreamWithoutTimesCountsFromItsBeginning() throws IOException {
        try (MediaReader reader = MediaReader.open(TestMedia.stream("h264_320x240.h264"));
                VideoDecoder decoder = VideoDecoder.open(reader.firstVideo().orElseThrow())) {
            assertThat(decoder.pictures(reader).limit(2).map(picture -> picture.time().orElseThrow().toMillis()))
                    .containsExactly(0L, 40L);
            decoder.reset();
            assertThat(decoder.pictures(reader).findFirst().orElseThrow().time()).as("after a jump").isEmpty();
        }
    }

    @Test
    void aDecoderMayDeliverMemoryOfItsOwn() throws IOException {
        try (MediaReader reader = MediaReader.open(TestMedia.stream("raw.avi"));
                VideoDecoder decoder = VideoDecoder.open(reader.firstVideo().orElseThrow())) {
            assertThat(decoder.pictures(reader).map(picture -> picture.toBytes().length)).containsExactly(57600, 57600, 57600);
        }
    }

    /**
     * Memory for grey pictures has room for a palette, which a decoder need not know. Several, for not every place fails.
     * That they use all values is said by their container, which older FFmpegs do not read.
     */
    @RepeatedTest(10)
    void greyPicturesAreConverted() throws IOException {
        try (MediaReader reader = MediaReader.open(TestMedia.stream("ffv1_gray.mkv"));
                VideoDecoder decoder = VideoDecoder.open(reader.firstVideo().orElseThrow())) {
            assertThat(decoder.pictures(reader).map(picture -> picture.isFullRange() + " " + picture.toArgb().length))
                    .containsOnly(TestMedia.isNewer() + " " + 97 * 63);
        }
    }

    @Test
    void whatCannotBeDecodedIsToldAtOnce() throws IOException {
        try (MediaReader reader = MediaReader.open(TestMedia.stream("snow_mp3.avi"))) {
            MediaStream video = reader.firstVideo().orElseThrow();
            refused(UnsupportedCodecException.class, "snow (SNOW); this FFmpeg could", () -> VideoDecoder.open(video));
            refused(IllegalArgumentException.class, "", () -> AudioDecoder.open(video));
        }
        Rational unknown = new Rational(0, 0);
        VideoFormat foreign = VideoFormat.of("00000000-0000-0000-0000-000000000000", 320, 240, 0, new byte[0], unknown);
        refused(UnsupportedCodecException.class, "", () -> VideoDecoder.open(foreign));
        refused(IllegalArgumentException.class, "",
                () -> VideoFormat.of(MediaSubtypes.H264_AVC1, 320, 1 << 20, 0, new byte[0], unknown));
    }

    @Test
    void aStreamOfPicturesTakesNoMoreThanItGivesAndNothingForAStrangersDecoder() throws IOException {
        try (MediaReader reader = MediaReader.open(TestMedia.film()); MediaReader other = MediaReader.open(TestMedia.film());
                VideoDecoder decoder = VideoDecoder.open(reader); VideoDecoder stranger = VideoDecoder.open(other);
                VideoDecoder homeless = VideoDecoder.open(decoder.format())) {
            refused(IllegalArgumentException.class, "not a stream of this reader", () -> stranger.pictures(reader));
            refused(IllegalArgumentException.class, "without a stream", () -> homeless.pictures(reader));
            List<Long> times = stranger.pictures(other).limit(4).map(Picture::timestamp).toList();
            assertThat(decoder.pictures(reader).parallel().limit(3).map(Picture::timestamp))
                    .containsExactlyElementsOf(times.subList(0, 3));
            assertThat(decoder.each(reader).iterator().next().timestamp()).isEqualTo(times.get(3));
        }
        try (MediaReader reader = MediaReader.open(TestMedia.stream("mp3.mp3"))) {
            refused(MediaFormatException.class, "no pictures", () -> VideoDecoder.open(reader));
        }
    }
}
