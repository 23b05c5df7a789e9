package kiv.media.ffmpeg;

import java.math.BigInteger;
import java.nio.ByteBuffer;
import java.nio.ByteOrder;
import java.util.HashMap;
import java.util.Map;

/**
 * Knows how each stream of sound begins: what is not to be heard, and the place. FFmpeg says it with the packets that it reads
 * first, and after a seek only for some containers.
 */
final class SoundBeginnings {

    private static final String OPUS = "opus";
    private static final int OPUS_PRE_SKIP = 10;
    /** Times of bytes up to there fit. */
    private static final long LARGEST_FILE = 1L << 42;

    private final Map<Integer, Packet> first = new HashMap<>();
    /** In MP4 only what an edit list leaves out has a time before 0. */
    private final boolean startsAtZero;
    private final boolean wave;
    /** The bytes of each stream's first packet. */
    private final Map<Integer, Integer> sizes = new HashMap<>();

    SoundBeginnings(String formatName) {
        startsAtZero = formatName.contains("mp4");
        wave = formatName.equals("wav") || formatName.equals("w64");
    }

    boolean knows(MediaStream stream) {
        return stream.kind() != MediaKind.AUDIO || first.containsKey(stream.index());
    }

    /**
     * Completes a packet.
     *
     * @param moved whether the reader has moved, so that this need not be the stream's first packet
     */
    Packet complete(Packet read, MediaStream stream, boolean moved) {
        Packet packet = moved && wave ? atItsPlace(read, stream) : read;
        if (stream.kind() != MediaKind.AUDIO) {
            return packet;
        }
        boolean opus = stream.codecName().equals(OPUS);
        Packet begin = first.get(stream.index());
        if (begin == null && !moved) {
            Packet complete = packet;
            if (packet.trim().start() == SampleTrim.UNSTATED && !packet.trim().whole()) {
                int start = opus ? preSkip(stream) : startsAtZero ? samples(0, packet.presentationTime(), stream) : 0;
                complete = start > 0 ? packet.trimmed(packet.trim().withStart(start)) : packet;
            }
            first.put(stream.index(), complete.withoutData());
            sizes.put(stream.index(), packet.size());
            return complete;
        }
        int start = begin != null && moved ? rest(begin, packet, stream) : 0;
        if (start > 0) {
            return packet.trimmed(packet.trim().withStart(start));
        }
        // A decoder that is opened in the middle would leave the beginning out there.
        return opus && packet.trim().start() == SampleTrim.UNSTATED ? packet.trimmed(packet.trim().withStart(0)) : packet;
    }

    /**
     * Corrects the time of a packet behind a seek. FFmpeg computes it from the bytes a second that the head states, and FFmpeg's
     * own encoders of ADPCM state a wrong number. All blocks are of the same length.
     */
    private Packet atItsPlace(Packet packet, MediaStream stream) {
        Packet begin = first.get(stream.index());
        if (begin == null || !stream.codecName().startsWith("adpcm_") || begin.position() < 0 || begin.duration() <= 0
                || begin.presentationTime() == Packet.NO_TIME || packet.position() < begin.position()
                || packet.position() > LARGEST_FILE) {
            return packet;
        }
        long bytes = packet.position() - begin.position();
        int size = sizes.get(stream.index());
        long time = begin.presentationTime() + bytes / size * begin.duration() + bytes % size * begin.duration() / size;
        return packet.at(time);
    }

    /** What of a stream's beginning reaches into a packet. */
    private static int rest(Packet begin, Packet packet, MediaStream stream) {
        int start = begin.trim().start();
        return start <= 0 || begin.presentationTime() == Packet.NO_TIME
                || packet.presentationTime() < begin.presentationTime() ? 0
                : Math.max(0, start - samples(packet.presentationTime(), begin.presentationTime(), stream));
    }

    /** The samples between two times; 0 when that is unknown or negative, and the most for what is no beginning. */
    private static int samples(long time, long before, MediaStream stream) {
        Rational unit = stream.timeBase();
        if (time == Packet.NO_TIME || before == Packet.NO_TIME || before > time || !unit.isKnown()) {
            return 0;
        }
        BigInteger samples = BigInteger.valueOf(time).subtract(BigInteger.valueOf(before))
                .multiply(BigInteger.valueOf(unit.numerator())).multiply(BigInteger.valueOf(stream.sampleRate()))
                .divide(BigInteger.valueOf(unit.denominator()));
        return samples.max(BigInteger.ZERO).min(BigInteger.valueOf(Integer.MAX_VALUE)).intValue();
    }

    /** Samples before the sound, as the head of Opus states it. */
    private static int preSkip(MediaStream stream) {
        byte[] head = stream.extradata();
        return head.length < OPUS_PRE_SKIP + Short.BYTES ? 0
                : Short.toUnsignedInt(ByteBuffer.wrap(head).order(ByteOrder.LITTLE_ENDIAN).getShort(OPUS_PRE_SKIP));
    }
}
