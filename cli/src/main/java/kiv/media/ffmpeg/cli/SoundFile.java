package kiv.media.ffmpeg.cli;

import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.List;
import kiv.media.ffmpeg.AudioContainer;
import kiv.media.ffmpeg.AudioEncoder;
import kiv.media.ffmpeg.AudioFileWriter;
import kiv.media.ffmpeg.Packet;
import kiv.media.ffmpeg.WaveFormat;

/**
 * A file of sound that appears under its name when it is whole. Its failures name the file. One thread at a time may
 * use it; any thread may close it.
 */
final class SoundFile implements AutoCloseable {

    private final Path file;
    private final AudioFileWriter writer;

    private SoundFile(Path file, AudioFileWriter writer) {
        this.file = file;
        this.writer = writer;
    }

    /** Begins a file, which replaces an existing one when it is finished. */
    static SoundFile create(Path file, WaveFormat format, AudioContainer container) throws OutputException {
        try {
            return ShutdownGuard.open(() -> new SoundFile(file, AudioFileWriter.create(file, format, container)));
        } catch (IOException e) {
            throw OutputException.of(file, e);
        }
    }

    /** Begins a file of an encoder's packets, which replaces an existing one when it is finished. */
    static SoundFile create(Path file, AudioEncoder encoder, AudioContainer container) throws OutputException {
        try {
            return ShutdownGuard.open(() -> new SoundFile(file, AudioFileWriter.create(file, encoder, container)));
        } catch (IOException e) {
            throw OutputException.of(file, e);
        }
    }

    void write(List<Packet> packets) throws OutputException {
        try {
            writer.write(packets);
        } catch (IOException e) {
            ShutdownGuard.throwIfEnding();
            throw OutputException.of(file, e);
        }
    }

    /** {@return how many bytes the finished file has} */
    long bytes() throws IOException {
        return Files.size(file);
    }

    /** Gives the file its length in samples of a channel and its name. */
    void finish(long frames) throws OutputException {
        try {
            writer.finish(frames);
        } catch (IOException e) {
            ShutdownGuard.throwIfEnding();
            throw OutputException.of(file, e);
        }
    }

    /** Ends the writing; without {@link #finish} before it, the file is removed. */
    @Override
    public void close() throws IOException {
        try {
            writer.close();
        } finally {
            ShutdownGuard.forget(this);
        }
    }
}
