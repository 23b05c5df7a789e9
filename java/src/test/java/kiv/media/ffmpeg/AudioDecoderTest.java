package kiv.media.ffmpeg;

import static org.assertj.core.api.Assertions.assertThat;
import static org.assertj.core.api.Assertions.assertThatThrownBy;

import java.io.ByteArrayOutputStream;
import java.io.IOException;
import java.nio.ByteBuffer;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.time.Duration;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import java.util.Random;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.CsvSource;

class AudioDecoderTest {

    private static final int WAV_HEADER = 44;

    private static List<Packet> packets(AudioCodec codec, int rate, byte[] pcm) {
        try (AudioEncoder encoder = AudioEncoder.open(codec, rate, 1)) {
            return Sounds.encode(encoder, pcm);
        }
    }

    private static AudioDecoder decoderOf(AudioCodec codec, int rate) {
        try (AudioEncoder encoder = AudioEncoder.open(codec, rate, 1)) {
            return AudioDecoder.open(encoder.format());
        }
    }

    @ParameterizedTest
    @CsvSource({"pcm_s16.wav, 44100", "mp3.mp3, 46080", "aac.m4a, 46080", "aac.aac, 46080", "ac3.ac3, 44544",
        "wma2.asf, 45056", "h264_aac.mp4, 46080", "mpeg1_mp2.mpg, 44928", "mpeg4_mp3.avi, 46080"})
    void everyStreamGivesItsSoundWithoutAGap(String file, int frames) throws IOException {
        List<AudioBlock> blocks = new ArrayList<>();
        try (MediaReader reader = MediaReader.open(TestMedia.stream(file));
                AudioDecoder decoder = AudioDecoder.open(reader.firstAudio().orElseThrow())) {
            reader.packets().filter(decoder::accepts).forEach(packet -> blocks.addAll(decoder.decode(packet)));
            blocks.addAll(decoder.finish());
        }
        assertThat(blocks.stream().mapToInt(AudioBlock::frames).sum()).isEqualTo(frames);
        assertThat(blocks).allMatch(block -> block.sampleRate() == 44100 && block.channels() == 2);
        for (int i = 1; i < blocks.size(); i++) {
            Duration end = blocks.get(i - 1).time().orElseThrow().plus(blocks.get(i - 1).duration());
            assertThat(blocks.get(i).time().orElseThrow().minus(end).abs()).isLessThan(Duration.ofMillis(2));
        }
        if (file.endsWith(".wav")) {
            byte[] bytes = Files.readAllBytes(TestMedia.stream(file));
            byte[] pcm = Sounds.join(blocks);
            assertThat(pcm).isEqualTo(Arrays.copyOfRange(bytes, bytes.length - pcm.length, bytes.length));
            assertThat(bytes.length - pcm.length).isGreaterThanOrEqualTo(WAV_HEADER);
        }
    }

    /** The library keeps the last 31 bytes of a block, which is all of a packet or even two. */
    @Test
    void smallPacketsGiveTheirSoundAtOnce() {
        try (AudioEncoder encoder = AudioEncoder.open(AudioCodec.AMR_NB, 8000, 1, 4750);
                AudioDecoder decoder = AudioDecoder.open(encoder.format())) {
            for (Packet packet : Sounds.encode(encoder, Sounds.voice(8000, 1, 8000))) {
                assertThat(packet.size()).isLessThan(16);
                List<AudioBlock> blocks = decoder.decode(packet);
                assertThat(blocks).singleElement().extracting(AudioBlock::frames).isEqualTo(160);
                assertThat(blocks.get(0).timestamp()).isEqualTo(packet.presentationTime());
            }
        }
    }

    @Test
    void framesMayComeTogetherAndWithoutAContainer() {
        byte[] pcm = Sounds.voice(48000, 1, 400_000);
        List<Packet> packets = packets(AudioCodec.AC3, 48000, pcm);
        ByteArrayOutputStream joined = new ByteArrayOutputStream();
        packets.forEach(packet -> joined.writeBytes(packet.bytes()));
        try (AudioDecoder one = decoderOf(AudioCodec.AC3, 48000);
                AudioDecoder other = decoderOf(AudioCodec.AC3, 48000)) {
            byte[] expected = Sounds.decode(one, packets);
            List<AudioBlock> blocks = other.decode(ByteBuffer.wrap(joined.toByteArray()));
            assertThat(Sounds.join(blocks)).isEqualTo(expected);
            assertThat(other.decode(packets.get(0).bytes()).get(0).timestamp()).isEqualTo(expected.length / 2);
            // The room for the sound has to grow, and the damage behind it is told all the same.
            byte[] damaged = Arrays.copyOf(joined.toByteArray(), joined.size() + 100);
            other.reset();
            assertThatThrownBy(() -> other.decode(damaged)).isInstanceOf(DecodeException.class);
            assertThat(Sounds.join(other.finish())).isEqualTo(expected);
        }
    }

    @ParameterizedTest
    @CsvSource({"AC3, 48000", "MP3, 48000", "AAC, 48000", "ADPCM_MS, 48000", "WMA2, 48000", "AMR_NB, 8000"})
    void aDamagedPacketIsToldAndLosesNothingElse(AudioCodec codec, int rate) {
        List<Packet> packets = packets(codec, rate, Sounds.voice(rate, 1, rate / 2));
        Random random = new Random(7);
        int refused = 0;
        int frames = 0;
        try (AudioDecoder decoder = decoderOf(codec, rate)) {
            for (Packet packet : packets) {
                frames += decoder.decode(packet).stream().mapToInt(AudioBlock::frames).sum();
                byte[] noise = new byte[5 + random.nextInt(300)];
                random.nextBytes(noise);
                if (codec == AudioCodec.MP3) {
                    // What begins with no frame is taken for a tag.
                    noise[0] = noise[1] = -1;
                }
                try {
                    decoder.decode(Packet.of(noise, 0, 0, 0, true));
                } catch (DecodeException e) {
                    refused++;
                }
                assertThat(decoder.decode(new byte[0])).hasSizeLessThanOrEqualTo(2);
            }
        }
        assertThat(frames).isPositive();
        assertThat(refused).isPositive();
    }

    @Test
    void soundBeforeTheDamageIsGivenByTheNextCall() {
        List<Packet> packets = packets(AudioCodec.AC3, 48000, Sounds.voice(48000, 1, 9000));
        try (AudioDecoder decoder = decoderOf(AudioCodec.AC3, 48000);
                AudioDecoder undisturbed = decoderOf(AudioCodec.AC3, 48000)) {
            Packet first = packets.get(0);
            byte[] halfDamaged = Arrays.copyOf(first.bytes(), first.size() + 100);
            assertThatThrownBy(() -> decoder.decode(Packet.of(halfDamaged, 0, first.presentationTime(), 0, true)))
                    .isInstanceOf(DecodeException.class);
            List<AudioBlock> blocks = decoder.decode(packets.get(1));
            assertThat(Sounds.join(blocks)).isEqualTo(Sounds.decode(undisturbed, packets.subList(0, 2)));
            assertThat(blocks).extracting(AudioBlock::timestamp).containsExactly(-256L, 1280L);
        }
    }

    @Test
    void afterASeekAndAResetTheSoundBeginsAgain() throws IOException {
        try (MediaReader reader = MediaReader.open(TestMedia.film());
                AudioDecoder decoder = AudioDecoder.open(reader.firstAudio().orElseThrow())) {
            AudioBlock first = next(reader, decoder);
            for (int i = 0; i < 20; i++) {
                next(reader, decoder);
            }
            reader.seek(Duration.ZERO);
            decoder.reset();
            AudioBlock again = next(reader, decoder);
            assertThat(again.timestamp()).isEqualTo(first.timestamp());
            assertThat(again.data()).isEqualTo(first.data());
            assertThat(again.samples().remaining()).isEqualTo(again.frames() * 2);
        }
    }

    private static AudioBlock next(MediaReader reader, AudioDecoder decoder) {
        return reader.packets().filter(decoder::accepts).flatMap(packet -> decoder.decode(packet).stream()).findFirst()
                .orElseThrow();
    }

    /** Not every second value of a time's low word survives the native call. */
    @Test
    void timesAreExactOverTheWholeRange() {
        Packet packet = packets(AudioCodec.AC3, 48000, new byte[4000]).get(0);
        try (AudioDecoder decoder = decoderOf(AudioCodec.AC3, 48000)) {
            for (long time : new long[] {0, 0x80000000L, 0x123456789ABCDEFL, -1, Long.MIN_VALUE + 1, Long.MAX_VALUE}) {
                assertThat(decoder.decode(Packet.of(packet.bytes(), 0, time, Packet.NO_TIME, true)).get(0).timestamp())
                        .isEqualTo(time);
            }
            // Where a packet tells no time, counting goes on, but not beyond the end of time.
            assertThat(decoder.decode(packet.bytes()).get(0).timestamp()).isEqualTo(Long.MAX_VALUE);
        }
    }

    @Test
    void misuseIsToldAndHarmsNothing() throws IOException {
        try (MediaReader reader = MediaReader.open(TestMedia.film())) {
            MediaStream video = reader.firstVideo().orElseThrow();
            assertThatThrownBy(() -> AudioDecoder.open(video)).isInstanceOf(IllegalArgumentException.class);
            assertThatThrownBy(() -> AudioDecoder.open((WaveFormat) null)).isInstanceOf(NullPointerException.class);
            AudioDecoder decoder = AudioDecoder.open(reader.firstAudio().orElseThrow());
            assertThatThrownBy(() -> decoder.decode((Packet) null)).isInstanceOf(NullPointerException.class);
            assertThatThrownBy(() -> decoder.decode((byte[]) null)).isInstanceOf(NullPointerException.class);
            assertThatThrownBy(() -> decoder.decode(Packet.of(new byte[1], video.index(), 0, 0, true)))
                    .isInstanceOf(IllegalArgumentException.class);
            assertThat(decoder.finish()).isEmpty();
            assertThat(decoder.finish()).isEmpty();
            decoder.close();
            decoder.close();
            assertThatThrownBy(() -> decoder.decode(new byte[1])).isInstanceOf(MediaStateException.class);
            assertThatThrownBy(decoder::finish).isInstanceOf(MediaStateException.class);
            assertThatThrownBy(decoder::reset).isInstanceOf(MediaStateException.class);
        }
        for (int tag : new int[] {4, 0x75, 0x161}) {
            WaveFormat format = WaveFormat.of(tag, 2, 44100, 0, 0, 0, new byte[0]);
            assertThatThrownBy(() -> AudioDecoder.open(format)).isInstanceOf(UnsupportedCodecException.class)
                    .hasMessageContaining(format.toString());
        }
    }

    @Test
    void soundOfAReaderIsForTheDecoderOfItsStream() throws IOException {
        try (MediaReader reader = MediaReader.open(TestMedia.film()); MediaReader other = MediaReader.open(TestMedia.film());
                AudioDecoder stranger = AudioDecoder.open(other.firstAudio().orElseThrow());
                AudioDecoder homeless = AudioDecoder.open(stranger.format())) {
            for (AudioDecoder decoder : List.of(stranger, homeless)) {
                assertThatThrownBy(() -> decoder.sound(reader)).isInstanceOf(IllegalArgumentException.class)
                        .hasMessageContaining("stream");
            }
        }
    }

    /** Readers give such ends as packets of their own. */
    @ParameterizedTest
    @CsvSource({"APETAGEX, 192, 0", "LYRICSBEGIN, 100, 0", "'', 3000, 0", "APETAGEX, 300, 100", "'', 0, 415"})
    void whatFollowsTheLastFrameOfAnMp3IsNoDamage(String tag, int zeros, int cut) throws IOException {
        byte[] song = Files.readAllBytes(TestMedia.stream("mp3.mp3"));
        ByteArrayOutputStream bytes = new ByteArrayOutputStream();
        bytes.write(song, 0, song.length - cut);
        bytes.writeBytes(tag.getBytes(StandardCharsets.ISO_8859_1));
        bytes.writeBytes(new byte[zeros]);
        int frames = cut == 415 ? 44928 : 46080;
        try (MediaReader reader = MediaReader.open(new MemoryChannel(bytes.toByteArray()));
                AudioDecoder decoder = AudioDecoder.open(reader.firstAudio().orElseThrow())) {
            assertThat(Sounds.decode(decoder, reader.packets().toList())).hasSize(frames * 4);
        }
    }

    @Test
    void blocksOfAReaderAreItsSoundWithoutTheDamage() throws IOException {
        byte[] expected = MediaAudioTest.decoded(TestMedia.stream("aac.m4a"));
        byte[] bytes = Files.readAllBytes(TestMedia.stream("aac.m4a"));
        for (boolean damaged : new boolean[] {false, true}) {
            try (MediaReader reader = MediaReader.open(new MemoryChannel(bytes));
                    AudioDecoder decoder = AudioDecoder.open(reader.firstAudio().orElseThrow())) {
                List<AudioBlock> blocks = new ArrayList<>(decoder.blocks(reader).parallel().limit(3).toList());
                decoder.blocks(reader).forEach(blocks::add);
                assertThat(Sounds.join(blocks)).hasSize(expected.length - (damaged ? 4096 : 0))
                        .startsWith(Arrays.copyOf(expected, 19 * 4096));
                reader.seek(Duration.ZERO);
                Packet victim = reader.packets().skip(20).findFirst().orElseThrow();
                Arrays.fill(bytes, (int) victim.position(), (int) victim.position() + victim.size(), (byte) 0xFF);
            }
        }
    }

    @Test
    void oneCallTakesNoMoreThanIsGoodForTheHeap() {
        ByteBuffer bytes = ByteBuffer.allocate((16 << 20) + 1);
        try (AudioDecoder decoder = AudioDecoder.open(WaveFormat.of(WaveFormatTags.MULAW, 1, 8000, 8000, 1, 8, new byte[0]))) {
            assertThatThrownBy(() -> decoder.decode(bytes)).isInstanceOf(IllegalArgumentException.class)
                    .hasMessageContaining("at most 16777216");
            assertThat(bytes.position()).isZero();
            assertThat(decoder.decode(bytes.limit(16 << 20))).singleElement().extracting(AudioBlock::frames).isEqualTo(16 << 20);
        }
    }
}
