package kiv.media.ffmpeg.wall;

import java.util.concurrent.Future;
import java.util.concurrent.ScheduledThreadPoolExecutor;
import java.util.concurrent.TimeUnit;

/** Does what nobody waits for, on one thread, which ends when it has had nothing to do for a while. Any thread may use it. */
final class Later {

    private static final ScheduledThreadPoolExecutor THREAD = thread();

    private Later() {
    }

    private static ScheduledThreadPoolExecutor thread() {
        ScheduledThreadPoolExecutor later = new ScheduledThreadPoolExecutor(1, work -> {
            Thread thread = new Thread(work, "clearing up");
            thread.setDaemon(true);
            return thread;
        });
        later.setKeepAliveTime(1, TimeUnit.SECONDS);
        later.allowCoreThreadTimeOut(true);
        later.setRemoveOnCancelPolicy(true);
        return later;
    }

    /** Runs something in so many milliseconds. {@return with which it can be called off} */
    static Future<?> run(Runnable work, long milliseconds) {
        return THREAD.schedule(work, milliseconds, TimeUnit.MILLISECONDS);
    }
}
