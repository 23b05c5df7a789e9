package kiv.media.ffmpeg;

import static kiv.media.ffmpeg.Refusals.refused;
import static org.assertj.core.api.Assertions.assertThat;

import java.io.ByteArrayInputStream;
import java.io.ByteArrayOutputStream;
import java.io.IOException;
import java.math.BigInteger;
import java.nio.ByteBuffer;
import java.nio.ByteOrder;
import java.nio.ShortBuffer;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.time.Duration;
import java.util.Arrays;
import java.util.List;
import java.util.Map;
import java.util.NavigableMap;
import java.util.Random;
import java.util.TreeMap;
import java.util.zip.CRC32C;
import javax.sound.sampled.AudioInputStream;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.CsvSource;
import org.junit.jupiter.params.provider.ValueSource;

class SoundTest {

    /** Codecs whose decoders remember nothing, some packets, or everything; damage, and times that are rounded. */
    @ParameterizedTest
    @ValueSource(strings = {"pcm_s16.wav", "mp3_vbr.mp3", "aac.m4a", "opus.opus", "opus_5.1.mkv", "vorbis.ogg", "wma2.asf",
        "adpcm_ima_qt.mov", "g722.wav", "h264_aac.flv", "mpeg2_ac3.ts", "flac.ogg", "amr_nb.amr"})
    void everyPartIsThatOfTheWhole(String name) throws IOException {
        Path file = TestMedia.stream(name);
        byte[] whole = MediaAudioTest.decoded(file);
        try (Sound sound = Sound.open(file)) {
            int size = sound.format().blockAlign();
            int length = whole.length / size;
            Random random = new Random(13);
            for (int i = 0; i < 25; i++) {
                int from = random.nextInt(length);
                int to = Math.min(length, from + random.nextInt(3000));
                Duration time = sound.timeOf(from);
                AudioBlock part = sound.samples(from, to);
                assertThat(part.pcm()).isEqualTo(Arrays.copyOfRange(whole, from * size, to * size));
                assertThat(part.time()).hasValue(time);
                assertThat(sound.timeOf(sound.numberAt(time))).isEqualTo(time);
            }
            assertThat(sound.length()).isEqualTo(length);
            assertThat(sound.samples(length - 5, Long.MAX_VALUE).frames()).isEqualTo(5);
            assertThat(sound.samples(Duration.ofSeconds(-9), Duration.ofDays(9)).pcm()).isEqualTo(whole);
            refused(IndexOutOfBoundsException.class, "no sample", () -> sound.timeOf(length));
        }
    }

    /** At once, or a quarter of a second later, but for the decoder's own dither or noise. */
    @ParameterizedTest
    @CsvSource({"pcm_s16.wav,0,0", "flac.ogg,0,0", "alac_16.m4a,0,0", "vorbis.ogg,0,0", "vorbis.webm,0,0", "wma2.asf,250,0",
        "adpcm_ima_stereo.wav,0,0", "mp3_vbr.mp3,250,1", "mp2.mp2,250,1", "opus.opus,250,8", "opus_mono.webm,250,8",
        "ac3.ac3,250,8000", "aac.m4a,250,8000"})
    void afterASeekSoundIsThatOfTheWhole(String name, long millis, int most) throws IOException {
        try (MediaReader reader = MediaReader.open(TestMedia.stream(name));
                AudioDecoder decoder = AudioDecoder.open(reader.firstAudio().orElseThrow())) {
            MediaStream stream = reader.firstAudio().orElseThrow();
            NavigableMap<Long, Integer> places = new TreeMap<>();
            ByteArrayOutputStream bytes = new ByteArrayOutputStream();
            decoder.blocks(reader).forEach(block -> {
                places.put(block.timestamp(), bytes.size() / Short.BYTES);
                bytes.writeBytes(block.pcm());
            });
            ShortBuffer whole = ByteBuffer.wrap(bytes.toByteArray()).order(ByteOrder.LITTLE_ENDIAN).asShortBuffer();
            Random random = new Random(6);
            for (int i = 0; i < 20; i++) {
                long time = i == 0 ? -stream.units(Duration.ofSeconds(1)) : random.nextLong(places.lastKey());
                reader.seek(stream, time);
                decoder.reset();
                List<AudioBlock> blocks = decoder.blocks(reader).toList();
                long first = blocks.get(0).timestamp();
                assertThat(first).isLessThanOrEqualTo(Math.max(0, time) + stream.units(Duration.ofMillis(400)));
                for (AudioBlock block : blocks) {
                    Map.Entry<Long, Integer> place = places.floorEntry(block.timestamp());
                    int at = place.getValue() + (int) (block.timestamp() - place.getKey()) * block.channels();
                    int difference = 0;
                    for (ShortBuffer samples = block.samples(); samples.hasRemaining(); at++) {
                        difference = Math.max(difference, Math.abs(whole.get(at) - samples.get()));
                    }
                    assertThat(difference).as("%s at %d", name, block.timestamp()).isLessThanOrEqualTo(
                            block.timestamp() < first + stream.units(Duration.ofMillis(millis)) ? Integer.MAX_VALUE : most);
                }
            }
        }
    }

    /** Where the decoder forgets. */
    @Test
    void aPartCostsLittleMoreThanItself() throws IOException {
        try (Sound sound = Sound.open(TestMedia.stream("flac.flac"))) {
            long length = sound.length();
            long before = sound.decodedPackets();
            sound.samples(length - 20_000, length - 19_999);
            assertThat(sound.decodedPackets() - before).isBetween(1L, 3L);
        }
    }

    @Test
    void whatWasLearnedServesAgain() throws IOException {
        Path file = TestMedia.stream("flac.flac");
        ByteArrayOutputStream saved = new ByteArrayOutputStream();
        AudioBlock part;
        try (Sound sound = Sound.open(file)) {
            sound.saveIndex(saved);
            part = sound.samples(20_000, 20_500);
        }
        Path other = Files.createTempFile("sound", ".flac");
        byte[] bytes = Files.readAllBytes(file);
        bytes[bytes.length - 300] ^= 1;
        Files.write(other, bytes);
        try (Sound sound = Sound.open(file); Sound changed = Sound.open(other);
                Sound wider = Sound.open(file, SampleFormat.FLOAT)) {
            sound.loadIndex(new ByteArrayInputStream(saved.toByteArray()));
            assertThat(sound.samples(20_000, 20_500).pcm()).isEqualTo(part.pcm());
            assertThat(sound.decodedPackets()).isLessThan(5);
            for (Sound wrong : List.of(changed, wider)) {
                refused(MediaFormatException.class, "another sound",
                        () -> wrong.loadIndex(new ByteArrayInputStream(saved.toByteArray())));
                assertThat(wrong.samples(20_000, 20_500).frames()).isEqualTo(500);
            }
            // Whoever computes the checksum anew may write anything.
            Random random = new Random(1);
            for (int i = 0; i < 300; i++) {
                byte[] damaged = saved.toByteArray();
                ByteBuffer all = ByteBuffer.wrap(damaged);
                all.putInt(64 + random.nextInt(damaged.length - 76), random.nextInt() >> random.nextInt(32));
                CRC32C crc = new CRC32C();
                crc.update(damaged, 0, damaged.length - Long.BYTES);
                all.putLong(damaged.length - Long.BYTES, i % 2 == 0 ? crc.getValue() : 0);
                try {
                    sound.loadIndex(new ByteArrayInputStream(damaged));
                    sound.samples(random.nextInt(30_000), 30_000);
                    sound.numberAt(Duration.ofSeconds(1));
                } catch (MediaFormatException e) {
                    assertThat(e.getMessage()).containsAnyOf("index", "changed", "another");
                }
            }
        }
        Files.delete(other);
    }

    @ParameterizedTest
    @ValueSource(strings = {"mp3.mp3", "mp3_vbr.mp3", "mp3_mono.mp3", "opus.opus", "vorbis.ogg", "flac.flac"})
    void readForwardOnlyItIsAsLong(String name) throws IOException {
        Path file = TestMedia.stream(name);
        try (MediaReader reader = MediaReader.open(Files.newInputStream(file));
                AudioInputStream sound = MediaAudio.open(reader, reader.firstAudio().orElseThrow())) {
            assertThat(sound.readAllBytes()).isEqualTo(MediaAudioTest.decoded(file));
        }
    }

    /** An encoder that the decoder knows, and a container that says more than the decoder does. */
    @Test
    void aContainersWordReplacesThatOfTheDecoder() throws IOException {
        try (MediaReader reader = MediaReader.open(TestMedia.stream("aac.m4a"));
                AudioDecoder decoder = AudioDecoder.open(reader.firstAudio().orElseThrow())) {
            byte[] frame = reader.read().bytes();
            // A fill element with the name, before the others
            byte[] name = "libfaac 1.28".getBytes(StandardCharsets.US_ASCII);
            byte[] bits = BigInteger.valueOf(0b110_1111_00000001).shiftLeft(17 + 8 * name.length).or(new BigInteger(1, name))
                    .shiftLeft(7 + 8 * frame.length).or(new BigInteger(1, frame)).shiftLeft(1).toByteArray();
            Packet first = Packet.of(Arrays.copyOfRange(bits, 1, bits.length), 0, 0, 0, true);
            assertThat(decoder.decode(first.trimmed(new SampleTrim(2112, 0, false)))).isEmpty();
            assertThat(decoder.decode(reader.read())).isEmpty();
            assertThat(decoder.decode(reader.read()).get(0).frames()).isEqualTo(3 * 1024 - 2112);
        }
    }

    @Test
    void anyStreamCanBeChosen() throws IOException {
        Path file = TestMedia.stream("mpeg2_ac3.ts");
        try (Sound first = Sound.open(file); Sound same = Sound.open(file, first.stream().index(), SampleFormat.PCM_16)) {
            assertThat(same.samples(0, 5000).pcm()).isEqualTo(first.samples(0, 5000).pcm());
        }
        refused(IllegalArgumentException.class, "not an audio stream", () -> Sound.open(file, 0, SampleFormat.PCM_16));
        refused(IndexOutOfBoundsException.class, "", () -> Sound.open(file, 9, SampleFormat.PCM_16),
                () -> Sound.open(file, -1, SampleFormat.PCM_16));
    }

    @Test
    void wrongUseIsRefused() throws IOException {
        refused(MediaFormatException.class, "no sound", () -> Sound.open(TestMedia.stream("mpeg4_320x240.avi")));
        Path copy = Files.createTempFile("sound", ".mp3");
        byte[] bytes = Files.readAllBytes(TestMedia.stream("mp3_vbr.mp3"));
        Files.write(copy, bytes);
        Sound sound = Sound.open(copy, SampleFormat.FLOAT);
        refused(IllegalArgumentException.class, "", () -> sound.samples(-1, 5), () -> sound.samples(5, 4),
                () -> sound.samples(Duration.ofSeconds(2), Duration.ofSeconds(1)));
        assertThat(sound.length()).isEqualTo(88_200);
        Arrays.fill(bytes, 3000, 9000, (byte) 0);
        Files.write(copy, bytes);
        refused(MediaFormatException.class, "changed", () -> sound.samples(4000, 5000));
        sound.close();
        sound.close();
        refused(MediaStateException.class, "closed", sound::length);
        Files.delete(copy);
    }
}
