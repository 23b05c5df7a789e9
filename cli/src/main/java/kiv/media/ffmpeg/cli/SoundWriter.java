package kiv.media.ffmpeg.cli;

import java.io.IOException;
import java.nio.ByteBuffer;
import java.nio.file.Path;
import java.time.Duration;
import java.util.List;
import java.util.function.Consumer;
import kiv.media.ffmpeg.AudioBlock;
import kiv.media.ffmpeg.AudioContainer;
import kiv.media.ffmpeg.AudioDecoder;
import kiv.media.ffmpeg.AudioFileWriter;
import kiv.media.ffmpeg.DecodeException;
import kiv.media.ffmpeg.MediaStream;
import kiv.media.ffmpeg.Packet;
import kiv.media.ffmpeg.Rational;

/** Decodes a stream of sound, or a part of it, into a WAV file. */
final class SoundWriter implements AutoCloseable {

    private static final long NANOS = 1_000_000_000;
    private static final int LEAST_GAPS_A_SECOND = 20;
    /** More samples than there are, from which any time can be subtracted. */
    private static final long FOREVER = Long.MAX_VALUE / 2;
    /** A WAV file's header tells lengths in 32 bits; with room for the header itself. */
    private static final long MOST_BYTES = (1L << 32) - 128;

    private final MediaStream sound;
    private final Path file;
    private final AudioDecoder decoder;
    private final AudioFileWriter writer;
    private final SampleClock clock;
    private final DecodeObserver observer;
    private final Consumer<String> warnings;
    /** First sample of the part and the one behind it, from the container's zero. */
    private final long begin;
    private long end;
    private long frames;
    private long damaged;
    private long next;
    private boolean started;
    private boolean done;

    /**
     * Begins.
     *
     * @param sound the stream
     * @param decoder its decoder, which belongs to this object from now on
     * @param file the WAV file
     * @param range the part to write
     * @param start the file's beginning from the container's zero
     * @param observer sees what is written
     * @param warnings told in a line when the file is full
     * @throws OutputException when the file cannot be written
     */
    SoundWriter(MediaStream sound, AudioDecoder decoder, Path file, TimeRange range, Duration start,
            DecodeObserver observer, Consumer<String> warnings) throws OutputException {
        this.sound = sound;
        this.file = file;
        this.decoder = decoder;
        this.observer = observer;
        this.warnings = warnings;
        this.clock = new SampleClock(sound.timeBase(), decoder.format().sampleRate());
        this.begin = range.from() == null ? -FOREVER : samples(range.from().plus(start));
        this.end = range.to() == null ? FOREVER : samples(range.to().plus(start));
        try {
            this.writer = Unfinished.open(() -> AudioFileWriter.create(file, decoder.pcmFormat(), AudioContainer.WAV));
        } catch (IOException e) {
            decoder.close();
            throw OutputException.of(file, e);
        } catch (Throwable e) {
            decoder.close();
            throw e;
        }
    }

    private long samples(Duration time) {
        long rate = decoder.format().sampleRate();
        // Damaged files tell any times.
        long seconds = Math.max(-FOREVER / rate, Math.min(FOREVER / rate, time.getSeconds()));
        return seconds * rate + Math.round((double) time.getNano() * rate / NANOS);
    }

    /** Ends the part at some time from the container's zero, if not before. */
    void endAt(Duration time) {
        end = Math.min(end, samples(time));
        done |= started && next >= end;
    }

    /** Whether some of a packet's sound is heard before a time from the container's zero, as far as it tells. */
    boolean beginsBefore(Packet packet, Duration time) {
        return sound.time(packet.presentationTime()).map(begins -> begins.compareTo(time) < 0).orElse(true);
    }

    boolean accepts(Packet packet) {
        return decoder.accepts(packet);
    }

    /** Decodes and writes a packet; a damaged one is counted and left out. */
    void write(Packet packet) throws OutputException {
        List<AudioBlock> blocks;
        clock.at(packet);
        try {
            blocks = decoder.decode(packet);
        } catch (DecodeException e) {
            damaged++;
            return;
        }
        write(blocks);
    }

    /** Writes what is left and gives the file its name. */
    void finish() throws OutputException {
        if (!done) {
            write(decoder.finish());
        }
        try {
            writer.finish(frames);
        } catch (IOException e) {
            throw OutputException.of(file, e);
        }
    }

    /** {@return whether the part's end is reached} */
    boolean isDone() {
        return done;
    }

    /** Samples of a channel so far. */
    long frames() {
        return frames;
    }

    long damaged() {
        return damaged;
    }

    double seconds() {
        return (double) frames / decoder.format().sampleRate();
    }

    /** What there was, in one line. */
    String summary() {
        return Texts.codec(sound) + ", " + Texts.sound(sound) + ", " + frames + " samples ("
                + Texts.clock(new Rational(1, decoder.format().sampleRate()).times(frames)) + ") written to " + file
                + Texts.damaged(damaged);
    }

    @Override
    public void close() throws IOException {
        try {
            writer.close();
        } finally {
            Unfinished.forget(writer);
            decoder.close();
        }
    }

    private void write(List<AudioBlock> blocks) throws OutputException {
        for (AudioBlock block : blocks) {
            long time = begin(block);
            int first = within(begin - time, block);
            int last = within(end - time, block);
            done |= last < block.frames();
            if (first < last) {
                write(block, first, last, time);
            }
        }
    }

    /** Blocks follow each other, whatever a container's rounding makes of it, unless there is a gap. */
    private long begin(AudioBlock block) {
        long told = clock.next(block);
        if (!started || Math.abs(told - next) > block.sampleRate() / LEAST_GAPS_A_SECOND) {
            next = told;
            started = true;
        }
        long time = next;
        next += block.frames();
        return time;
    }

    private static int within(long frame, AudioBlock block) {
        return (int) Math.max(0, Math.min(block.frames(), frame));
    }

    private void write(AudioBlock block, int first, int last, long time) throws OutputException {
        int size = block.channels() * Short.BYTES;
        if ((frames + last - first) * size > MOST_BYTES) {
            warnings.accept(file + ": a WAV file holds no more than 4 GiB, and the rest of the sound is left out");
            done = true;
            return;
        }
        ByteBuffer part = block.data().slice(first * size, (last - first) * size);
        byte[] pcm = new byte[part.remaining()];
        part.duplicate().get(pcm);
        try {
            writer.write(List.of(Packet.of(pcm, 0, 0, 0, true)));
        } catch (IOException e) {
            Unfinished.check();
            throw OutputException.of(file, e);
        }
        frames += last - first;
        observer.sound((double) (time + first) / block.sampleRate(), block.sampleRate(), block.channels(), part);
    }
}
