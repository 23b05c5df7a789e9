package kiv.media.ffmpeg;

import static org.assertj.core.api.Assertions.assertThat;
import static org.assertj.core.api.Assertions.assertThatThrownBy;

import java.io.BufferedInputStream;
import java.io.ByteArrayInputStream;
import java.io.ByteArrayOutputStream;
import java.io.IOException;
import java.nio.channels.SeekableByteChannel;
import java.nio.file.FileSystemException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import java.util.concurrent.CountDownLatch;
import java.util.concurrent.FutureTask;
import java.util.concurrent.TimeUnit;
import java.util.stream.Stream;
import javax.sound.sampled.AudioFormat;
import javax.sound.sampled.AudioInputStream;
import javax.sound.sampled.AudioSystem;
import kiv.media.ffmpeg.TestMedia.Sound;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.CsvSource;
import org.junit.jupiter.params.provider.MethodSource;

public class MediaAudioTest {


    @TempDir
    private Path directory;

    /** Every file whose sound can be decoded, with and without pictures. */
    public static Stream<Path> files() {
        return Stream.concat(TestMedia.pcmSources().stream().map(Sound::file)
                        // This one ends in the middle of a packet.
                        .filter(file -> !file.endsWith("matrix_ping_pong.wmv")),
                Stream.of("h264_aac.mp4", "h264_aac.mov", "h264_aac.flv", "mpeg1_mp2.mpg", "mpeg2_ac3.ts",
                        "mpeg4_mp3.avi", "wmv2_wma2.asf").map(TestMedia::stream));
    }

    /** What the decoder makes of a file, packet by packet. */
    public static byte[] decoded(Path file) throws IOException {
        try (MediaReader reader = MediaReader.open(file);
                AudioDecoder decoder = AudioDecoder.open(reader.firstAudio().orElseThrow())) {
            return Sounds.decode(decoder, reader.packets().filter(decoder::accepts).toList());
        }
    }

    @ParameterizedTest
    @MethodSource("files")
    void everySampleIsGiven(Path file) throws IOException {
        byte[] expected = decoded(file);
        assertThat(expected).isNotEmpty();
        try (AudioInputStream sound = MediaAudio.open(file);
                AudioInputStream other = MediaAudio.open(Files.newByteChannel(file));
                MediaReader reader = MediaReader.open(file);
                AudioDecoder decoder = AudioDecoder.open(reader.firstAudio().orElseThrow());
                AudioInputStream third = decoder.sound(reader)) {
            assertThat(sound.getFormat()).matches(format -> format.matches(
                    new AudioFormat(decoder.format().sampleRate(), 16, decoder.format().channels(), true, false)));
            assertThat(sound.getFrameLength()).isIn((long) AudioSystem.NOT_SPECIFIED,
                    (long) expected.length / sound.getFormat().getFrameSize());
            assertThat(sound.readAllBytes()).isEqualTo(expected);
            // In odd pieces, and over something.
            int frame = other.getFormat().getFrameSize();
            assertThat(other.read(new byte[frame - 1])).isZero();
            assertThat(other.skip(100L * frame + 1)).isEqualTo(100L * frame);
            byte[] odd = new byte[37 * frame + 1];
            int count = other.read(odd);
            assertThat(count).isPositive().isEqualTo(count / frame * frame);
            assertThat(odd).startsWith(Arrays.copyOfRange(expected, 100 * frame, 100 * frame + count));
            assertThat(other.available()).isNotNegative();
            assertThat(third.readAllBytes()).isEqualTo(expected);
        }
    }

    @ParameterizedTest
    @CsvSource({"pcm_s16.wav, 44100", "pcm_s16_5.1.wav, 48000", "pcm_f32.wav, 44100", "alaw.wav, 8000",
        "mulaw.wav, 8000", "mp3.mp3, -1", "adpcm_ms_mono.wav, -1", "h264_aac.mp4, -1"})
    void aLengthIsToldOnlyWhereItIsCertain(String file, long frames) throws IOException {
        byte[] bytes = Files.readAllBytes(TestMedia.stream(file));
        assertThat(length(bytes)).isEqualTo(frames);
        // An end that is missing, and another chunk.
        assertThat(length(Arrays.copyOf(bytes, bytes.length - 9))).isEqualTo(AudioSystem.NOT_SPECIFIED);
        assertThat(length(Arrays.copyOf(bytes, bytes.length + 8))).isEqualTo(AudioSystem.NOT_SPECIFIED);
    }

    private long length(byte[] bytes) throws IOException {
        Path file = Files.write(directory.resolve("sound"), bytes);
        try (AudioInputStream sound = MediaAudio.open(file)) {
            return sound.getFrameLength();
        }
    }

    @Test
    void afterClosingNothingIsRead() throws IOException {
        SeekableByteChannel channel = Files.newByteChannel(TestMedia.stream("pcm_s16.wav"));
        AudioInputStream sound = MediaAudio.open(channel);
        sound.readAllBytes();
        assertThat(sound.read(new byte[4])).isEqualTo(-1);
        sound.close();
        sound.close();
        assertThat(channel.isOpen()).isFalse();
        assertThatThrownBy(() -> sound.read(new byte[4])).isInstanceOf(IOException.class)
                .hasMessageContaining("closed");
        assertThatThrownBy(() -> sound.skip(4)).isInstanceOf(IOException.class);
        assertThatThrownBy(sound::available).isInstanceOf(IOException.class);
        try (MediaReader reader = MediaReader.open(TestMedia.film());
                AudioDecoder decoder = AudioDecoder.open(reader.firstAudio().orElseThrow())) {
            AudioInputStream borrowed = decoder.sound(reader);
            borrowed.close();
            assertThatThrownBy(() -> borrowed.read(new byte[4])).isInstanceOf(IOException.class);
            assertThat(decoder.sound(reader).read(new byte[4])).isEqualTo(4);
        }
    }

    @Test
    void closingEndsAReadThatWaits() throws Exception {
        // Several seconds are examined before the sound begins.
        ByteArrayOutputStream broadcast = new ByteArrayOutputStream();
        for (int i = 0; i < 10; i++) {
            broadcast.writeBytes(Files.readAllBytes(TestMedia.stream("ac3_mono.ac3")));
        }
        WaitingStream stream = new WaitingStream(broadcast.toByteArray());
        AudioInputStream sound = AudioSystem.getAudioInputStream(AudioFormat.Encoding.PCM_SIGNED,
                AudioSystem.getAudioInputStream(new BufferedInputStream(stream)));
        FutureTask<byte[]> reading = new FutureTask<>(sound::readAllBytes);
        new Thread(reading, "reading").start();
        stream.waits.await();
        sound.close();
        assertThatThrownBy(() -> reading.get(1, TimeUnit.MINUTES)).hasCauseInstanceOf(IOException.class);
        assertThatThrownBy(() -> sound.read(new byte[4])).isInstanceOf(IOException.class)
                .hasMessageContaining("closed");
    }

    /** A broadcast that falters, until it is closed. */
    private static final class WaitingStream extends ByteArrayInputStream {
        private final CountDownLatch waits = new CountDownLatch(1);
        private final CountDownLatch closed = new CountDownLatch(1);

        WaitingStream(byte[] bytes) {
            super(bytes);
        }

        @Override
        public int read(byte[] to, int offset, int length) {
            int count = super.read(to, offset, Math.min(length, 500));
            if (count < 0) {
                waits.countDown();
                try {
                    closed.await();
                } catch (InterruptedException e) {
                    throw new AssertionError(e);
                }
            }
            return count;
        }

        @Override
        public void close() {
            closed.countDown();
        }
    }

    @Test
    void damageIsToldAndReadingGoesOn() throws IOException {
        Path m4a = TestMedia.stream("aac.m4a");
        byte[] bytes = Files.readAllBytes(m4a);
        List<Packet> packets;
        try (MediaReader reader = MediaReader.open(m4a)) {
            packets = reader.packets().toList();
        }
        int at = (int) packets.get(20).position();
        Arrays.fill(bytes, at, at + packets.get(20).size(), (byte) 0xFF);
        List<IOException> complaints = new ArrayList<>();
        ByteArrayOutputStream pcm = new ByteArrayOutputStream();
        try (AudioInputStream sound = MediaAudio.open(Files.write(directory.resolve("damaged.m4a"), bytes))) {
            byte[] buffer = new byte[1 << 16];
            for (int count = 0; count >= 0;) {
                pcm.write(buffer, 0, count);
                try {
                    count = sound.read(buffer);
                } catch (IOException e) {
                    complaints.add(e);
                    count = 0;
                }
            }
        }
        assertThat(complaints).hasSize(1).allSatisfy(
                e -> assertThat(e).hasMessageContaining("decoded").hasCauseInstanceOf(DecodeException.class));
        byte[] expected = decoded(m4a);
        int packet = 1024 * 4;
        byte[] heard = pcm.toByteArray();
        assertThat(heard).hasSize(expected.length - packet);
        assertThat(Arrays.copyOf(heard, 19 * packet)).isEqualTo(Arrays.copyOf(expected, 19 * packet));
    }

    @Test
    void whatHasNoSoundIsRefused() throws IOException {
        Path text = Files.writeString(directory.resolve("a.txt"), "no sound");
        assertThatThrownBy(() -> MediaAudio.open(text)).isInstanceOf(MediaFormatException.class)
                .hasMessageStartingWith(text.toString());
        assertThatThrownBy(() -> MediaAudio.open(TestMedia.stream("h264_320x240.h264")))
                .isInstanceOf(MediaFormatException.class).hasMessageContaining("no audio stream");
        assertThatThrownBy(() -> MediaAudio.open(TestMedia.stream("vorbis.ogg")))
                .isInstanceOf(UnsupportedCodecException.class).hasMessageContaining("vorbis");
        assertThatThrownBy(() -> MediaAudio.open(directory)).isInstanceOf(FileSystemException.class);
        assertThatThrownBy(() -> MediaAudio.open((Path) null)).isInstanceOf(NullPointerException.class);
        SeekableByteChannel channel = Files.newByteChannel(TestMedia.stream("vorbis.ogg"));
        assertThatThrownBy(() -> MediaAudio.open(channel)).isInstanceOf(UnsupportedCodecException.class);
        assertThat(channel.isOpen()).isTrue();
        channel.close();
        try (MediaReader reader = MediaReader.open(TestMedia.film());
                MediaReader other = MediaReader.open(TestMedia.film())) {
            MediaStream stream = other.firstAudio().orElseThrow();
            assertThatThrownBy(() -> MediaAudio.open(reader, stream)).isInstanceOf(IllegalArgumentException.class);
        }
    }
}
