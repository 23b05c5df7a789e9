package kiv.media.ffmpeg;

import java.time.Duration;
import java.util.Objects;
import kiv.media.ffmpeg.natives.ReaderLimitFields;

/**
 * What opening a container may cost. A file can be made so that it is small and keeps the processor or fills the memory.
 * {@link MediaReader#open(java.nio.file.Path, ReaderLimits)} gives up with a {@link MediaFormatException} when a limit
 * is exceeded, and with the usual limits no honest file comes near one. Immutable, for any thread.
 *
 * <pre>{@code
 * ReaderLimits strict = ReaderLimits.USUAL.withProcessorTime(Duration.ofMillis(500)).withStreams(20);
 * try (MediaReader reader = MediaReader.open(upload, strict)) { ... }
 * }</pre>
 *
 * <p>FFmpeg cannot be stopped at any time: it is refused more bytes and packets. No limit ends a loop of FFmpeg's that
 * asks for none; {@code SECURITY.md} describes what is known about those.
 *
 * @param processorTime the time that the thread computes. Waiting for a channel's bytes does not count
 * @param bytes the bytes that are read, those too that are read again
 * @param packets the packets that FFmpeg looks at to learn about the streams. This limit is no fault of the file's:
 *     FFmpeg stops there, and the streams report what is known until then
 * @param streams the number of streams, those too that show up while packets are read
 * @param indexEntries the entries in the indexes of all streams, one for each picture or block of samples
 */
public record ReaderLimits(Duration processorTime, long bytes, long packets, int streams, long indexEntries) {

    /** 5 seconds of processor time, 256 MiB, 100,000 packets, 1000 streams and 16 million index entries. */
    public static final ReaderLimits USUAL = new ReaderLimits(
            Duration.ofMillis(ReaderLimitFields.USUAL_PROCESSOR_TIME), ReaderLimitFields.USUAL_BYTES,
            ReaderLimitFields.USUAL_PACKETS, ReaderLimitFields.USUAL_STREAMS, ReaderLimitFields.USUAL_INDEX_ENTRIES);

    /**
     * Checks the limits.
     *
     * @param processorTime the time that the thread computes, at least a millisecond
     * @param bytes the bytes that are read, at least 1
     * @param packets the packets that FFmpeg looks at, at least 1
     * @param streams the streams of a container, at least 1
     * @param indexEntries the entries in the indexes of all streams, at least 1
     * @throws IllegalArgumentException unless all are positive, the time at least a millisecond
     */
    public ReaderLimits {
        if (Objects.requireNonNull(processorTime, "processorTime").compareTo(Duration.ofMillis(1)) < 0 || bytes < 1
                || packets < 1 || streams < 1 || indexEntries < 1) {
            throw new IllegalArgumentException("limits are positive, and the time is at least a millisecond: "
                    + processorTime + ", " + bytes + ", " + packets + ", " + streams + ", " + indexEntries);
        }
    }

    /**
     * {@return these limits with another time}
     *
     * @param time the time that the thread computes, at least a millisecond
     */
    public ReaderLimits withProcessorTime(Duration time) {
        return new ReaderLimits(time, bytes, packets, streams, indexEntries);
    }

    /**
     * {@return these limits with another number of bytes}
     *
     * @param most the bytes that are read, at least 1
     */
    public ReaderLimits withBytes(long most) {
        return new ReaderLimits(processorTime, most, packets, streams, indexEntries);
    }

    /**
     * {@return these limits with another number of packets}
     *
     * @param most the packets that FFmpeg looks at, at least 1
     */
    public ReaderLimits withPackets(long most) {
        return new ReaderLimits(processorTime, bytes, most, streams, indexEntries);
    }

    /**
     * {@return these limits with another number of streams}
     *
     * @param most the streams of a container, at least 1
     */
    public ReaderLimits withStreams(int most) {
        return new ReaderLimits(processorTime, bytes, packets, most, indexEntries);
    }

    /**
     * {@return these limits with another number of index entries}
     *
     * @param most the entries in the indexes of all streams, at least 1
     */
    public ReaderLimits withIndexEntries(long most) {
        return new ReaderLimits(processorTime, bytes, packets, streams, most);
    }

    /** The limits laid out as {@link ReaderLimitFields}. */
    long[] toNative() {
        long[] fields = new long[ReaderLimitFields.SIZE];
        // A time beyond 64 bits of milliseconds is as good as the longest one.
        fields[ReaderLimitFields.PROCESSOR_TIME] = processorTime.compareTo(Duration.ofMillis(Long.MAX_VALUE)) < 0
                ? processorTime.toMillis() : Long.MAX_VALUE;
        fields[ReaderLimitFields.BYTES] = bytes;
        fields[ReaderLimitFields.PACKETS] = packets;
        fields[ReaderLimitFields.STREAMS] = streams;
        fields[ReaderLimitFields.INDEX_ENTRIES] = indexEntries;
        return fields;
    }
}
