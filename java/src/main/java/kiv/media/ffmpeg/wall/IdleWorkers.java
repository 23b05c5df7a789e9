package kiv.media.ffmpeg.wall;

import java.util.ArrayDeque;
import java.util.Deque;
import java.util.List;

/** Workers that have no user and wait for the next one. Any thread may use it. */
public final class IdleWorkers {

    /** More of them would only hold memory: as many media are decoded at a time as there are processors. */
    private static final int MOST = Runtime.getRuntime().availableProcessors();

    private final Deque<Worker> idle = new ArrayDeque<>();
    private boolean closed;

    /** {@return whether {@link #close()} was called} */
    public synchronized boolean isClosed() {
        return closed;
    }

    /** {@return a lane of the worker that was used last; null when none waits} */
    Lane take() {
        for (;;) {
            Worker worker;
            synchronized (this) {
                worker = idle.poll();
            }
            if (worker == null) {
                return null;
            }
            Lane lane = worker.openFirstLane();
            if (lane != null) {
                return lane;
            }
            worker.close();
        }
    }

    /** Keeps a worker for the next user. @return whether there is room for it */
    synchronized boolean keep(Worker worker) {
        if (closed || idle.size() >= MOST) {
            return false;
        }
        idle.push(worker);
        return true;
    }

    /** Ends the workers that wait. No worker is kept from now on. */
    public void close() {
        List<Worker> ended;
        synchronized (this) {
            closed = true;
            ended = List.copyOf(idle);
            idle.clear();
        }
        ended.forEach(Worker::close);
    }
}
