package kiv.media.ffmpeg;

import java.util.ArrayDeque;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.Deque;
import java.util.List;

/**
 * What a decoder has decoded until its caller takes it: sound with its times, without what is not to be heard. A decoder's
 * calls use it one after the other.
 */
final class DecodedSound {

    private final int sampleRate;
    private final int channels;
    private final SampleFormat samples;
    private final AudioClock clock;
    private final SampleCutter cutter;
    /** Of the current call, with what is not to be heard. */
    private final List<byte[]> decoded = new ArrayList<>();
    private final Deque<AudioBlock> blocks = new ArrayDeque<>();

    /**
     * What a packet gives, with what is not to be heard of it.
     *
     * @param pcm all of it
     * @param first the first sample that is heard
     * @param end the first one behind those that are heard
     * @param timestamp when the first one is heard, in units of the stream's time base, or {@link Packet#NO_TIME}
     */
    record Uncut(byte[] pcm, int first, int end, long timestamp) {
    }

    DecodedSound(WaveFormat format, SampleFormat samples, AudioClock clock, SampleCutter cutter) {
        this.sampleRate = format.sampleRate();
        this.channels = format.channels();
        this.samples = samples;
        this.clock = clock;
        this.cutter = cutter;
    }

    private int sampleBytes() {
        return channels * samples.bytes();
    }

    /** What is added from now on is of a packet of this time, of which the container says this. */
    void begin(long time, SampleTrim trim) {
        clock.at(time);
        cutter.begin(trim);
    }

    /** The packet gave no sound. */
    void skipPacket() {
        clock.silent();
    }

    /** What is added from now on is what the decoder has held back. */
    void end() {
        clock.end();
    }

    /** Takes over PCM. {@return its samples of each channel} */
    int add(byte[] pcm) {
        int frames = pcm.length / sampleBytes();
        if (frames > 0) {
            decoded.add(pcm);
        }
        return frames;
    }

    /** Makes blocks of what was added, without what is not to be heard. @param skipped as {@link SampleCutter#cut} has it */
    void cut(long skipped) {
        if (decoded.isEmpty()) {
            return;
        }
        int size = sampleBytes();
        long length = 0;
        for (byte[] pcm : decoded) {
            length += pcm.length / size;
        }
        SampleCutter.Part part = cutter.cut(length, skipped);
        long at = 0;
        for (byte[] pcm : decoded) {
            int frames = pcm.length / size;
            int first = (int) Math.max(0, Math.min(frames, part.first() - at));
            int end = (int) Math.max(first, Math.min(frames, part.end() - at));
            clock.skip(first);
            if (first < end) {
                byte[] heard = first == 0 && end == frames ? pcm : Arrays.copyOfRange(pcm, first * size, end * size);
                blocks.add(new AudioBlock(heard, samples, sampleRate, channels, clock.time(), clock.timeBase()));
            }
            clock.advance(frames - first);
            at += frames;
        }
        decoded.clear();
    }

    /** Takes what was added, all of it. @param skipped as {@link SampleCutter#cut} has it */
    Uncut takeUncut(long skipped) {
        byte[] pcm = join();
        int frames = pcm.length / sampleBytes();
        if (frames == 0) {
            return new Uncut(pcm, 0, 0, Packet.NO_TIME);
        }
        SampleCutter.Part part = cutter.cut(frames, skipped);
        clock.skip(part.first());
        long time = clock.time();
        clock.advance((int) (frames - part.first()));
        return new Uncut(pcm, (int) part.first(), (int) part.end(), time);
    }

    private byte[] join() {
        byte[] pcm = new byte[decoded.stream().mapToInt(part -> part.length).sum()];
        int at = 0;
        for (byte[] part : decoded) {
            System.arraycopy(part, 0, pcm, at, part.length);
            at += part.length;
        }
        decoded.clear();
        return pcm;
    }

    /** Takes the oldest block. {@return null when there is none} */
    AudioBlock poll() {
        return blocks.poll();
    }

    /** {@return all blocks, which are the caller's} */
    List<AudioBlock> takeAll() {
        List<AudioBlock> all = new ArrayList<>(blocks);
        blocks.clear();
        return all;
    }

    /** Forgets the blocks that nobody took. */
    void clearBlocks() {
        blocks.clear();
    }

    /** Forgets everything but blocks, for a decoder that begins anew. */
    void reset() {
        clock.reset();
        cutter.reset();
        decoded.clear();
    }
}
