package kiv.media.ffmpeg.wall;

import java.nio.file.Path;
import kiv.media.ffmpeg.natives.c_workers_ffmpeg;

/** The process that makes workers. There is one in a process, until it dies. */
final class Nursery {

    private static Nursery newest;

    private final Path program;
    private final Path ffmpeg;
    private final long handle;

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

    /** {@return the handle of a new worker} */
    long createWorker(WorkerLimits limits) {
        return c_workers_ffmpeg.n_create_worker(handle, SharedMemory.SIZE, limits.memory(), limits.processorSeconds());
    }
}
