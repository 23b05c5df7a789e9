package kiv.media.ffmpeg.javasound;

import static kiv.media.ffmpeg.Refusals.refused;
import static org.assertj.core.api.Assertions.assertThat;

import java.io.BufferedInputStream;
import java.io.ByteArrayInputStream;
import java.io.File;
import java.io.FileInputStream;
import java.io.FileNotFoundException;
import java.io.IOException;
import java.io.InputStream;
import java.io.SequenceInputStream;
import java.nio.ByteBuffer;
import java.nio.ByteOrder;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.List;
import java.util.Locale;
import java.util.Random;
import java.util.stream.Stream;
import javax.sound.sampled.AudioFileFormat;
import javax.sound.sampled.AudioFormat;
import javax.sound.sampled.AudioFormat.Encoding;
import javax.sound.sampled.AudioInputStream;
import javax.sound.sampled.AudioSystem;
import javax.sound.sampled.UnsupportedAudioFileException;
import kiv.media.ffmpeg.MediaAudioTest;
import kiv.media.ffmpeg.Sounds;
import kiv.media.ffmpeg.TestMedia;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.CsvSource;
import org.junit.jupiter.params.provider.MethodSource;

class JavaSoundTest {

    private static final FfmpegAudioFileReader READER = new FfmpegAudioFileReader();

    @TempDir
    private Path directory;

    static Stream<Path> encodedFiles() {
        return MediaAudioTest.files().filter(file -> !file.toString().matches(".*/(pcm|alaw|mulaw|pepnotify).*"));
    }

    private static byte[] pcm(AudioInputStream encoded) throws IOException {
        assertThat(encoded).isInstanceOf(EncodedAudioInputStream.class);
        try (AudioInputStream pcm = AudioSystem.getAudioInputStream(Encoding.PCM_SIGNED, encoded)) {
            return pcm.readAllBytes();
        }
    }

    @ParameterizedTest
    @MethodSource("encodedFiles")
    void everyFormatIsOpenedAndDecoded(Path path) throws Exception {
        byte[] expected = MediaAudioTest.decoded(path);
        File file = path.toFile();
        AudioFileFormat told = AudioSystem.getAudioFileFormat(file);
        assertThat(told.getByteLength()).isEqualTo((int) file.length());
        assertThat((Long) told.getProperty("duration")).isPositive();
        assertThat(AudioSystem.getAudioFileFormat(path.toUri().toURL()).getType()).isEqualTo(told.getType());
        assertThat(pcm(AudioSystem.getAudioInputStream(file))).isEqualTo(expected);
        // From the middle of a stream whose length nobody knows, looked at before.
        InputStream stream = new BufferedInputStream(new SequenceInputStream(new ByteArrayInputStream(new byte[6]),
                Files.newInputStream(path)), 100);
        stream.skipNBytes(6);
        assertThat(AudioSystem.getAudioFileFormat(stream).getFormat()).hasToString(told.getFormat().toString());
        assertThat(pcm(AudioSystem.getAudioInputStream(stream))).isEqualTo(expected);
        refused(IOException.class, "", stream::available);
        AudioFormat target = new AudioFormat(told.getFormat().getSampleRate(), 16, told.getFormat().getChannels(), true, false);
        try (AudioInputStream encoded = AudioSystem.getAudioInputStream(path.toUri().toURL());
                AudioInputStream decoded = AudioSystem.getAudioInputStream(target, encoded)) {
            assertThat(decoded.getFormat().matches(target)).isTrue();
            assertThat(decoded.readAllBytes()).isEqualTo(expected);
        }
    }

    /** More than is kept in memory lies between the sound and the directory at the end. */
    @Test
    void aStreamWithItsDirectoryAtTheEndIsReadAgain() throws Exception {
        byte[] m4a = Files.readAllBytes(TestMedia.stream("aac.m4a"));
        int directoryAt = new String(m4a, StandardCharsets.ISO_8859_1).indexOf("moov") - 4;
        int unused = SpoolChannel.CHUNKS * SpoolChannel.CHUNK + 1000;
        ByteBuffer bytes = ByteBuffer.allocate(m4a.length + unused).put(m4a, 0, directoryAt).putInt(unused)
                .put("free".getBytes(StandardCharsets.US_ASCII)).position(directoryAt + unused)
                .put(m4a, directoryAt, m4a.length - directoryAt);
        assertThat(pcm(AudioSystem.getAudioInputStream(new ByteArrayInputStream(bytes.array()))))
                .isEqualTo(MediaAudioTest.decoded(TestMedia.stream("aac.m4a")));
    }

    @Test
    void theRestIsConvertedByTheJdk() throws Exception {
        Path mp3 = TestMedia.stream("mp3.mp3");
        AudioFormat bigEndian = new AudioFormat(44100, 16, 2, true, true);
        AudioInputStream encoded = AudioSystem.getAudioInputStream(mp3.toFile());
        assertThat(encoded.getFormat().getEncoding()).hasToString("MP3");
        assertThat(encoded.getFormat().getProperty("bitrate")).isInstanceOf(Integer.class);
        assertThat(AudioSystem.isConversionSupported(bigEndian, encoded.getFormat())).isFalse();
        AudioInputStream decoded = AudioSystem.getAudioInputStream(Encoding.PCM_SIGNED, encoded);
        assertThat(AudioSystem.getAudioInputStream(Encoding.PCM_SIGNED, encoded)).isSameAs(decoded);
        assertThat(ByteBuffer.wrap(AudioSystem.getAudioInputStream(bigEndian, decoded).readAllBytes()).asShortBuffer())
                .isEqualTo(ByteBuffer.wrap(MediaAudioTest.decoded(mp3)).order(ByteOrder.LITTLE_ENDIAN).asShortBuffer());
    }

    @Test
    void soundComesInOtherSamplesWhereTheyAreAskedFor() throws Exception {
        Path ogg = TestMedia.stream("vorbis.ogg");
        int bytes = MediaAudioTest.decoded(ogg).length;
        for (Encoding encoding : List.of(Encoding.PCM_SIGNED, Encoding.PCM_FLOAT)) {
            AudioFormat target = new AudioFormat(encoding, 44100, 32, 2, 8, 44100, false);
            try (AudioInputStream encoded = AudioSystem.getAudioInputStream(ogg.toFile());
                    AudioInputStream decoded = AudioSystem.getAudioInputStream(target, encoded)) {
                assertThat(decoded.getFormat().matches(target)).isTrue();
                assertThat(decoded.readAllBytes()).hasSize(2 * bytes);
                refused(IllegalArgumentException.class, "already",
                        () -> AudioSystem.getAudioInputStream(new AudioFormat(44100, 16, 2, true, false), encoded));
            }
        }
    }

    @ParameterizedTest
    @CsvSource({"WAVE, 16, true, false", "WAVE, 8, false, false", "AU, 16, true, true", "AIFF, 16, true, true"})
    void theFormatsOfTheJdkStayItsOwn(String type, int bits, boolean signed, boolean bigEndian) throws Exception {
        byte[] pcm = Sounds.voice(8000, 2, 4000);
        AudioFormat format = new AudioFormat(8000, bits, 2, signed, bigEndian);
        File file = directory.resolve("sound").toFile();
        AudioSystem.write(new AudioInputStream(new ByteArrayInputStream(pcm), format, pcm.length / format.getFrameSize()),
                new AudioFileFormat.Type(type, type), file);
        for (AudioInputStream sound : List.of(AudioSystem.getAudioInputStream(file),
                AudioSystem.getAudioInputStream(new BufferedInputStream(new FileInputStream(file))),
                AudioSystem.getAudioInputStream(file.toURI().toURL()))) {
            assertThat(sound).isNotInstanceOf(EncodedAudioInputStream.class);
            assertThat(sound.getFormat().matches(format)).isTrue();
            assertThat(sound.readAllBytes()).isEqualTo(pcm);
        }
        for (String name : new String[] {"pcm_s16.wav", "pcm_s16_5.1.wav", "pcm_f32.wav", "alaw.wav", "mulaw.wav"}) {
            assertThat(AudioSystem.getAudioInputStream(TestMedia.stream(name).toFile()))
                    .isNotInstanceOf(EncodedAudioInputStream.class);
        }
    }

    static Stream<byte[]> othersBytes() throws IOException {
        byte[] noise = new byte[3_000_000];
        new Random(11).nextBytes(noise);
        List<byte[]> others = new ArrayList<>(List.of(noise, new byte[5000]));
        for (String text : List.of("", "R", "RIFF", "RIFF....WAVEfmt ", "text\n".repeat(9000), "ID3 explained",
                "Gone with the wind".repeat(100), "....mdat", "\0\0\0\u0018ftypisom", "ID3\u0003\0\0\0\0\0\0", "<html>",
                "\u0089PNG\r\n\u001a\n\0\0\0\rIHDR\0\0\0\t\0\0\0\t\b\u0002\0\0\0", "RF64....WAVEfmt ")) {
            others.add(text.getBytes(StandardCharsets.ISO_8859_1));
        }
        for (String name : List.of("flv1_nellymoser.flv", "h264_320x240.h264", "h264_b_320x240.mp4")) {
            others.add(Files.readAllBytes(TestMedia.stream(name)));
        }
        return others.stream();
    }

    @ParameterizedTest
    @MethodSource("othersBytes")
    void whatIsNotOursIsLeftAsItWas(byte[] bytes) throws IOException {
        InputStream stream = new BufferedInputStream(new ByteArrayInputStream(bytes), 10);
        File file = Files.write(directory.resolve("other"), bytes).toFile();
        refused(UnsupportedAudioFileException.class, "", () -> READER.getAudioInputStream(stream),
                () -> READER.getAudioFileFormat(stream), () -> AudioSystem.getAudioInputStream(stream),
                () -> READER.getAudioInputStream(file), () -> READER.getAudioFileFormat(file));
        assertThat(stream.readAllBytes()).isEqualTo(bytes);
    }

    @Test
    void streamsWithoutMarkAndFilesThatAreNoneAreRefused() throws Exception {
        try (FileInputStream stream = new FileInputStream(TestMedia.stream("mp3.mp3").toFile())) {
            refused(UnsupportedAudioFileException.class, "mark", () -> READER.getAudioInputStream(stream));
            assertThat(stream.getChannel().position()).isZero();
        }
        File none = directory.resolve("none").toFile();
        refused(UnsupportedAudioFileException.class, "", () -> READER.getAudioInputStream(none),
                () -> READER.getAudioInputStream(directory.toFile()), () -> READER.getAudioInputStream(new File("a\0b")));
        refused(FileNotFoundException.class, "", () -> AudioSystem.getAudioInputStream(none));
    }

    private static AudioInputStream foreign(String file, String encoding, float rate, int channels) throws IOException {
        return new AudioInputStream(new FileInputStream(TestMedia.stream(file).toFile()),
                new AudioFormat(new Encoding(encoding), rate, -1, channels, -1, -1, false), AudioSystem.NOT_SPECIFIED);
    }

    /** Not if their format is not what the bytes are, or a container is missing. */
    @Test
    void streamsOfOthersAreDecodedIfTheirBytesAreEnough() throws Exception {
        for (String file : new String[] {"mp3.mp3", "aac.aac", "ac3.ac3"}) {
            AudioInputStream pcm = AudioSystem.getAudioInputStream(Encoding.PCM_SIGNED,
                    foreign(file, file.substring(0, 3).toUpperCase(Locale.ROOT), 44100, 2));
            assertThat(pcm.readAllBytes()).isEqualTo(MediaAudioTest.decoded(TestMedia.stream(file)));
        }
        AudioInputStream m4a = AudioSystem.getAudioInputStream(TestMedia.stream("aac.m4a").toFile());
        AudioInputStream wma = AudioSystem.getAudioInputStream(TestMedia.stream("wma2.asf").toFile());
        for (AudioInputStream wrong : new AudioInputStream[] {foreign("mp3.mp3", "AC3", 44100, 2),
            foreign("mp3.mp3", "MP3", 48000, 2), foreign("mp3.mp3", "MP3", 44100, 1),
            foreign("gsm.wav", "MP3", 8000, 1), foreign("wma2.asf", "WMAV2", 44100, 2),
            new AudioInputStream(m4a, m4a.getFormat(), -1), new AudioInputStream(wma, wma.getFormat(), -1)}) {
            refused(IllegalArgumentException.class, "", () -> AudioSystem.getAudioInputStream(Encoding.PCM_SIGNED, wrong));
        }
    }
}
