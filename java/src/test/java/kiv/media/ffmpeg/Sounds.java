package kiv.media.ffmpeg;

import java.nio.ByteBuffer;
import java.nio.ByteOrder;
import java.nio.ShortBuffer;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import java.util.stream.Stream;

/** Sound that tests encode, and how near to it what comes back is. */
public final class Sounds {

    private Sounds() {
    }

    /** A vowel whose pitch moves, another pitch on each channel, without repetition: PCM of 16 bits. */
    public static byte[] voice(int sampleRate, int channels, int frames) {
        ByteBuffer pcm = ByteBuffer.allocate(frames * channels * Short.BYTES).order(ByteOrder.LITTLE_ENDIAN);
        double[] phase = new double[channels];
        for (int i = 0; i < frames * channels; i++) {
            int channel = i % channels;
            double time = (double) (i / channels) / sampleRate;
            double pitch = 120 + 25 * channel + 30 * Math.sin(3 * time) + 7 * Math.sin(17 * time);
            phase[channel] += 2 * Math.PI * pitch / sampleRate;
            double voice = 0;
            for (int tone = 1; tone < 12; tone++) {
                double throat = (tone * pitch - 500) / 150;
                double mouth = (tone * pitch - 1100) / 150;
                voice += Math.sin(tone * phase[channel]) * (Math.exp(-throat * throat) + 0.3 * Math.exp(-mouth * mouth));
            }
            pcm.putShort((short) (8_000 * (0.7 + 0.3 * Math.sin(9 * time)) * voice));
        }
        return pcm.array();
    }

    /** All of an encoder's packets for some PCM, which it gets in pieces. */
    static List<Packet> encode(AudioEncoder encoder, byte[] pcm) {
        int piece = encoder.format().channels() * Short.BYTES * 777;
        List<Packet> packets = new ArrayList<>();
        for (int at = 0; at < pcm.length; at += piece) {
            packets.addAll(encoder.encode(Arrays.copyOfRange(pcm, at, Math.min(pcm.length, at + piece))));
        }
        packets.addAll(encoder.finish());
        return packets;
    }

    /** All the PCM of some packets. */
    static byte[] decode(AudioDecoder decoder, List<Packet> packets) {
        return join(Stream.concat(packets.stream().flatMap(packet -> decoder.decode(packet).stream()),
                decoder.finish().stream()).toList());
    }

    /** The PCM of some blocks. */
    static byte[] join(List<AudioBlock> blocks) {
        ByteBuffer pcm = ByteBuffer.allocate(blocks.stream().mapToInt(block -> block.data().remaining()).sum());
        blocks.forEach(block -> pcm.put(block.data()));
        return pcm.array();
    }

    /** Decibels by which sound is louder than the difference to what was decoded, where it begins some samples later. */
    public static double signalToNoise(byte[] pcm, byte[] decoded, int offset) {
        ShortBuffer expected = ByteBuffer.wrap(pcm).order(ByteOrder.LITTLE_ENDIAN).asShortBuffer();
        ShortBuffer actual = ByteBuffer.wrap(decoded).order(ByteOrder.LITTLE_ENDIAN).asShortBuffer();
        if (actual.limit() < expected.limit() + offset) {
            throw new AssertionError("only " + actual.limit() + " of " + (expected.limit() + offset) + " samples");
        }
        double signal = 0;
        double noise = 0;
        for (int i = Math.max(0, -offset); i < expected.limit(); i++) {
            double sample = expected.get(i);
            double difference = actual.get(i + offset) - sample;
            signal += sample * sample;
            noise += difference * difference;
        }
        return 10 * Math.log10(signal / noise);
    }
}
