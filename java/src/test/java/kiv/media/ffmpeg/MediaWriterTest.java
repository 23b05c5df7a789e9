package kiv.media.ffmpeg;

import static kiv.media.ffmpeg.Refusals.refused;
import static org.assertj.core.api.Assertions.assertThat;
import static org.assertj.core.api.Assertions.catchThrowable;

import java.io.ByteArrayOutputStream;
import java.io.IOException;
import java.nio.ByteBuffer;
import java.nio.ByteOrder;
import java.nio.channels.Channels;
import java.nio.channels.FileChannel;
import java.nio.channels.WritableByteChannel;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.StandardOpenOption;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.EnumSet;
import java.util.List;
import java.util.Random;
import java.util.Set;
import java.util.stream.IntStream;
import java.util.stream.Stream;
import org.junit.jupiter.api.Assumptions;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.Arguments;
import org.junit.jupiter.params.provider.CsvSource;
import org.junit.jupiter.params.provider.MethodSource;

class MediaWriterTest {

    private static final Set<AudioCodec> LOSSLESS = EnumSet.of(AudioCodec.FLAC, AudioCodec.ALAC);

    @TempDir
    Path directory;

    static Stream<Arguments> files() {
        return Stream.of(AudioCodec.values()).flatMap(codec -> AudioContainer.extensions(codec).stream()
                .filter(extension -> codec.formatTag() == WaveFormatTags.OTHER || extension.matches("m4a|3gp"))
                .flatMap(extension -> Stream.of(1, 2, 6).filter(channels -> codec.accepts(rate(codec), channels))
                .flatMap(channels -> Stream.of(SampleFormat.values()).filter(codec::accepts)
                .map(samples -> Arguments.of(codec, extension, channels, samples)))));
    }

    private static int rate(AudioCodec codec) {
        return IntStream.of(48_000, 16_000, 8000).filter(rate -> codec.accepts(rate, 1)).findFirst().orElseThrow();
    }

    /** Null when the loaded FFmpeg has no such encoder. */
    private static AudioEncoder open(AudioCodec codec, int channels, SampleFormat samples) {
        try {
            return AudioEncoder.open(codec, rate(codec), channels, AudioEncoder.DEFAULT_BIT_RATE, samples);
        } catch (UnsupportedCodecException e) {
            boolean stereoOnly = codec == AudioCodec.VORBIS && e.getMessage().contains("does not open");
            assertThat(stereoOnly || e.getMessage().contains("this FFmpeg has no encoder")).as(e.getMessage()).isTrue();
            return null;
        }
    }

    private static byte[] pcm(byte[] samples, SampleFormat format) {
        ByteBuffer from = ByteBuffer.wrap(samples).order(ByteOrder.LITTLE_ENDIAN);
        ByteBuffer to = ByteBuffer.allocate(samples.length / Short.BYTES * format.bytes()).order(ByteOrder.LITTLE_ENDIAN);
        for (int i = 1; from.hasRemaining(); i++) {
            short sample = from.getShort();
            switch (format) {
                case PCM_16 -> to.putShort(sample);
                case PCM_32 -> to.putInt(sample << Short.SIZE | i * 31 % 256 << Byte.SIZE);
                case FLOAT -> to.putFloat(sample / 32768F);
            }
        }
        return to.array();
    }

    @ParameterizedTest
    @MethodSource("files")
    void theProgramFfmpegDecodesWhatIsWritten(AudioCodec codec, String extension, int channels, SampleFormat samples)
            throws IOException {
        int rate = rate(codec);
        int frames = rate + 77;
        double[] tones = IntStream.range(0, channels).mapToDouble(i -> channels == 6 && i == 3 ? 60 : 300 + 350 * i).toArray();
        byte[] pcm = pcm(Sounds.tones(rate, frames, tones), samples);
        Path file = directory.resolve("a." + extension);
        try (AudioEncoder encoder = open(codec, channels, samples)) {
            Assumptions.assumeTrue(encoder != null);
            AudioContainer container = AudioContainer.find(file.toString(), codec).orElseThrow();
            try (AudioFileWriter writer = AudioFileWriter.create(file, encoder, container)) {
                for (int at = 0, piece = 777 * channels * samples.bytes(); at < pcm.length; at += piece) {
                    writer.write(encoder.encode(Arrays.copyOfRange(pcm, at, Math.min(pcm.length, at + piece))));
                }
                writer.write(encoder.finish());
                writer.finish(encoder.frames());
            }
        }
        boolean deep = samples == SampleFormat.PCM_32;
        byte[] decoded = Programs.output(Stream.concat(TestMedia.ffmpegProgram().stream(), Stream.of("-nostdin", "-v",
                "error", "-i", file.toString(), "-f", deep ? "s32le" : "s16le", "-")).toList());
        if (LOSSLESS.contains(codec)) {
            assertThat(decoded).isEqualTo(pcm);
            return;
        }
        // The others have frames, of which FFmpeg's readers of MP4 and AMR deliver the last one whole.
        boolean exact = extension.matches("opus|ogg|oga") && FfmpegLibrary.build().isBridged();
        // FFmpeg 5.1 cuts half a short block off the end of Vorbis.
        boolean cut = codec == AudioCodec.VORBIS && FfmpegLibrary.build().version().startsWith("5.");
        assertThat(decoded.length / channels / Short.BYTES - frames).isBetween(cut ? -128 : 0, exact ? 0 : 1023);
        for (int i = 0; i < channels; i++) {
            assertThat(Sounds.loudness(decoded, channels, i, tones[i] / rate)).as("channel %d", i).isGreaterThan(0.5);
        }
    }

    @Test
    void channelsThatFailAreReportedAndNothingIsWrittenAfterwards() throws IOException {
        byte[] noise = new byte[400_000];
        new Random(4).nextBytes(noise);
        for (Throwable failure : List.of(new IOException("full"), new IllegalStateException("mine"), new StackOverflowError())) {
            for (int room : new int[] {0, 100_000}) {
                HostileSink channel = new HostileSink(room, failure);
                assertThat(written(channel, noise)).isSameAs(failure);
            }
        }
        for (int lie : new int[] {-1, 1 << 20}) {
            HostileSink channel = new HostileSink(0, null);
            channel.lie = lie;
            assertThat(written(channel, noise)).isInstanceOf(IOException.class).hasMessageContaining("the channel says");
        }
    }

    /** What ended the attempt to write a FLAC file. The channel is called no more afterwards. */
    private static Throwable written(HostileSink channel, byte[] pcm) throws IOException {
        try (AudioEncoder encoder = AudioEncoder.open(AudioCodec.FLAC, 48_000, 2)) {
            MediaWriter[] writer = new MediaWriter[1];
            Throwable thrown = catchThrowable(() -> {
                writer[0] = MediaWriter.open(channel, encoder, AudioContainer.FLAC);
                writer[0].write(encoder.encode(pcm));
                writer[0].write(encoder.finish());
                writer[0].finish();
            });
            int calls = channel.calls;
            if (writer[0] != null) {
                refused(MediaStateException.class, "lost", writer[0]::finish, () -> writer[0].write(List.of()));
                writer[0].close();
                writer[0].close();
            }
            assertThat(channel.calls).as("an abandoned container is not completed").isEqualTo(calls);
            return thrown;
        }
    }

    /** Drained without sound, FFmpeg's own encoder of Vorbis delivers packets for ever. */
    @ParameterizedTest
    @CsvSource({"0, 0", "1, 9"})
    void fewSamplesGiveFewPackets(int samples, int most) {
        for (AudioCodec codec : EnumSet.of(AudioCodec.FLAC, AudioCodec.ALAC, AudioCodec.OPUS, AudioCodec.VORBIS,
                AudioCodec.AMR_WB)) {
            int channels = codec == AudioCodec.AMR_WB ? 1 : 2;
            try (AudioEncoder encoder = open(codec, channels, SampleFormat.PCM_16)) {
                if (encoder != null) {
                    List<Packet> packets = new ArrayList<>(encoder.encode(new byte[samples * channels * Short.BYTES]));
                    packets.addAll(encoder.finish());
                    assertThat(packets).as("%s", codec).hasSizeBetween(samples, most);
                }
            }
        }
    }

    @Test
    void wrongUseIsRefused() throws IOException {
        ByteArrayOutputStream bytes = new ByteArrayOutputStream();
        WritableByteChannel channel = Channels.newChannel(bytes);
        try (AudioEncoder encoder = AudioEncoder.open(AudioCodec.FLAC, 48_000, 1);
                AudioEncoder alac = AudioEncoder.open(AudioCodec.ALAC, 48_000, 1)) {
            refused(IllegalArgumentException.class, "", () -> MediaWriter.open(channel, encoder, AudioContainer.WAV),
                    () -> MediaWriter.open(channel, encoder, AudioContainer.M4A),
                    () -> MediaWriter.open(channel, alac, AudioContainer.M4A),
                    () -> AudioFileWriter.create(directory.resolve("a"), encoder, AudioContainer.RAW),
                    () -> AudioFileWriter.create(directory.resolve("a"), encoder.format(), AudioContainer.FLAC));
            MediaWriter writer = MediaWriter.open(channel, encoder, AudioContainer.FLAC);
            refused(IllegalArgumentException.class, "no time", () -> writer.write(List.of(
                    Packet.of(new byte[1], 0, Packet.NO_TIME, 0, true))));
            writer.write(encoder.encode(new byte[20_000]));
            writer.write(encoder.finish());
            writer.finish();
            refused(MediaStateException.class, "finished", writer::finish, () -> writer.write(List.of()));
            writer.close();
            refused(MediaStateException.class, "closed", writer::finish);
            assertThat(bytes.toByteArray()).startsWith('f', 'L', 'a', 'C');
            Path file = Files.write(directory.resolve("b.m4a"), new byte[1000]);
            try (FileChannel behind = FileChannel.open(file, StandardOpenOption.WRITE)) {
                behind.position(1000);
                MediaWriter other = MediaWriter.open(behind, alac, AudioContainer.M4A);
                other.write(List.of(Packet.ofEncoder(new byte[9], Long.MAX_VALUE, 1)));
                refused(MediaException.class, "a packet at", other::finish);
                other.close();
            }
            assertThat(Arrays.copyOf(Files.readAllBytes(file), 1000)).as("what lies before").containsOnly(0);
        }
        refused(UnsupportedCodecException.class, "of the kind FLOAT", () -> AudioEncoder.open(AudioCodec.FLAC, 48_000, 2, 0,
                SampleFormat.FLOAT));
        refused(UnsupportedCodecException.class, "8000, 12000", () -> AudioEncoder.open(AudioCodec.OPUS, 44_100, 2));
        assertThat(directory.toFile().list()).containsExactly("b.m4a");
    }

    @Test
    void soundIsResampled() {
        byte[] tone = Sounds.tones(44_100, 44_100, 1000, 400);
        try (AudioResampler resampler = AudioResampler.open(44_100, 48_000, 2, SampleFormat.PCM_16)) {
            AudioBlock block = new AudioBlock(tone, SampleFormat.PCM_16, 44_100, 2, 0, new Rational(1, 44_100));
            AudioBlock mono = new AudioBlock(tone, SampleFormat.PCM_16, 44_100, 1, 0, new Rational(1, 44_100));
            refused(IllegalArgumentException.class, "1 channel", () -> resampler.resample(mono));
            ByteArrayOutputStream out = new ByteArrayOutputStream();
            out.writeBytes(resampler.resample(block));
            out.writeBytes(resampler.finish());
            assertThat(out.size() / 4).isBetween(47_990, 48_010);
            assertThat(Sounds.loudness(out.toByteArray(), 2, 1, 400 / 48_000.0)).isGreaterThan(0.95);
            refused(MediaStateException.class, "finished", resampler::finish);
        }
        refused(IllegalArgumentException.class, "no change", () -> AudioResampler.open(1, 48_000, 2, SampleFormat.PCM_16),
                () -> AudioResampler.open(8000, 48_000, 33, SampleFormat.PCM_16));
    }

    /** Takes some bytes, then throws or lies. */
    private static final class HostileSink implements WritableByteChannel {
        private final Throwable failure;
        private int room;
        private int lie;
        private int calls;

        HostileSink(int room, Throwable failure) {
            this.room = room;
            this.failure = failure;
        }

        @Override
        public int write(ByteBuffer from) throws IOException {
            calls++;
            if (lie != 0) {
                from.position(from.limit());
                return lie;
            }
            int count = Math.min(room, from.remaining());
            if (count == 0) {
                throwFailure();
            }
            from.position(from.position() + count);
            room -= count;
            return count;
        }

        private void throwFailure() throws IOException {
            if (failure instanceof IOException e) {
                throw e;
            }
            if (failure instanceof RuntimeException e) {
                throw e;
            }
            throw (Error) failure;
        }

        @Override
        public boolean isOpen() {
            return true;
        }

        @Override
        public void close() {
        }
    }
}
