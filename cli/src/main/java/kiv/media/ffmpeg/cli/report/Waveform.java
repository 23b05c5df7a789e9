package kiv.media.ffmpeg.cli.report;

import java.nio.ByteBuffer;
import java.nio.ByteOrder;
import java.nio.ShortBuffer;
import java.util.Arrays;

/**
 * The outline of sound whose length is not known before. It keeps the extremes and the power of equally long pieces of
 * each channel, as many as a screen can show. When there are too many pieces, two become one.
 */
final class Waveform {

    /** Of all channels together; each channel has an even number of them. */
    private static final int MOST_PIECES = 1 << 14;
    private static final int MOST_PIECES_OF_A_CHANNEL = 1 << 11;
    static final double FULL_SCALE = 32768;

    private final int sampleRate;
    private final Channel[] channels;
    private final int capacity;
    /** Frames in a piece. */
    private long step = 1;
    private long frames;

    /** The pieces of one channel. */
    static final class Channel {
        private final short[] low;
        private final short[] high;
        private final double[] power;
        private final boolean[] clipped;
        private long fullScale;
        private int peak;
        private double energy;

        private Channel(int capacity) {
            low = new short[capacity];
            high = new short[capacity];
            power = new double[capacity];
            clipped = new boolean[capacity];
        }

        private void add(int piece, boolean first, short sample) {
            if (first) {
                low[piece] = sample;
                high[piece] = sample;
                power[piece] = 0;
                clipped[piece] = false;
            } else if (sample < low[piece]) {
                low[piece] = sample;
            } else if (sample > high[piece]) {
                high[piece] = sample;
            }
            power[piece] += (double) sample * sample;
            energy += (double) sample * sample;
            peak = Math.max(peak, Math.abs(sample));
            if (sample == Short.MAX_VALUE || sample == Short.MIN_VALUE) {
                clipped[piece] = true;
                fullScale++;
            }
        }

        private void halve() {
            for (int i = 0; i < low.length / 2; i++) {
                low[i] = (short) Math.min(low[2 * i], low[2 * i + 1]);
                high[i] = (short) Math.max(high[2 * i], high[2 * i + 1]);
                power[i] = power[2 * i] + power[2 * i + 1];
                clipped[i] = clipped[2 * i] || clipped[2 * i + 1];
            }
        }

        int low(int piece) {
            return low[piece];
        }

        int high(int piece) {
            return high[piece];
        }

        boolean isClipped(int piece) {
            return clipped[piece];
        }

        /** Returns how many samples are the largest or the smallest number of 16 bits. */
        long fullScale() {
            return fullScale;
        }

        /** Returns the largest absolute value of a sample, 0 to 32768. */
        int peak() {
            return peak;
        }
    }

    Waveform(int channels, int sampleRate) {
        this.sampleRate = sampleRate;
        this.capacity = Math.min(MOST_PIECES_OF_A_CHANNEL, MOST_PIECES / channels / 2 * 2);
        this.channels = new Channel[channels];
        Arrays.setAll(this.channels, i -> new Channel(capacity));
    }

    void add(int rate, int channelCount, ByteBuffer pcm) {
        if (channelCount != channels.length || rate != sampleRate) {
            throw new IllegalArgumentException("sound of " + channelCount + " channels and " + rate
                    + " Hz follows sound of " + channels.length + " channels and " + sampleRate + " Hz");
        }
        ShortBuffer samples = pcm.duplicate().order(ByteOrder.LITTLE_ENDIAN).asShortBuffer();
        while (samples.hasRemaining()) {
            if (frames == capacity * step) {
                for (Channel channel : channels) {
                    channel.halve();
                }
                step *= 2;
            }
            int piece = (int) (frames / step);
            boolean first = frames % step == 0;
            for (Channel channel : channels) {
                channel.add(piece, first, samples.get());
            }
            frames++;
        }
    }

    /** Returns the number of channels. */
    int channels() {
        return channels.length;
    }

    Channel channel(int index) {
        return channels[index];
    }

    /** Returns the number of pieces; the last one may be shorter. */
    int pieces() {
        return (int) ((frames + step - 1) / step);
    }

    /** Returns the length of the sound in pieces, with the fraction of the last one. */
    double length() {
        return (double) frames / step;
    }

    /** Returns the root mean square of a piece. */
    double rms(Channel channel, int piece) {
        return Math.sqrt(channel.power[piece] / Math.min(step, frames - piece * step));
    }

    /** Returns the root mean square of a whole channel. */
    double rms(Channel channel) {
        return frames == 0 ? 0 : Math.sqrt(channel.energy / frames);
    }

    /** Returns how many samples of each channel there were. */
    long frames() {
        return frames;
    }

    double seconds() {
        return (double) frames / sampleRate;
    }
}
