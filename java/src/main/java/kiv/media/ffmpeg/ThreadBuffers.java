package kiv.media.ffmpeg;

import java.util.function.Supplier;

/**
 * Finds the buffers that serve an allocation callback: those that the current thread has bound. The library passes the
 * object of its newest codec to the callback, which need not be the codec that is at work.
 */
final class ThreadBuffers {

    private static final ThreadLocal<VideoBuffers> BOUND = new ThreadLocal<>();
    private static final VideoBuffers PLAIN = new ArrayBuffers();

    private ThreadBuffers() {
    }

    /** Makes native calls whose callbacks on this thread go to {@code buffers}. */
    static <T> T with(VideoBuffers buffers, Supplier<T> calls) {
        VideoBuffers outer = BOUND.get();
        BOUND.set(buffers);
        try {
            return calls.get();
        } finally {
            if (outer == null) {
                BOUND.remove();
            } else {
                BOUND.set(outer);
            }
        }
    }

    /** @param codec the object that the library passed to the callback */
    static VideoBuffers forCallback(Object codec) {
        VideoBuffers bound = BOUND.get();
        if (bound != null) {
            return bound;
        }
        return codec instanceof VideoBuffers own ? own : PLAIN;
    }
}
