package kiv.media.ffmpeg.wall;

import java.nio.file.Path;
import java.util.ArrayDeque;
import java.util.ArrayList;
import java.util.Deque;
import java.util.List;
import java.util.concurrent.Future;
import kiv.media.ffmpeg.natives.WorkerLane;
import kiv.media.ffmpeg.natives.c_workers_ffmpeg;

/**
 * A process behind the wall. It lives as long as one of its lanes is open, or waits for its next user where such workers are
 * kept. Whatever ends it, its lanes report how. Any thread may use it.
 */
public final class Worker {
    /** What FFmpeg leaks ends with the process. */
    private static final int MOST_USERS = 1_000;
    private static final long NANOS = 1_000_000_000L;
    /** How long a closed lane waits for the end of the others, in milliseconds. */
    private static final int BEFORE_CLEARING = 20;

    private final Nursery nursery;
    private final long handle;
    private final SharedMemory memory;
    private final WorkerLimits limits;
    private final WorkerFailures failures;
    /** Null when the worker has one user only. */
    private final IdleWorkers home;
    private final String held;
    /** Lanes without an owner, which threads of the worker serve. */
    private final Deque<Lane> spare = new ArrayDeque<>();
    private final List<Lane> lanes = new ArrayList<>();
    /** Lanes that were closed, and of which the worker may still have something. */
    private final Deque<Lane> uncleared = new ArrayDeque<>();
    /** Clears them when the worker does not end before. */
    private Future<?> clearing;
    /** Lanes that have an owner, or are being cleared. */
    private int open;
    /** The number of the user whose lanes are open. */
    private int user;
    /** Whether every lane that was closed is used again. */
    private boolean clear = true;
    private boolean closed;
    private WorkerEnd end;

    private Worker(Nursery nursery, long handle, WorkerLimits limits, WorkerFailures failures, IdleWorkers home) {
        this.nursery = nursery;
        this.handle = handle;
        this.memory = new SharedMemory(handle, this::clearLanes);
        this.limits = limits;
        this.failures = failures;
        this.home = home;
        try {
            this.held = c_workers_ffmpeg.n_worker_held(handle, limits.deadline());
        } catch (Error e) {
            endProcess();
            throw e;
        }
        nursery.report(held);
    }

    /**
     * Takes a worker that waits, or starts one, and with the first one the process that makes them.
     *
     * @param program the worker program
     * @param ffmpeg the directory of FFmpeg's libraries
     * @param limits what the worker may take
     * @param failures makes the exceptions of its lanes
     * @param home where the worker waits before and afterwards; null when it has one user only
     * @return its first lane
     */
    public static Lane start(Path program, Path ffmpeg, WorkerLimits limits, WorkerFailures failures, IdleWorkers home) {
        Lane waiting = home == null ? SpareWorker.take(limits, () -> startFirst(program, ffmpeg, limits, failures, null))
                : home.take();
        return waiting != null ? waiting : startFirst(program, ffmpeg, limits, failures, home);
    }

    /** Starts a worker. {@return its first lane} */
    private static Lane startFirst(Path program, Path ffmpeg, WorkerLimits limits, WorkerFailures failures, IdleWorkers home) {
        try {
            Nursery nursery = Nursery.of(program, ffmpeg);
            long handle = nursery.createWorker(limits);
            if (handle == 0) {
                nursery = Nursery.of(program, ffmpeg);
                handle = nursery.createWorker(limits);
            }
            if (handle == 0) {
                throw new IllegalStateException("the process that makes workers ends at once");
            }
            Worker worker = new Worker(nursery, handle, limits, failures, home);
            Lane lane = worker.openLane();
            if (lane == null) {
                worker.close();
                throw new IllegalStateException("it ended at once");
            }
            return lane;
        } catch (RuntimeException | Error e) {
            throw failures.notStarted(e);
        }
    }

    /** {@return what the process gave up, in its own words from before the first order} */
    public String held() {
        return held;
    }

    /** The worker waited for its user. */
    synchronized void countUser() {
        user++;
    }

    /** {@return the number of the present user; 0 when the worker was started for it} */
    public synchronized int user() {
        return user;
    }

    /**
     * Opens one more lane.
     *
     * @param ofUser the user who asks
     * @return the lane; null when the worker has ended, has another user or none, or has no more lanes
     */
    public Lane openLane(int ofUser) {
        clearLanes();
        synchronized (this) {
            return ofUser == user && open > 0 ? openLane() : null;
        }
    }

    /** Opens a lane for the next user. @return the lane; null when the worker has ended */
    synchronized Lane openFirstLane() {
        return openLane();
    }

    private synchronized Lane openLane() {
        if (closed || end != null) {
            return null;
        }
        Lane lane = spare.poll();
        if (lane == null) {
            if (lanes.size() == WorkerLane.LANES) {
                return null;
            }
            lane = new Lane(this, lanes.size());
            lanes.add(lane);
            try {
                c_workers_ffmpeg.n_open_lane(handle, lane.number());
            } catch (Error e) {
                return null; // it has ended, and nobody has noticed
            }
        }
        open++;
        return lane;
    }

    /**
     * Takes a lane back whose owner needs it no more, while there are others. Most often they are all closed one after the
     * other, and the worker ends; then it need not clear any.
     *
     * @return false when the lane must be closed at once
     */
    synchronized boolean closeLater(Lane lane) {
        if (home != null || open == 1 || closed || end != null) {
            return false;
        }
        open--;
        uncleared.add(lane);
        memory.keep();
        if (clearing == null) {
            clearing = Later.run(this::clearLanes, BEFORE_CLEARING);
        }
        return true;
    }

    /** Clears the lanes that were closed. */
    private void clearLanes() {
        for (;;) {
            Lane lane;
            synchronized (this) {
                lane = uncleared.poll();
                if (lane == null) {
                    stopClearing();
                    return;
                }
                open++;
            }
            try {
                lane.closeNow();
            } finally {
                memory.unkeep();
            }
        }
    }

    private void stopClearing() {
        if (clearing != null) {
            clearing.cancel(false);
            clearing = null;
        }
    }

    /** Takes a lane back that is not used any more. After the last one the worker waits for another user, or ends. */
    void closeLane(Lane lane) {
        synchronized (this) {
            open--;
            if (lane.isClear()) {
                spare.push(lane);
            } else {
                clear = false;
            }
            if (open > 0 || closed) {
                return;
            }
            user++;
            if (home != null && clear && end == null && user < MOST_USERS && hasTime()) {
                memory.discardSpare();
                if (home.keep(this)) {
                    return;
                }
            }
        }
        close();
    }

    /** Whether the next user has at least half of the processor time. */
    private boolean hasTime() {
        return limits.processorSeconds() == 0
                || c_workers_ffmpeg.n_worker_time(handle) < limits.processorSeconds() * NANOS / 2;
    }

    /** Ends a worker without lanes. */
    void close() {
        synchronized (this) {
            if (closed) {
                return;
            }
            closed = true;
            uncleared.clear();
            stopClearing();
        }
        endProcess();
    }

    private void endProcess() {
        c_workers_ffmpeg.n_kill(handle);
        lanes.forEach(Lane::release);
        long used = memory.close();
        if (used == 0) {
            c_workers_ffmpeg.n_close_worker(handle);
        } else {
            SpareMemory.keep(c_workers_ffmpeg.n_close_and_keep(handle, used), used);
        }
    }

    /** Whether the worker ends with this lane. */
    synchronized boolean isLast() {
        return open == 1 && home == null;
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
    synchronized void check(Lane lane) {
        if (end != null) {
            throw failures.ended(end, lane.packets(), lane.stream());
        }
    }

    /** {@return whether orders make sense} */
    synchronized boolean isAlive() {
        return end == null;
    }

    /** Ends the worker for what it did, unless it has ended. {@return the exception for it} */
    RuntimeException end(WorkerEnd.Reason reason, Lane lane) {
        c_workers_ffmpeg.n_kill(handle);
        synchronized (this) {
            if (end == null) {
                end = new WorkerEnd(reason, 0);
            }
            return failures.ended(end, lane.packets(), lane.stream());
        }
    }

    /** The worker has ended by itself. {@return the exception for it} */
    RuntimeException ended(Lane lane) {
        synchronized (this) {
            if (end == null) {
                end = WorkerEnd.of(c_workers_ffmpeg.n_worker_end(nursery.handle(), handle));
            }
            return failures.ended(end, lane.packets(), lane.stream());
        }
    }
}
