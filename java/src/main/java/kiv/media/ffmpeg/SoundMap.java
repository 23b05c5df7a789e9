package kiv.media.ffmpeg;

import java.io.DataInputStream;
import java.io.DataOutputStream;
import java.io.IOException;
import java.io.StreamCorruptedException;
import java.math.BigInteger;
import java.time.Duration;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import java.util.zip.CRC32C;

/**
 * What decoding a stream of sound from its beginning has given so far: for each packet, and for what the decoder delivered at
 * the end, how much came, a checksum of it, and what of it is heard.
 */
final class SoundMap {

    /** Times that differ by less from those that were counted are rounded by the container. */
    private static final int LEAST_GAPS_A_SECOND = 20;

    private static final BigInteger LATEST = BigInteger.ONE.shiftLeft(60);

    /** Samples that follow each other in time. */
    private record Run(long number, long time) {
    }

    private final int rate;
    private final Rational timeBase;
    private final int frameSize;
    private final CRC32C crc = new CRC32C();
    private int[] lengths = new int[1024];
    private int[] checksums = new int[1024];
    private int[] firsts = new int[1024];
    /** The number of the first sample that is heard of each, and of the next one. */
    private long[] numbers = new long[1025];
    private int size;
    private final List<Run> runs = new ArrayList<>();

    SoundMap(int rate, Rational timeBase, int frameSize) {
        this.rate = rate;
        this.timeBase = timeBase;
        this.frameSize = frameSize;
    }

    /** Notes what comes next. */
    void add(DecodedSound.Uncut sound) {
        if (size == lengths.length) {
            lengths = Arrays.copyOf(lengths, 2 * size);
            checksums = Arrays.copyOf(checksums, 2 * size);
            firsts = Arrays.copyOf(firsts, 2 * size);
            numbers = Arrays.copyOf(numbers, 2 * size + 1);
        }
        lengths[size] = sound.pcm().length;
        checksums[size] = checksum(sound.pcm());
        firsts[size] = sound.first();
        if (sound.end() > sound.first()) {
            addTime(sound.timestamp());
        }
        numbers[size + 1] = numbers[size] + sound.end() - sound.first();
        size++;
    }

    private void addTime(long timestamp) {
        long number = numbers[size];
        long expected = runs.isEmpty() ? 0 : time(number);
        long time = timestamp == Packet.NO_TIME || !timeBase.isKnown() ? expected : samples(timestamp);
        if (runs.isEmpty() || Math.abs(time - expected) > rate / LEAST_GAPS_A_SECOND) {
            runs.add(new Run(number, time));
        }
    }

    /** A time in samples, to the nearest one; bounded, so that sums of it fit. */
    private long samples(long timestamp) {
        BigInteger divisor = BigInteger.valueOf(timeBase.denominator());
        BigInteger doubled = BigInteger.valueOf(timestamp).multiply(BigInteger.valueOf(timeBase.numerator()))
                .multiply(BigInteger.valueOf(2L * rate)).add(divisor);
        return doubled.subtract(doubled.mod(divisor.shiftLeft(1).abs())).divide(divisor.shiftLeft(1)).min(LATEST)
                .max(LATEST.negate()).longValue();
    }

    /** Writes what is known. */
    void save(DataOutputStream out) throws IOException {
        out.writeInt(size);
        for (int i = 0; i < size; i++) {
            out.writeInt(lengths[i]);
            out.writeInt(checksums[i]);
            out.writeInt(firsts[i]);
            out.writeInt(heard(i));
        }
        out.writeInt(runs.size());
        for (Run run : runs) {
            out.writeLong(run.number);
            out.writeLong(run.time);
        }
    }

    /**
     * Reads what is known, into an empty map.
     *
     * @param packets of so many, and of the end
     * @throws StreamCorruptedException for what cannot be
     */
    void load(DataInputStream in, int packets) throws IOException {
        int known = in.readInt();
        check(known == packets + 1L);
        lengths = new int[known];
        checksums = new int[known];
        firsts = new int[known];
        numbers = new long[known + 1];
        for (size = 0; size < known; size++) {
            lengths[size] = in.readInt();
            checksums[size] = in.readInt();
            firsts[size] = in.readInt();
            int heard = in.readInt();
            check(lengths[size] >= 0 && lengths[size] % frameSize == 0 && firsts[size] >= 0 && heard >= 0
                    && (long) firsts[size] + heard <= lengths[size] / frameSize);
            numbers[size + 1] = numbers[size] + heard;
        }
        long last = -1;
        for (int left = in.readInt(); left > 0; left--) {
            Run run = new Run(in.readLong(), in.readLong());
            check(run.number > last && run.number < known() && BigInteger.valueOf(run.time).abs().compareTo(LATEST) <= 0);
            runs.add(run);
            last = run.number;
        }
        check(runs.isEmpty() ? known() == 0 : runs.get(0).number == 0);
    }

    private static void check(boolean possible) throws StreamCorruptedException {
        if (!possible) {
            throw new StreamCorruptedException("values that cannot be");
        }
    }

    /** How many packets, and at the end one more, are known. */
    int size() {
        return size;
    }

    /** How many samples of each channel are known. */
    long known() {
        return numbers[size];
    }

    /** The packet with a known sample. */
    int find(long number) {
        int at = Arrays.binarySearch(numbers, 0, size + 1, number);
        int found = at >= 0 ? at : -at - 2;
        while (numbers[found + 1] == number) {
            found++; // nothing of it is heard
        }
        return found;
    }

    /** The number of the first sample of a packet that is heard. */
    long number(int packet) {
        return numbers[packet];
    }

    /** Where it is in what the packet gives. */
    int first(int packet) {
        return firsts[packet];
    }

    /** How many samples of a packet are heard. */
    int heard(int packet) {
        return (int) (numbers[packet + 1] - numbers[packet]);
    }

    /** Whether a packet gave this when all before it was decoded. */
    boolean matches(int packet, byte[] pcm) {
        return pcm.length == lengths[packet] && checksum(pcm) == checksums[packet];
    }

    private int checksum(byte[] pcm) {
        crc.reset();
        crc.update(pcm);
        return (int) crc.getValue();
    }

    int frameSize() {
        return frameSize;
    }

    /** When a known sample, or the one behind them, is heard, in samples from the container's zero. */
    long time(long number) {
        Run run = new Run(0, 0);
        for (Run each : runs) {
            if (each.number > number) {
                break;
            }
            run = each;
        }
        return run.time + number - run.number;
    }

    /** The first known sample that is not heard before a time; {@link #known()} when all are. */
    long find(Duration time) {
        Rational unit = new Rational(1, rate);
        long last = unit.units(time);
        long wanted = Math.abs(last) < Long.MAX_VALUE >> 1 && unit.times(last).compareTo(time) < 0 ? last + 1 : last;
        for (int i = 0; i < runs.size(); i++) {
            Run run = runs.get(i);
            long end = i + 1 < runs.size() ? runs.get(i + 1).number : known();
            if (wanted < run.time + end - run.number) {
                return run.number + Math.max(0, wanted - run.time);
            }
        }
        return known();
    }
}
