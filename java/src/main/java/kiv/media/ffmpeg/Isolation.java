package kiv.media.ffmpeg;

import java.time.Duration;
import java.util.Arrays;
import java.util.Objects;
import java.util.Set;
import java.util.stream.Collectors;
import kiv.media.ffmpeg.wall.WorkerLimits;

/**
 * Says where media are opened and decoded: in this process, or each in a process of its own behind a wall, which can do nothing
 * but that. No file then harms more than its own process.
 *
 * <pre>{@code
 * Isolation wall = Isolation.wall().withMemoryLimit(512L << 20).withProcessorTime(Duration.ofMinutes(2));
 * try (MediaReader reader = MediaReader.open(upload, wall);
 *         VideoDecoder decoder = VideoDecoder.open(reader)) {
 *     for (Picture picture : decoder.each(reader)) {
 *         try (picture) {
 *             store(picture.toShownImage());
 *         }
 *     }
 * } catch (WorkerException e) {
 *     reject(upload, e.getMessage());
 * }
 * }</pre>
 *
 * <p>A process has no files, no network, no other processes and no rights. It gets the bytes of the medium from here, also from
 * channels that Java code makes, and delivers packets, and pictures through memory that both share. Everything has the same
 * results on both sides. When it dies, grows beyond a limit or makes no progress, each call of what works in it throws a
 * {@link WorkerException}; this process and all other media go on. {@code SECURITY.md} says what is promised.
 *
 * <p>A reader, the decoders of its streams, and what a {@link Film} or a {@link Sound} makes, share a process. Writers and
 * conversions of pictures work in this process: they get nothing that a stranger wrote. An isolation is immutable, and any
 * thread may use it.
 */
public final class Isolation {

    /** The system property that chooses where media are opened that are opened without an isolation. */
    private static final String PROPERTY = "kiv.media.ffmpeg.isolation";

    private static final long LEAST_MEMORY = 64L << 20;
    private static final long MOST_MEMORY = 1L << 40;
    private static final Duration MOST_PROCESSOR_TIME = Duration.ofSeconds(Integer.MAX_VALUE);
    private static final Duration MOST_DEADLINE = Duration.ofMillis(Integer.MAX_VALUE);
    private static final int NANOS_OF_MILLISECOND = 1_000_000;

    private static final Isolation NONE = new Isolation(null, null);
    private static final Isolation WALL = new Isolation(new WorkerLimits(2L << 30, 0, 20_000), null);

    /** Null for this process. */
    private final WorkerLimits limits;
    /** Null when each medium has a new process. */
    private final WorkerPool pool;

    /** What a process behind the wall has given up. A kernel may lack some of it; the rest holds. */
    public enum Protection {
        /** All system calls but those that decoding needs: the kernel ends the process at any other. */
        SYSTEM_CALLS("filter of system calls"),
        /** All files, and on newer kernels connections and signals to others, by Landlock. */
        FILES("Landlock"),
        /** The view of the machine's network, mounts and users. */
        NAMESPACES("namespaces"),
        /** Memory, processor time and descriptors beyond its limits. */
        LIMITS("limits"),
        /** New privileges. */
        PRIVILEGES("lock of privileges"),
        /** Being read or changed by other processes of the user. */
        DEBUGGERS("protection from debuggers"),
        /** Outliving this process. */
        SURVIVAL("death with its parent");

        /** How the process begins to name it. */
        private final String words;

        Protection(String words) {
            this.words = words;
        }
    }

    private Isolation(WorkerLimits limits, WorkerPool pool) {
        this.limits = limits;
        this.pool = pool;
    }

    /** {@return the isolation of media that are opened in this process} */
    public static Isolation none() {
        return NONE;
    }

    /**
     * {@return the isolation of media that are each opened in a process of its own} It may allocate 2 GiB besides the memory
     * that it shares, has any processor time, and 20 seconds without progress.
     */
    public static Isolation wall() {
        return WALL;
    }

    /**
     * Returns the isolation of media that are opened without one: that of the system property
     * {@code kiv.media.ffmpeg.isolation}, which is {@code wall}, or {@code process} as by default.
     *
     * @return {@link #wall()} or {@link #none()}
     * @throws IllegalArgumentException when the property has another value
     */
    public static Isolation usual() {
        String chosen = System.getProperty(PROPERTY, "process");
        if (!chosen.equals("process") && !chosen.equals("wall")) {
            throw new IllegalArgumentException("-D" + PROPERTY + "=" + chosen + " is neither process nor wall");
        }
        return chosen.equals("wall") ? WALL : NONE;
    }

    /** The isolation of media whose processes a pool keeps. */
    Isolation in(WorkerPool kept) {
        return new Isolation(limits, kept);
    }

    /**
     * Limits what a process may allocate besides the memory that it shares, of which it has 2 GiB at the most. A process that
     * needs more dies. {@link #none()} stays what it is.
     *
     * @param bytes 64 MiB to 1 TiB
     * @return the isolation with that limit
     * @throws IllegalArgumentException for another number
     * @throws MediaException when it is a pool's, which is opened with its limits
     */
    public Isolation withMemoryLimit(long bytes) {
        if (bytes < LEAST_MEMORY || bytes > MOST_MEMORY) {
            throw new IllegalArgumentException("a limit of " + bytes + " bytes; " + LEAST_MEMORY + " to " + MOST_MEMORY
                    + " are possible");
        }
        return isWall() ? limited(new WorkerLimits(bytes, limits.processorSeconds(), limits.deadline())) : this;
    }

    /**
     * Limits the processor time of all threads of a process, from its start. A process that needs more dies. {@link #none()}
     * stays what it is.
     *
     * @param time more than zero, at most 2,147,483,647 seconds; rounded up to seconds
     * @return the isolation with that limit
     * @throws IllegalArgumentException for another time
     * @throws MediaException when it is a pool's, which is opened with its limits
     */
    public Isolation withProcessorTime(Duration time) {
        check("time", time, MOST_PROCESSOR_TIME);
        int seconds = (int) time.plusNanos(Duration.ofSeconds(1).toNanos() - 1).toSeconds();
        return isWall() ? limited(new WorkerLimits(limits.memory(), seconds, limits.deadline())) : this;
    }

    /**
     * Limits how long a process may work on one request without progress. Reading a packet is progress, and so is beginning to
     * decode a frame; so it must be longer than the slowest picture takes on the machine. Waiting for the bytes of the medium
     * does not count. A process that takes longer dies, and so does one that takes ten times as long with progress.
     * {@link #none()} stays what it is.
     *
     * @param deadline more than zero, at most 2,147,483,647 milliseconds; rounded up to milliseconds
     * @return the isolation with that limit
     * @throws IllegalArgumentException for another time
     * @throws MediaException when it is a pool's, which is opened with its limits
     */
    public Isolation withDeadline(Duration deadline) {
        check("deadline", deadline, MOST_DEADLINE);
        int milliseconds = (int) deadline.plusNanos(NANOS_OF_MILLISECOND - 1).toMillis();
        return isWall() ? limited(new WorkerLimits(limits.memory(), limits.processorSeconds(), milliseconds)) : this;
    }

    private static void check(String name, Duration time, Duration most) {
        if (Objects.requireNonNull(time, name).isNegative() || time.isZero() || time.compareTo(most) > 0) {
            throw new IllegalArgumentException("a limit of " + time + "; up to " + most + " are possible");
        }
    }

    private Isolation limited(WorkerLimits other) {
        if (pool != null) {
            throw new MediaException("the processes of a pool keep their limits; open another pool with other ones");
        }
        return new Isolation(other, null);
    }

    /** {@return whether media are opened in processes behind the wall} */
    public boolean isWall() {
        return limits != null;
    }

    boolean isOfPool() {
        return pool != null;
    }

    /**
     * Starts a process behind the wall, or takes one of the pool's, and returns what this machine's kernel has taken from it.
     *
     * @return what holds; nothing for {@link #none()}
     * @throws LibraryException when the library cannot be loaded, or the process does not start
     * @throws MediaStateException when the pool is closed
     */
    public Set<Protection> held() {
        if (!isWall()) {
            return Set.of();
        }
        String[] held = place().held().split(", ");
        return Arrays.stream(Protection.values()).filter(protection -> Arrays.stream(held).anyMatch(
                words -> words.startsWith(protection.words))).collect(Collectors.toUnmodifiableSet());
    }

    /** {@return the place of one more medium} */
    Workplace place() {
        return new Workplace(limits, pool);
    }

    /** {@return whether the other isolation opens media in the same way, with the same limits and in the same pool} */
    @Override
    public boolean equals(Object other) {
        return other instanceof Isolation isolation && Objects.equals(limits, isolation.limits) && pool == isolation.pool;
    }

    @Override
    public int hashCode() {
        return Objects.hash(limits, System.identityHashCode(pool));
    }

    @Override
    public String toString() {
        return !isWall() ? "none" : "wall of " + limits.memory() + " bytes, "
                + (limits.processorSeconds() == 0 ? "any" : limits.processorSeconds() + " s of") + " processor time, "
                + limits.deadline() + " ms without progress" + (pool == null ? "" : ", in a pool");
    }
}
