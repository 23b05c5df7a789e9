package kiv.media.ffmpeg;

import java.nio.ByteBuffer;
import kiv.media.ffmpeg.natives.c_pictures_ffmpeg;
import kiv.media.ffmpeg.wall.SharedMemory;

/**
 * The memory of one picture, outside of the Java heap. The decoder and pictures may share it. When the last user
 * releases it, it returns to its pool. With a picture that is never closed, the garbage collector frees it instead.
 */
final class PictureMemory {

    private final PictureMemoryPool pool;
    private final ByteBuffer buffer;
    /** Where it lies in memory that a worker shares; null in memory of this process. */
    private final SharedMemory.Block block;
    private long address;
    private int users = 1;
    /** Whether a picture of the decoder's was in it that the decoder does not know to be closed. */
    private boolean delivered;

    /** Memory with one user, the caller. */
    PictureMemory(PictureMemoryPool pool, ByteBuffer buffer) {
        this.pool = pool;
        this.buffer = buffer;
        this.block = null;
    }

    /** Shared memory with one user, the caller. */
    PictureMemory(PictureMemoryPool pool, SharedMemory.Block block) {
        this.pool = pool;
        this.buffer = block.buffer();
        this.block = block;
        this.address = block.offset();
    }

    /** Memory of this process for another picture, with one user, the caller. */
    PictureMemory another(int size) {
        return pool.another(size);
    }

    /** The whole memory. Position and limit have no meaning. */
    ByteBuffer buffer() {
        return buffer;
    }

    /** Where the decoder finds the memory: its address, or its place in shared memory. */
    long address() {
        if (address == 0) {
            address = c_pictures_ffmpeg.n_address(buffer);
        }
        return address;
    }

    /** Adds a user, the picture that the decoder has delivered. For the thread that calls the decoder. */
    void deliver() {
        delivered = true;
        share();
    }

    /** Returns whether the delivered picture was closed, once. For the thread that calls the decoder. */
    boolean becameClosed() {
        if (delivered && isDecodersAlone()) {
            delivered = false;
            return true;
        }
        return false;
    }

    /** The decoder is one user of its memory. Whoever shares a picture is another one already. */
    private synchronized boolean isDecodersAlone() {
        return users == 1;
    }

    /** Adds a user. */
    synchronized void share() {
        users++;
    }

    /** Nobody uses it any more. */
    void free() {
        if (block != null) {
            block.release();
        }
    }

    /** Removes a user. Each user calls this once. */
    void release() {
        synchronized (this) {
            if (--users != 0) {
                return;
            }
        }
        pool.recycle(this);
    }
}
