package kiv.media.ffmpeg.cli;

import java.io.IOException;
import java.nio.ByteBuffer;
import java.nio.file.Path;
import java.time.Duration;
import java.util.List;
import java.util.Locale;
import java.util.function.Consumer;
import kiv.media.ffmpeg.AudioBlock;
import kiv.media.ffmpeg.AudioContainer;
import kiv.media.ffmpeg.AudioDecoder;
import kiv.media.ffmpeg.DecodeException;
import kiv.media.ffmpeg.MediaStream;
import kiv.media.ffmpeg.Packet;
import kiv.media.ffmpeg.Rational;
import kiv.media.ffmpeg.Sound;

/** Decodes a stream of sound, or a part of it, into a WAV file. */
final class SoundWriter implements AutoCloseable {

    private static final long NANOS = 1_000_000_000;
    private static final int LEAST_GAPS_A_SECOND = 20;
    /** Larger than any number of samples; any time can be subtracted from it. */
    private static final long FOREVER = Long.MAX_VALUE / 2;
    /** A WAV file's header holds lengths in 32 bits; this leaves room for the header itself. */
    private static final long MOST_BYTES = (1L << 32) - 128;
    /** Longer silence before sound is not meant. */
    private static final int MOST_SECONDS_OF_SILENCE = 3600;
    private static final int SILENT_FRAMES = 4096;

    private final MediaStream stream;
    private final Path file;
    private final AudioDecoder decoder;
    private final SoundFile output;
    private final SampleClock clock;
    /** Gives the part without the packets of the job; null when they are decoded one after the other. */
    private final Sound exact;
    private final DecodeObserver observer;
    private final Consumer<String> warnings;
    /** Whether the part begins where the file does. */
    private final boolean whole;
    /** First sample of the part and the first one behind it, from the container's zero. */
    private long begin;
    private long end;
    private long frames;
    private long damaged;
    private String reason = "";
    private long next;
    private boolean started;
    private boolean done;
    private boolean finished;
    /** Whether the file begins with the part's first picture. */
    private boolean aligned;
    /** Samples of silence before the sound; less than 0 for those of the sound that are left out. */
    private long silence;

    /**
     * Begins to write.
     *
     * @param stream the stream
     * @param exact the same sound, which this object owns from now on and takes the part from; null to decode the packets
     *     that it gets
     * @param decoder its decoder, which this object owns from now on
     * @param file the WAV file
     * @param range the part to write
     * @param start the file's beginning from the container's zero
     * @param observer receives what is written
     * @param warnings receives a line when the file is full
     * @throws OutputException when the file cannot be written
     */
    SoundWriter(MediaStream stream, Sound exact, AudioDecoder decoder, Path file, TimeRange range, Duration start,
            DecodeObserver observer, Consumer<String> warnings) throws IOException {
        this.stream = stream;
        this.exact = exact;
        this.file = file;
        this.decoder = decoder;
        this.observer = observer;
        this.warnings = warnings;
        this.clock = new SampleClock(stream.timeBase(), decoder.format().sampleRate());
        this.whole = range.from() == null;
        this.begin = range.from() == null ? -FOREVER : samples(range.from().plus(start));
        this.end = range.to() == null ? FOREVER : samples(range.to().plus(start));
        try {
            this.output = SoundFile.create(file, decoder.pcmFormat(), AudioContainer.WAV);
        } catch (Throwable e) {
            try (exact) {
                decoder.close();
            }
            throw e;
        }
    }

    private long samples(Duration time) {
        long rate = decoder.format().sampleRate();
        // Damaged files hold any times.
        long seconds = Math.max(-FOREVER / rate, Math.min(FOREVER / rate, time.getSeconds()));
        return seconds * rate + Math.round((double) time.getNano() * rate / NANOS);
    }

    /**
     * Begins the part at the time of its first picture, from the container's zero: sound before it is left out, and silence is
     * put before sound that begins later.
     */
    void beginAt(Duration picture) {
        if (!started) {
            begin = Math.max(begin, samples(picture));
            aligned = true;
        }
    }

    /** Ends the part at a time from the container's zero, unless it ends earlier. */
    void endAt(Duration time) {
        end = Math.min(end, samples(time));
        done |= started && next >= end;
    }

    /** Returns whether a packet begins before a time from the container's zero; true when its time is unknown. */
    boolean beginsBefore(Packet packet, Duration time) {
        return stream.time(packet.presentationTime()).map(begins -> begins.compareTo(time) < 0).orElse(true);
    }

    boolean accepts(Packet packet) {
        return exact == null && decoder.accepts(packet);
    }

    /** Decodes and writes a packet; counts a damaged one and leaves it out. */
    void write(Packet packet) throws OutputException {
        List<AudioBlock> blocks;
        try {
            blocks = decoder.decode(packet);
        } catch (DecodeException e) {
            damaged++;
            reason = reason.isEmpty() ? ConsoleText.reason(e) : reason;
            return;
        }
        write(blocks);
    }

    /** Writes what the decoder still holds, or all of an exact part. */
    void end() throws IOException {
        if (exact == null) {
            if (!done) {
                write(decoder.finish());
            }
            return;
        }
        Rational sample = new Rational(1, exact.format().sampleRate());
        long last = exact.numberAt(sample.times(end));
        AudioBlock block;
        for (long next = exact.numberAt(sample.times(begin)); next < last && !done; next += block.frames()) {
            block = exact.samples(next, Math.min(last, next + exact.format().sampleRate()));
            if (block.frames() == 0) {
                break;
            }
            write(block, 0, block.frames(), block.timestamp());
        }
    }

    /** Gives the file its name. */
    void finish() throws OutputException {
        output.finish(frames);
        finished = true;
    }

    /** {@return whether no more packets are wanted} */
    boolean isDone() {
        return done || exact != null;
    }

    /** Returns how many samples of each channel are written so far. */
    long frames() {
        return frames;
    }

    long damaged() {
        return damaged;
    }

    /** {@return why packets could not be decoded, to follow a message; empty when it is only their bytes} */
    String reason() {
        return reason;
    }

    /** {@return how many files are written} */
    long files() {
        return finished ? 1 : 0;
    }

    /** {@return how many bytes they have} */
    long bytes() throws IOException {
        return finished ? output.bytes() : 0;
    }

    double seconds() {
        return (double) frames / decoder.format().sampleRate();
    }

    /** Returns what was decoded and written, in one line. */
    String summary() {
        return ConsoleText.codec(stream) + ", " + ConsoleText.sound(stream) + ", " + frames + " samples ("
                + ConsoleText.clock(new Rational(1, decoder.format().sampleRate()).times(frames)) + ") written to "
                + file + shift() + ConsoleText.damaged(damaged);
    }

    private String shift() {
        String seconds = String.format(Locale.ROOT, "%.3f s", Math.abs((double) silence) / decoder.format().sampleRate());
        return silence == 0 ? "" : silence > 0 ? ", with " + seconds + " of silence before it, so as to begin with the pictures"
                : ", without its first " + seconds + ", so as to begin with the pictures";
    }

    @Override
    public void close() throws IOException {
        try (exact; decoder) {
            output.close();
        }
    }

    private void write(List<AudioBlock> blocks) throws OutputException {
        for (AudioBlock block : blocks) {
            long time = begin(block);
            int first = within(begin - time, block);
            if (aligned && whole && frames == 0) {
                silence -= first;
            }
            int last = within(end - time, block);
            done |= last < block.frames();
            if (first < last) {
                write(block, first, last, time);
            }
        }
    }

    /** Returns when a block begins: where the last one ended, whatever the container's rounding says, or after a gap. */
    private long begin(AudioBlock block) {
        long counted = clock.next(block.timestamp(), block.frames());
        if (!started || Math.abs(counted - next) > block.sampleRate() / LEAST_GAPS_A_SECOND) {
            next = counted;
            started = true;
        }
        long time = next;
        next += block.frames();
        return time;
    }

    private static int within(long frame, AudioBlock block) {
        return (int) Math.max(0, Math.min(block.frames(), frame));
    }

    /** Returns whether a WAV file holds so many frames of so many bytes. */
    static boolean holds(long frames, int size) {
        return frames * size <= MOST_BYTES;
    }

    private void write(AudioBlock block, int first, int last, long time) throws OutputException {
        int size = block.channels() * Short.BYTES;
        if (aligned && frames == 0) {
            putSilence(time + first - begin, block.sampleRate(), size);
        }
        if (!holds(frames + last - first, size)) {
            warnings.accept(file + ": a WAV file holds no more than 4 GiB, and the rest of the sound is left out");
            done = true;
            return;
        }
        ByteBuffer part = block.data().slice(first * size, (last - first) * size);
        byte[] pcm = new byte[part.remaining()];
        part.duplicate().get(pcm);
        output.write(List.of(Packet.of(pcm, 0, 0, 0, true)));
        frames += last - first;
        observer.sound((double) (time + first) / block.sampleRate(), block.sampleRate(), block.channels(), part);
    }

    private void putSilence(long wanted, int rate, int size) throws OutputException {
        if (wanted > (long) MOST_SECONDS_OF_SILENCE * rate) {
            warnings.accept(file + ": the sound begins more than an hour after the pictures; no silence is put before it");
            return;
        }
        for (long left = wanted; left > 0; left -= SILENT_FRAMES) {
            output.write(List.of(Packet.of(new byte[(int) Math.min(left, SILENT_FRAMES) * size], 0, 0, 0, true)));
        }
        if (wanted > 0) {
            silence = wanted;
            frames = wanted;
        }
    }
}
