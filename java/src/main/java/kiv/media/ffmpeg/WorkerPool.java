package kiv.media.ffmpeg;

import java.lang.ref.Cleaner;
import java.util.Objects;
import kiv.media.ffmpeg.wall.IdleWorkers;

/**
 * Keeps processes behind the wall for the next medium, for those who open many small media one after the other.
 *
 * <pre>{@code
 * try (WorkerPool pool = WorkerPool.open(Isolation.wall())) {
 *     for (Path file : files) {
 *         try (MediaReader reader = MediaReader.open(file, pool.isolation())) {
 *             describe(file, reader);
 *         } catch (MediaException e) {
 *             describe(file, e);
 *         }
 *     }
 * }
 * }</pre>
 *
 * <p>Without a pool each medium has a new process, so that no medium learns anything of another one. A medium that takes over
 * its process here may read what is left in it of earlier media, and see and change later ones: use a pool for media of the
 * same owner, or of those who may know of each other. Pictures of an earlier medium that are not closed lie in memory that the
 * process shares; copy what is to be kept.
 *
 * <p>Media that are open at the same time have different processes. When the last object of a medium is closed, its process
 * waits for the next medium; at most as many wait as the machine has processors. One that died is replaced, and so is one that
 * has served a thousand media or has needed half of its processor time. Any thread may use a pool.
 */
public final class WorkerPool implements AutoCloseable {

    private static final Cleaner CLEANER = Cleaner.create();

    private final IdleWorkers idle = new IdleWorkers();
    private final Isolation isolation;
    private final Cleaner.Cleanable cleanable;

    private WorkerPool(Isolation isolation) {
        this.isolation = isolation.in(this);
        this.cleanable = CLEANER.register(this, idle::close);
    }

    /**
     * Opens a pool, which has no process yet.
     *
     * @param isolation what the processes may take
     * @return the pool, to be closed
     * @throws IllegalArgumentException when the isolation is {@link Isolation#none()} or a pool's
     */
    public static WorkerPool open(Isolation isolation) {
        if (!Objects.requireNonNull(isolation, "isolation").isWall() || isolation.isOfPool()) {
            throw new IllegalArgumentException("there are no processes to keep of the isolation " + isolation);
        }
        return new WorkerPool(isolation);
    }

    /**
     * {@return the isolation of media that use this pool's processes} Once the pool is closed, opening media with it throws a
     * {@link MediaStateException}.
     */
    public Isolation isolation() {
        return isolation;
    }

    /** Where processes wait. @throws MediaStateException when the pool is closed */
    IdleWorkers idle() {
        if (idle.isClosed()) {
            throw new MediaStateException("the pool is closed; open another one");
        }
        return idle;
    }

    /** Ends the processes that wait. Those of open media end with their medium. A second call does nothing. */
    @Override
    public void close() {
        cleanable.clean();
    }
}
