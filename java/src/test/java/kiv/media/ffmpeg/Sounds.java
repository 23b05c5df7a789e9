package kiv.media.ffmpeg;

import java.math.BigInteger;
import java.nio.ByteBuffer;
import java.nio.ByteOrder;
import java.nio.ShortBuffer;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import java.util.TreeSet;

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

    /** A tone on each channel. */
    static byte[] tones(int sampleRate, int frames, double... frequencies) {
        ByteBuffer pcm = ByteBuffer.allocate(frames * frequencies.length * Short.BYTES).order(ByteOrder.LITTLE_ENDIAN);
        for (int i = 0; i < frames; i++) {
            for (double frequency : frequencies) {
                pcm.putShort((short) (8000 * Math.sin(2 * Math.PI * frequency * i / sampleRate)));
            }
        }
        return pcm.array();
    }

    /** How loud a tone is in the second half of a channel, in units of what {@link #tones} makes. */
    static double loudness(byte[] pcm, int channels, int channel, double frequency) {
        ShortBuffer samples = ByteBuffer.wrap(pcm).order(ByteOrder.LITTLE_ENDIAN).asShortBuffer();
        int frames = samples.limit() / channels;
        double sine = 0;
        double cosine = 0;
        for (int i = frames / 2; i < frames; i++) {
            sine += samples.get(i * channels + channel) * Math.sin(2 * Math.PI * frequency * i);
            cosine += samples.get(i * channels + channel) * Math.cos(2 * Math.PI * frequency * i);
        }
        return Math.hypot(sine, cosine) * 4 / frames / 8000;
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
        List<AudioBlock> blocks = new ArrayList<>();
        packets.forEach(packet -> blocks.addAll(decoder.decode(packet)));
        blocks.addAll(decoder.finish());
        return join(blocks);
    }

    /** The PCM of some blocks. */
    static byte[] join(List<AudioBlock> blocks) {
        ByteBuffer pcm = ByteBuffer.allocate(blocks.stream().mapToInt(block -> block.data().remaining()).sum());
        blocks.forEach(block -> pcm.put(block.data()));
        return pcm.array();
    }

    /** WMA Lossless: silent frames of 512 samples, one behind the other without regard to the packets' ends. */
    static List<byte[]> losslessWma(int packetSize, int frames) {
        int lengthBits = 35 - Integer.numberOfLeadingZeros(packetSize);
        int room = packetSize * Byte.SIZE - 6 - lengthBits;
        StringBuilder bits = new StringBuilder();
        TreeSet<Integer> starts = new TreeSet<>();
        for (int i = 0; i < frames; i++) {
            starts.add(bits.length());
            // The first one sets the decoder up. The last bit says whether another frame begins in the same packet.
            bits.append(i == 0 ? "101" + "0".repeat(33) : "100000");
            bits.append(i + 1 < frames && (bits.length() + 1) / room == starts.last() / room ? '1' : '0');
        }
        starts.add(bits.length());
        List<byte[]> packets = new ArrayList<>();
        for (int from = 0; from < bits.length(); from += room) {
            int ofThePacketBefore = Math.min(room, starts.ceiling(from) - from);
            String packet = binary(packets.size() % 16, 4) + "00" + binary(ofThePacketBefore, lengthBits)
                    + bits.substring(from, Math.min(bits.length(), from + room));
            String padding = "0".repeat(packetSize * Byte.SIZE - packet.length());
            packets.add(new BigInteger("1" + packet + padding, 2).toByteArray());
        }
        return packets.stream().map(packet -> Arrays.copyOfRange(packet, 1, packetSize + 1)).toList();
    }

    private static String binary(int value, int digits) {
        return Integer.toBinaryString(1 << digits | value).substring(1);
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
