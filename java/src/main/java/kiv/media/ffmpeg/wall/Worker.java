package kiv.media.ffmpeg.wall;

import java.nio.file.Path;
import java.util.ArrayDeque;
import java.util.Deque;
import kiv.media.ffmpeg.natives.WorkerLane;
import kiv.media.ffmpeg.natives.c_workers_ffmpeg;

/**
 * A process behind the wall. It lives as long as one of its lanes is open. Whatever ends it, its lanes report how. Any thread
 * may use it.
 */
public final class Worker {

    private static final System.Logger LOGGER = System.getLogger("kiv.media.ffmpeg");

    private final Nursery nursery;
    private final long handle;
    private final SharedMemory memory;
    private final WorkerLimits limits;
    private final WorkerFailures failures;
    /** Lanes without an owner, which threads of the worker serve. */
    private final Deque<Lane> spare = new ArrayDeque<>();
    private int lanes;
    private int open;
    private boolean closed;
    private WorkerEnd end;

    private Worker(Nursery nursery, long handle, WorkerLimits limits, WorkerFailures failures) {
        this.nursery = nursery;
        this.handle = handle;
        this.memory = new SharedMemory(handle);
        this.limits = limits;
        this.failures = failures;
    }

    /**
     * Starts a worker, and with the first one the process that makes them.
     *
     * @param program the worker program
     * @param ffmpeg the directory of FFmpeg's libraries
     * @param limits what the worker may take
     * @param failures makes the exceptions of its lanes
     * @return its first lane
     */
    public static Lane start(Path program, Path ffmpeg, WorkerLimits limits, WorkerFailures failures) {
        try {
            Nursery nursery = Nursery.of(program, ffmpeg);
            Worker worker = new Worker(nursery, nursery.createWorker(limits), limits, failures);
            try {
                String held = c_workers_ffmpeg.n_worker_held(worker.handle);
                LOGGER.log(System.Logger.Level.DEBUG, () -> "worker: " + held);
                return worker.openLane();
            } catch (RuntimeException | Error e) {
                c_workers_ffmpeg.n_close_worker(worker.handle);
                throw e;
            }
        } catch (RuntimeException | Error e) {
            throw failures.notStarted(e);
        }
    }

    /**
     * Opens a lane.
     *
     * @return the lane; null when the worker has ended, or has no more lanes
     */
    public synchronized Lane openLane() {
        if (closed || end != null) {
            return null;
        }
        Lane lane = spare.poll();
        if (lane == null) {
            if (lanes == WorkerLane.LANES) {
                return null;
            }
            lane = new Lane(this, lanes++);
            try {
                c_workers_ffmpeg.n_open_lane(handle, lane.number());
            } catch (Error e) {
                return null; // it has ended, and nobody has noticed
            }
        }
        open++;
        return lane;
    }

    /** Takes a lane back that is not used any more. The last one ends the worker. */
    void closeLane(Lane lane) {
        synchronized (this) {
            open--;
            if (open > 0 && end == null && lane.isClear()) {
                spare.push(lane);
            }
            if (open > 0 || closed) {
                return;
            }
            closed = true;
        }
        c_workers_ffmpeg.n_close_worker(handle);
        memory.close();
    }

    /** Whether this is the only open lane. */
    synchronized boolean isLast() {
        return open == 1;
    }

    long handle() {
        return handle;
    }

    SharedMemory memory() {
        return memory;
    }

    WorkerLimits limits() {
        return limits;
    }

    /** @throws RuntimeException when the worker has ended */
    synchronized void check(long packets) {
        if (end != null) {
            throw failures.ended(end, packets);
        }
    }

    /** {@return whether orders make sense} */
    synchronized boolean isAlive() {
        return end == null;
    }

    /** Ends the worker for what it did, unless it has ended. {@return the exception for it} */
    RuntimeException end(WorkerEnd.Reason reason, long packets) {
        c_workers_ffmpeg.n_kill(handle);
        synchronized (this) {
            if (end == null) {
                end = new WorkerEnd(reason, 0);
            }
            return failures.ended(end, packets);
        }
    }

    /** The worker has ended by itself. {@return the exception for it} */
    RuntimeException ended(long packets) {
        synchronized (this) {
            if (end == null) {
                end = WorkerEnd.of(c_workers_ffmpeg.n_worker_end(nursery.handle(), handle));
            }
            return failures.ended(end, packets);
        }
    }
}
