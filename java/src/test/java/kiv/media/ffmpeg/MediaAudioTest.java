package kiv.media.ffmpeg;

import static kiv.media.ffmpeg.Refusals.refused;
import static org.assertj.core.api.Assertions.assertThat;
import static org.assertj.core.api.Assertions.assertThatThrownBy;

import java.io.BufferedInputStream;
import java.io.IOException;
import java.io.InputStream;
import java.io.SequenceInputStream;
import java.nio.channels.SeekableByteChannel;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.Arrays;
import java.util.concurrent.FutureTask;
import java.util.concurrent.Semaphore;
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
    @CsvSource({"pcm_s16.wav, 44100", "pcm_s16_5.1.wav, 48000", "pcm_f32.wav, 44100", "alaw.wav, 8000",
        "mulaw.wav, 8000", "mp3.mp3, -1", "adpcm_ms_mono.wav, -1", "h264_aac.mp4, -1"})
    void everySampleIsGivenAndALengthIsToldOnlyWhereItIsCertain(String name, long frames) throws IOException {
        Path file = TestMedia.stream(name);
        byte[] expected = decoded(file);
        try (AudioInputStream sound = MediaAudio.open(file);
                AudioInputStream other = MediaAudio.open(Files.newByteChannel(file))) {
            int frame = sound.getFormat().getFrameSize();
            assertThat(sound.getFrameLength()).isEqualTo(frames).isIn(-1L, (long) expected.length / frame);
            assertThat(sound.readAllBytes()).isEqualTo(expected);
            // In odd pieces, and over something.
            assertThat(other.read(new byte[frame - 1])).isZero();
            assertThat(other.skip(100L * frame + 1)).isEqualTo(100L * frame);
            byte[] odd = new byte[37 * frame + 1];
            int count = other.read(odd);
            assertThat(count).isPositive().isEqualTo(count / frame * frame);
            assertThat(odd).startsWith(Arrays.copyOfRange(expected, 100 * frame, 100 * frame + count));
        }
    }

    @ParameterizedTest
    @CsvSource({"flac.flac, 44100", "flac.ogg, 6615", "opus.opus, 14400", "mp3.mp3, 44100", "mp3_vbr.mp3, 88200",
        "mp2.mp2, 48384", "aac.m4a, 45056", "alac_16.m4a, 13230", "vorbis.ogg, -1", "wma2.asf, -1"})
    void framesAreCountedWithoutDecoding(String name, int frames) throws Exception {
        Path file = TestMedia.stream(name);
        assertThat(MediaAudio.frames(file).orElse(-1)).isEqualTo(frames);
        assertThat(AudioSystem.getAudioFileFormat(file.toFile()).getFrameLength()).isEqualTo(frames);
        byte[] bytes = Files.readAllBytes(file);
        Path cut = directory.resolve(name);
        for (int size = bytes.length / 2; size < bytes.length; size += bytes.length / 7) {
            Files.write(cut, Arrays.copyOf(bytes, size));
            try (kiv.media.ffmpeg.Sound sound = kiv.media.ffmpeg.Sound.open(cut)) {
                assertThat(MediaAudio.frames(cut).orElse(sound.length())).isEqualTo(sound.length());
            } catch (MediaFormatException e) {
                assertThatThrownBy(() -> MediaAudio.frames(cut)).isInstanceOf(MediaFormatException.class);
            }
        }
    }

    @Test
    void afterClosingNothingIsRead() throws IOException {
        SeekableByteChannel channel = Files.newByteChannel(TestMedia.stream("pcm_s16.wav"));
        AudioInputStream sound = MediaAudio.open(channel);
        sound.close();
        sound.close();
        assertThat(channel.isOpen()).isFalse();
        refused(IOException.class, "closed", () -> sound.skip(4));
        try (MediaReader reader = MediaReader.open(TestMedia.film());
                AudioDecoder decoder = AudioDecoder.open(reader.firstAudio().orElseThrow())) {
            AudioInputStream borrowed = decoder.sound(reader);
            borrowed.close();
            refused(IOException.class, "closed", () -> borrowed.read(new byte[4]));
            assertThat(decoder.sound(reader).readAllBytes()).isEqualTo(decoded(TestMedia.film()));
        }
    }

    @Test
    void closingEndsAReadThatWaits() throws Exception {
        // A broadcast that falters until it is closed.
        InputStream seconds = Files.newInputStream(TestMedia.media("silence-44-s.ac3"));
        Semaphore waits = new Semaphore(0);
        Semaphore closed = new Semaphore(0);
        InputStream rest = new InputStream() {
            @Override
            public int read() {
                waits.release();
                closed.acquireUninterruptibly();
                return -1;
            }

            @Override
            public void close() {
                closed.release();
            }
        };
        AudioInputStream sound = AudioSystem.getAudioInputStream(AudioFormat.Encoding.PCM_SIGNED,
                AudioSystem.getAudioInputStream(new BufferedInputStream(new SequenceInputStream(seconds, rest))));
        FutureTask<byte[]> reading = new FutureTask<>(sound::readAllBytes);
        new Thread(reading, "reading").start();
        waits.acquire();
        sound.close();
        assertThatThrownBy(() -> reading.get(1, TimeUnit.MINUTES)).hasCauseInstanceOf(IOException.class);
    }

    @Test
    void whatHasNoSoundIsRefused() throws IOException {
        Path text = Files.writeString(directory.resolve("a.txt"), "no sound");
        refused(MediaFormatException.class, text.toString(), () -> MediaAudio.open(text));
        refused(MediaFormatException.class, "no audio stream",
                () -> MediaAudio.open(TestMedia.stream("h264_320x240.h264")));
        try (SeekableByteChannel channel = Files.newByteChannel(TestMedia.stream("flv1_nellymoser.flv"));
                MediaReader reader = MediaReader.open(TestMedia.film());
                MediaReader other = MediaReader.open(TestMedia.film())) {
            refused(UnsupportedCodecException.class, "nellymoser; this FFmpeg could", () -> MediaAudio.open(channel));
            assertThat(channel.isOpen()).isTrue();
            MediaStream stream = other.firstAudio().orElseThrow();
            refused(IllegalArgumentException.class, "", () -> MediaAudio.open(reader, stream));
        }
    }
}
