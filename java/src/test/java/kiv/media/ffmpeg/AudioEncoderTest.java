package kiv.media.ffmpeg;

import static kiv.media.ffmpeg.Refusals.refused;
import static org.assertj.core.api.Assertions.assertThat;
import static org.assertj.core.api.Assumptions.assumeThat;

import java.io.IOException;
import java.nio.ByteBuffer;
import java.nio.file.Path;
import java.util.List;
import java.util.Random;
import java.util.stream.IntStream;
import java.util.stream.Stream;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.Arguments;
import org.junit.jupiter.params.provider.CsvSource;
import org.junit.jupiter.params.provider.EnumSource;
import org.junit.jupiter.params.provider.MethodSource;

class AudioEncoderTest {

    private static final int FRAMES = 20_011;

    @TempDir
    Path directory;

    static Stream<Arguments> formats() {
        return Stream.of(AudioCodec.values()).filter(codec -> !codec.isOfFfmpeg()).flatMap(codec -> {
            int rate = Stream.of(44100, 16000, 8000).filter(r -> codec != AudioCodec.G722 || r < 44100)
                    .filter(r -> codec.accepts(r, 1)).findFirst().orElseThrow();
            return Stream.of(1, 2).filter(channels -> codec.accepts(rate, channels))
                    .flatMap(channels -> AudioContainer.extensions(codec).stream().filter(name -> !name.matches("m4a|3gp"))
                            .map(extension -> Arguments.of(codec, rate, channels, extension)));
        });
    }

    /** Decibels that the format keeps of a voice, or better. */
    private static double quality(AudioCodec codec) {
        return switch (codec) {
            case PCM, FLOAT -> Double.POSITIVE_INFINITY;
            case AMR_NB -> 6;
            case MP3, AAC -> 24;
            case AC3, DTS, WMA1, WMA2 -> 40;
            default -> 33;
        };
    }

    @ParameterizedTest
    @MethodSource("formats")
    void whatWasEncodedComesBack(AudioCodec codec, int rate, int channels, String extension) throws Exception {
        assumeThat(TestMedia.hasEncoder(codec)).isTrue();
        byte[] pcm = Sounds.voice(rate, channels, FRAMES);
        try (AudioEncoder encoder = AudioEncoder.open(codec, rate, channels);
                AudioDecoder decoder = AudioDecoder.open(encoder.format())) {
            List<Packet> packets = Sounds.encode(encoder, pcm);
            assertThat(encoder.frames()).isEqualTo(FRAMES);
            assertThat(packets.get(0).presentationTime()).isEqualTo(-encoder.initialPadding());
            byte[] decoded = Sounds.decode(decoder, packets);
            int padding = encoder.initialPadding() * channels;
            assertThat(Sounds.signalToNoise(pcm, decoded, padding)).isGreaterThanOrEqualTo(quality(codec));
            long packed = packets.stream().mapToLong(Packet::duration).sum();
            // The newer decoder of WMA delivers its last frame too.
            int more = (codec == AudioCodec.WMA1 || codec == AudioCodec.WMA2) && TestMedia.isNewer() ? 2048 : 0;
            assertThat(decoded).hasSize((int) (packed + more) * channels * Short.BYTES);

            Path file = write(packets, encoder, extension);
            if (!extension.matches("al|ul|raw")) {
                byte[] other = decodedByFfmpeg(file);
                // Newer decoders of WMA leave two frames out, of which only one is padding.
                padding = codec == AudioCodec.WMA1 || codec == AudioCodec.WMA2 ? -padding : padding;
                assertThat(Sounds.signalToNoise(pcm, other, padding)).isGreaterThanOrEqualTo(quality(codec));
            }
        }
    }

    private Path write(List<Packet> packets, AudioEncoder encoder, String extension) throws IOException {
        Path file = directory.resolve("sound." + extension);
        try (AudioFileWriter writer = AudioFileWriter.create(file, encoder.format(),
                AudioContainer.find(file.toString(), encoder.codec()).orElseThrow())) {
            writer.write(packets);
            writer.finish(encoder.frames());
        }
        return file;
    }

    private static byte[] decodedByFfmpeg(Path file) {
        return Programs.output(List.of("ffmpeg", "-nostdin", "-v", "error", "-i", file.toString(), "-f", "s16le", "-"));
    }

    /** Each channel has a tone of its own, and the one for low tones a low one. */
    @ParameterizedTest
    @EnumSource(mode = EnumSource.Mode.EXCLUDE, names = {"FLAC", "ALAC", "OPUS", "VORBIS", "AMR_WB"})
    void everyChannelStaysWhereItIs(AudioCodec codec) throws Exception {
        assumeThat(TestMedia.hasEncoder(codec)).isTrue();
        int rate = codec == AudioCodec.AMR_NB ? 8000 : codec == AudioCodec.G722 ? 16000 : 48000;
        for (int channels : new int[] {1, 2, 3, 4, 5, 6, 32, 33, 64}) {
            if (!codec.accepts(rate, channels)) {
                assertThat(channels).isGreaterThan(codec == AudioCodec.AAC || codec == AudioCodec.AC3 ? 6 : 1);
                continue;
            }
            double[] tones = IntStream.range(0, channels).mapToDouble(i -> channels == 6 && i == 3 ? 40 : 300 + 350 * i)
                    .toArray();
            byte[] pcm = Sounds.tones(rate, rate / 2, tones);
            byte[] decoded;
            try (AudioEncoder encoder = AudioEncoder.open(codec, rate, channels)) {
                List<Packet> packets = Sounds.encode(encoder, pcm);
                if (channels > 32) {
                    refused(UnsupportedCodecException.class, "at most 32", () -> AudioDecoder.open(encoder.format()));
                    decoded = decodedByFfmpeg(write(packets, encoder, "wav"));
                } else {
                    try (AudioDecoder decoder = AudioDecoder.open(encoder.format())) {
                        decoded = Sounds.decode(decoder, packets);
                    }
                }
            }
            assertThat(decoded.length).isGreaterThanOrEqualTo(pcm.length);
            for (int i = 0; i < channels; i++) {
                assertThat(Sounds.loudness(decoded, channels, i, tones[i] / rate)).as("channel %d of %d", i, channels)
                        .isGreaterThan(0.6);
            }
        }
    }

    /** At its lowest bit rate an encoder takes the worst sound, and what it cannot do is refused. */
    @ParameterizedTest
    @CsvSource({"AMR_NB, 8000, 1, 4750, 12200", "MP3, 44100, 2, 32000, 320000", "MP3, 22050, 2, 8000, 160000",
        "MP3, 8000, 1, 8000, 64000", "AAC, 48000, 2, 24000, 3456000", "AC3, 48000, 1, 32000, 640000",
        "AC3, 48000, 5, 64000, 640000"})
    void bitRatesAreObeyedOrRefused(AudioCodec codec, int rate, int channels, int lowest, int highest) {
        assumeThat(TestMedia.hasEncoder(codec)).isTrue();
        byte[] noise = new byte[rate * channels * Short.BYTES];
        new Random(4).nextBytes(noise);
        for (int refused : new int[] {1, lowest - 1, highest + 1}) {
            refused(UnsupportedCodecException.class, "at " + refused + " bit/s; it takes " + lowest + " to " + highest,
                    () -> AudioEncoder.open(codec, rate, channels, refused));
        }
        for (int bitRate : new int[] {lowest, Math.min(highest, 640_000)}) {
            try (AudioEncoder encoder = AudioEncoder.open(codec, rate, channels, bitRate)) {
                int bits = 8 * Sounds.encode(encoder, noise).stream().mapToInt(Packet::size).sum();
                assertThat((double) bits).isBetween(0.4 * bitRate, 1.3 * bitRate);
            }
        }
    }

    @Test
    void whatCannotBeEncodedIsTold() {
        refused(UnsupportedCodecException.class, "8000 Hz and 1 channel",
                () -> AudioEncoder.open(AudioCodec.AMR_NB, 44100, 2));
        refused(UnsupportedCodecException.class, "1000 bit/s", () -> AudioEncoder.open(AudioCodec.WMA2, 44100, 2, 1000));
        AudioEncoder encoder = AudioEncoder.open(AudioCodec.AAC, 44100, 2);
        AudioBlock mono = new AudioBlock(new byte[4], SampleFormat.PCM_16, 44100, 1, 0, new Rational(1, 44100));
        refused(IllegalArgumentException.class, "", () -> encoder.encode(new byte[6]), () -> encoder.encode(mono));
        ByteBuffer readOnly = ByteBuffer.allocateDirect(44100 * 4).asReadOnlyBuffer();
        assertThat(encoder.encode(readOnly)).isNotEmpty();
        assertThat(readOnly.hasRemaining()).isFalse();
        assertThat(encoder.finish()).isNotEmpty();
        refused(MediaStateException.class, "", encoder::finish, () -> encoder.encode(new byte[4]));
        encoder.close();
        refused(MediaStateException.class, "closed", encoder::finish);
        assertThat(encoder.extradata()).hasSize(5);
    }
}
