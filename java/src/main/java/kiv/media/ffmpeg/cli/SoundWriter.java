package kiv.media.ffmpeg.cli;

import java.io.IOException;
import java.nio.file.Path;
import kiv.media.ffmpeg.AudioBlock;
import kiv.media.ffmpeg.AudioContainer;
import kiv.media.ffmpeg.AudioDecoder;
import kiv.media.ffmpeg.AudioFileWriter;
import kiv.media.ffmpeg.DecodeException;
import kiv.media.ffmpeg.MediaStream;
import kiv.media.ffmpeg.Packet;
import kiv.media.ffmpeg.Rational;

/** Decodes a stream of sound into a WAV file. */
final class SoundWriter implements AutoCloseable {

    private final MediaStream sound;
    private final Path file;
    private final AudioDecoder decoder;
    private final AudioFileWriter writer;
    private long frames;
    private long damaged;

    /**
     * Begins.
     *
     * @param sound the stream
     * @param decoder its decoder, which belongs to this object from now on
     * @param file the WAV file
     * @throws IOException when the file cannot be written
     */
    SoundWriter(MediaStream sound, AudioDecoder decoder, Path file) throws IOException {
        this.sound = sound;
        this.file = file;
        this.decoder = decoder;
        try {
            this.writer = AudioFileWriter.create(file, decoder.pcmFormat(), AudioContainer.WAV);
        } catch (Throwable e) {
            decoder.close();
            throw e;
        }
    }

    boolean accepts(Packet packet) {
        return decoder.accepts(packet);
    }

    /** Decodes and writes a packet; a damaged one is counted and left out. */
    void write(Packet packet) throws IOException {
        try {
            write(decoder.decode(packet));
        } catch (DecodeException e) {
            damaged++;
        }
    }

    /** Writes what is left and gives the file its name. */
    void finish() throws IOException {
        write(decoder.finish());
        writer.finish(frames);
    }

    /** Samples of a channel so far. */
    long frames() {
        return frames;
    }

    double seconds() {
        return (double) frames / decoder.format().sampleRate();
    }

    /** What there was, in one line. */
    String summary() {
        return InfoCommand.codec(sound) + ", " + InfoCommand.sound(sound) + ", " + frames + " samples ("
                + InfoCommand.clock(new Rational(1, decoder.format().sampleRate()).times(frames)) + ") written to "
                + file + (damaged == 0 ? "" : "; " + damaged + " damaged packets skipped");
    }

    @Override
    public void close() throws IOException {
        try {
            writer.close();
        } finally {
            decoder.close();
        }
    }

    private void write(Iterable<AudioBlock> blocks) throws IOException {
        for (AudioBlock block : blocks) {
            writer.write(block);
            frames += block.frames();
        }
    }
}
