package kiv.media.ffmpeg;

import java.nio.ByteBuffer;

/**
 * The memory of one picture, outside of the Java heap. The decoder and the picture may both hold it; when neither does any
 * more it goes back to its pool. A picture that nobody closes keeps it, and then the garbage collector frees it.
 */
final class PictureMemory {

    private final PictureMemoryPool pool;
    private final ByteBuffer buffer;
    private int holders = 1;

    /** Memory with one holder, which calls {@link #release} once. */
    PictureMemory(PictureMemoryPool pool, ByteBuffer buffer) {
        this.pool = pool;
        this.buffer = buffer;
    }

    /** Memory for another picture, with one holder as well. */
    PictureMemory another(int size) {
        return pool.take(size);
    }

    /** All of it, from the start of the allocation, whatever position and limit say. */
    ByteBuffer buffer() {
        return buffer;
    }

    /** One more holder. */
    synchronized void hold() {
        holders++;
    }

    /** One holder less. */
    void release() {
        synchronized (this) {
            if (--holders != 0) {
                return;
            }
        }
        pool.takeBack(buffer);
    }
}
