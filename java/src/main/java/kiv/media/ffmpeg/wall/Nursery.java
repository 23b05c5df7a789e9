package kiv.media.ffmpeg.wall;

import java.nio.file.Path;
import java.util.concurrent.atomic.AtomicBoolean;
import kiv.media.ffmpeg.natives.c_workers_ffmpeg;

/** The process that makes workers. There is one in a process, until it dies. */
final class Nursery {

    private static final System.Logger LOGGER = System.getLogger("kiv.media.ffmpeg");

    private static Nursery newest;

    private final Path program;
    private final Path ffmpeg;
    private final long handle;
    private final AtomicBoolean warned = new AtomicBoolean();

    private Nursery(Path program, Path ffmpeg) {
        this.program = program;
        this.ffmpeg = ffmpeg;
        this.handle = c_workers_ffmpeg.n_start_nursery(program.toString(), ffmpeg.toString());
    }

    static synchronized Nursery of(Path program, Path ffmpeg) {
        if (newest == null) {
            newest = new Nursery(program, ffmpeg);
        }
        return newest;
    }

    long handle() {
        return handle;
    }

    /** Logs what a worker gave up, and warns once when it can still call the system for anything. */
    void report(String held) {
        LOGGER.log(System.Logger.Level.DEBUG, () -> "worker: " + held);
        if (!held.startsWith("filter") && !warned.getAndSet(true)) {
            LOGGER.log(System.Logger.Level.WARNING, () -> "system calls of processes behind the wall cannot be filtered here;"
                    + " what holds is: " + held);
        }
    }

    /** {@return the handle of a new worker; 0 when this process has died, and {@link #of} starts another one} */
    long createWorker(WorkerLimits limits) {
        WorkerCount.admit();
        long worker = c_workers_ffmpeg.n_create_worker(handle, SharedMemory.SIZE, limits.memory(),
                limits.processorSeconds(), SpareMemory.take());
        if (worker == 0) {
            forget(this);
        }
        return worker;
    }

    private static synchronized void forget(Nursery dead) {
        if (newest == dead) {
            newest = null;
        }
    }
}
