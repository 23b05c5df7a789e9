package kiv.media.ffmpeg;

import java.util.function.Supplier;
import kiv.media.ffmpeg.natives.BufferSlots;

/**
 * Knows whose buffers the allocation callbacks of the current thread are for. A library context remembers only the
 * newest codec's object, so with several decoders the thread is what tells them apart.
 */
final class BoundBuffers {

    private static final ThreadLocal<VideoBuffers> BOUND = new ThreadLocal<>();
    private static final VideoBuffers PLAIN = new PlainBuffers();

    private BoundBuffers() {
    }

    /** Runs native calls whose callbacks on this thread go to {@code buffers}. */
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

    /** The buffers that serve a callback for which the library passed {@code codec}. */
    static VideoBuffers forCallback(Object codec) {
        VideoBuffers bound = BOUND.get();
        if (bound != null) {
            return bound;
        }
        return codec instanceof VideoBuffers own ? own : PLAIN;
    }

    /** A fresh array for every picture, left to the garbage collector. */
    private static final class PlainBuffers implements VideoBuffers {
        @Override
        public boolean allocate(int[] layout, int[] buffer, Object[] slots) {
            Object array = PictureArrays.allocate(layout, buffer);
            slots[BufferSlots.MEMORY] = array;
            slots[BufferSlots.RESULT] = array;
            return true;
        }

        @Override
        public void free(Object[] slots) {
            // The collector takes the array.
        }
    }
}
