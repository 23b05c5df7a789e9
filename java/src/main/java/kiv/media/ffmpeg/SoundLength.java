package kiv.media.ffmpeg;

import java.io.IOException;
import java.util.ArrayDeque;
import java.util.Deque;
import java.util.Map;
import java.util.OptionalLong;
import java.util.Set;
import java.util.regex.Pattern;
import kiv.media.ffmpeg.natives.PacketFields;

/**
 * Counts the samples of a sound where each packet states exactly how many it gives. Only its first and last packets are
 * decoded. Times in other containers are rounded, estimated, or include sound that a decoder does not deliver.
 */
final class SoundLength {

    /** Larger files are not read for it. */
    private static final long LARGEST = 256L << 20;
    /** So many packets at the beginning and at the end are decoded to see whether they give what they state. */
    private static final int DECODED = 3;
    private static final String AAC = "aac";
    /** Codecs whose packets state it, by the first name of the container. */
    private static final Map<String, Pattern> EXACT = Map.of("flac", Pattern.compile("flac"),
            "mp3", Pattern.compile("mp[23]"), "ogg", Pattern.compile("flac|opus"), "mov", Pattern.compile("alac|" + AAC),
            "aiff", Pattern.compile("pcm_.*"), "au", Pattern.compile("pcm_.*"), "caf", Pattern.compile("pcm_.*"),
            "w64", Pattern.compile("pcm_.*"), "wav", Pattern.compile("pcm_.*"), "tta", Pattern.compile("tta"));
    /** Containers that state the whole length besides. */
    private static final Set<String> STATED = Set.of("flac", "tta", "aiff", "au", "caf", "w64", "wav");

    private final MediaReader reader;
    private final MediaStream stream;
    private final String container;
    private final SampleCutter cutter = new SampleCutter(true);
    /** What the first packet gives. */
    private long frame;
    /** Whether nothing of the last packet was heard, so that what is left out may go on. */
    private boolean beginning;
    private long samples;

    private SoundLength(MediaReader reader, MediaStream stream) {
        this.reader = reader;
        this.stream = stream;
        this.container = reader.formatName().split(",")[0];
    }

    /**
     * Counts the samples of each channel that decoding gives. The reader reads to its end for that.
     *
     * @param size bytes of the medium
     * @return empty when that is not certain
     */
    static OptionalLong count(MediaReader reader, MediaStream stream, long size) throws IOException {
        SoundLength length = new SoundLength(reader, stream);
        Pattern exact = EXACT.get(length.container);
        if (exact == null || !exact.matcher(stream.codecName()).matches() || size > LARGEST) {
            return OptionalLong.empty();
        }
        try {
            return length.addAll() && length.isAsStated() ? OptionalLong.of(length.samples) : OptionalLong.empty();
        } catch (MediaFormatException e) {
            return OptionalLong.empty();
        }
    }

    private boolean addAll() throws IOException {
        long[] fields = new long[PacketFields.SIZE_WITH_LENGTH];
        Deque<Packet> last = new ArrayDeque<>();
        boolean certain = true;
        try (AudioDecoder decoder = AudioDecoder.open(stream)) {
            int count = 0;
            for (Packet packet; certain && (packet = reader.demuxer().readOf(stream, fields)) != null; count++) {
                certain = !packet.isDamaged() && fields[PacketFields.ERRORS] == 0;
                if (count < DECODED) {
                    certain &= begin(packet, decoder);
                } else {
                    last.add(packet);
                }
                if (last.size() > DECODED) {
                    certain &= add(last.peek(), given(last.remove()));
                }
            }
            // The last one may be cut off.
            decoder.reset();
            for (Packet packet : last) {
                long gave = frames(decoder.uncut(packet), decoder);
                certain = certain && !beginning && isExpected(gave, packet) && add(packet, gave);
            }
        }
        return certain && samples > 0;
    }

    /** Adds one of the first packets, of which the decoder itself leaves out a part. */
    private boolean begin(Packet packet, AudioDecoder decoder) {
        DecodedSound.Uncut sound = decoder.uncut(packet);
        long gave = frames(sound, decoder);
        frame = frame == 0 ? gave : frame;
        samples += sound.end() - sound.first();
        beginning = sound.first() == gave;
        return isExpected(gave, packet);
    }

    private boolean add(Packet packet, long gave) {
        cutter.begin(packet.trim());
        SampleCutter.Part heard = cutter.cut(gave, 0);
        samples += Math.max(0, heard.end() - heard.first());
        return gave > 0;
    }

    private static long frames(DecodedSound.Uncut sound, AudioDecoder decoder) {
        return sound.pcm().length / decoder.pcmFormat().blockAlign();
    }

    /** Whether a packet gives what it states, or a whole frame of which its container leaves out what is cut off. */
    private boolean isExpected(long gave, Packet packet) {
        return gave > 0 && (gave == given(packet) || gave == frame && gave > samples(packet.duration()));
    }

    /** What a packet in the midst gives. */
    private long given(Packet packet) {
        return stream.codecName().equals(AAC) ? frame : samples(packet.duration());
    }

    /** Converts a duration. @return samples; 0 when they are no whole number */
    private long samples(long ticks) {
        Rational unit = stream.timeBase();
        if (ticks <= 0 || ticks > Integer.MAX_VALUE || !unit.isKnown() || unit.numerator() > Integer.MAX_VALUE) {
            return 0;
        }
        try {
            long product = Math.multiplyExact(ticks * unit.numerator(), stream.sampleRate());
            return product % unit.denominator() == 0 ? product / unit.denominator() : 0;
        } catch (ArithmeticException e) {
            return 0;
        }
    }

    /** A file that was cut off has less than its head states. */
    private boolean isAsStated() {
        return !STATED.contains(container) || stream.durationTicks() != Packet.NO_TIME
                && samples(stream.durationTicks()) == samples;
    }
}
