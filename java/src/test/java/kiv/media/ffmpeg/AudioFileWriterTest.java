package kiv.media.ffmpeg;

import static kiv.media.ffmpeg.Refusals.refused;
import static org.assertj.core.api.Assertions.assertThat;
import static org.assertj.core.api.Assertions.assertThatThrownBy;

import java.io.IOException;
import java.nio.ByteBuffer;
import java.nio.ByteOrder;
import java.nio.file.FileSystemException;
import java.nio.file.FileSystemLoopException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.List;
import java.util.stream.Stream;
import javax.sound.sampled.AudioSystem;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;

class AudioFileWriterTest {

    @TempDir
    Path directory;

    private static AudioBlock block(int bytes) {
        return new AudioBlock(new byte[bytes], SampleFormat.PCM_16, 8000, 1, 0, new Rational(1, 8000));
    }

    @Test
    void javaSoundReadsWhatIsWritten() throws Exception {
        Path file = Files.writeString(directory.resolve("a.wav"), "what was there before");
        try (AudioFileWriter writer = AudioFileWriter.create(file, WaveFormat.pcm16(8000, 1), AudioContainer.WAV)) {
            writer.write(block(1000));
            writer.write(block(600));
            assertThat(file).hasContent("what was there before");
            writer.finish();
            refused(MediaStateException.class, "", () -> writer.write(block(2)));
        }
        assertThat(AudioSystem.getAudioFileFormat(file.toFile()).getFrameLength()).isEqualTo(800);
        try (AudioFileWriter writer = AudioFileWriter.create(file, WaveFormat.pcm16(8000, 1), AudioContainer.WAV)) {
            Files.delete(file);
            Files.createDirectory(file);
            refused(FileSystemException.class, "", writer::finish);
        }
        assertThat(file).as("what only several steps could replace").isDirectory();
        assertThat(directory.toFile().list()).containsExactly("a.wav");
    }

    @Test
    void compressedSoundTellsItsLengthAndEndsEvenly() throws IOException {
        Path file = directory.resolve("b.wav");
        WaveFormat format = WaveFormat.of(WaveFormatTags.ALAW, 1, 8000, 8000, 1, 8, new byte[1]);
        try (AudioFileWriter writer = AudioFileWriter.create(file, format, AudioContainer.WAV)) {
            writer.write(List.of(Packet.of(new byte[] {1, 2, 3}, 0, 0, 0, true)));
            writer.finish(3);
        }
        ByteBuffer bytes = ByteBuffer.wrap(Files.readAllBytes(file)).order(ByteOrder.LITTLE_ENDIAN);
        assertThat(bytes.getInt(4)).isEqualTo(bytes.limit() - 8);
        assertThat(bytes.getInt(16)).isEqualTo(19);
        assertThat(bytes.getInt(40)).as("identifier of the chunk").isEqualTo(FourCharacterCode.of("fact"));
        assertThat(bytes.getInt(48)).isEqualTo(3);
        assertThat(bytes.getInt(56)).isEqualTo(3);
        assertThat(bytes.limit()).isEqualTo(60 + 4);
    }

    @Test
    void whatCannotBeIsRefusedAndWhatIsNotFinishedLeavesNothing() throws IOException {
        WaveFormat pcm = WaveFormat.pcm16(8000, 1);
        for (WaveFormat format : List.of(pcm, WaveFormat.of(WaveFormatTags.AAC, 1, 8000, 0, 0, 0, new byte[0]))) {
            refused(IllegalArgumentException.class, "",
                    () -> AudioFileWriter.create(directory.resolve("c"), format, AudioContainer.ADTS));
        }
        for (Path place : List.of(directory, directory.resolve("none/c.wav"), Path.of("/dev/null"))) {
            assertThatThrownBy(() -> AudioFileWriter.create(place, pcm, AudioContainer.WAV))
                    .isInstanceOf(FileSystemException.class).hasMessageContaining(place.toString());
        }
        try (AudioFileWriter writer = AudioFileWriter.create(directory.resolve("c"), pcm, AudioContainer.WAV)) {
            writer.write(block(100));
            AudioBlock stereo = new AudioBlock(new byte[4], SampleFormat.PCM_16, 8000, 2, 0, new Rational(1, 8000));
            refused(IllegalArgumentException.class, "", () -> writer.write(stereo), () -> writer.finish(-1));
        }
        assertThat(directory).isEmptyDirectory();
    }

    @Test
    void packetsAreWrittenAllOrNoneAndNothingAfterAFailure() throws IOException {
        Path file = directory.resolve("f.aac");
        WaveFormat aac = WaveFormat.of(WaveFormatTags.AAC, 1, 8000, 0, 0, 0, new byte[] {0x15, (byte) 0x88});
        try (AudioFileWriter writer = AudioFileWriter.create(file, aac, AudioContainer.ADTS)) {
            List<Packet> packets = Stream.of(9, 9000).map(size -> Packet.of(new byte[size], 0, 0, 0, true)).toList();
            refused(IllegalArgumentException.class, "", () -> writer.write(packets));
            refused(UnsupportedOperationException.class, "", writer::finish);
            writer.finish(0);
        }
        assertThat(file).isEmptyFile();
        Files.delete(file);
        try (AudioFileWriter writer = AudioFileWriter.create(file, WaveFormat.pcm16(8000, 1), AudioContainer.RAW)) {
            Thread.currentThread().interrupt();
            assertThatThrownBy(() -> writer.write(block(1 << 17))).isInstanceOf(IOException.class);
            assertThat(Thread.interrupted()).isTrue();
            refused(MediaStateException.class, "lost", () -> writer.write(block(2)), writer::finish);
        }
        assertThat(directory).isEmptyDirectory();
    }

    @Test
    void aSymbolicLinkStaysAndWhatItLeadsToIsWritten() throws IOException {
        Path other = Files.createDirectory(directory.resolve("other"));
        Path link = Files.createSymbolicLink(directory.resolve("a"), Path.of("other/b"));
        Files.createSymbolicLink(other.resolve("b"), other.resolve("c"));
        for (int bytes : new int[] {2, 4}) {
            try (AudioFileWriter writer = AudioFileWriter.create(link, WaveFormat.pcm16(8000, 1), AudioContainer.RAW)) {
                writer.write(block(bytes));
                assertThat(other.toFile().list()).hasSize(bytes / 2 + 1);
                writer.finish();
            }
            assertThat(link).isSymbolicLink().hasSize(bytes);
        }
        Path loop = Files.createSymbolicLink(directory.resolve("loop"), Path.of("loop"));
        refused(FileSystemLoopException.class, "loop",
                () -> AudioFileWriter.create(loop, WaveFormat.pcm16(8000, 1), AudioContainer.RAW));
    }
}
