package kiv.media.ffmpeg;

import java.nio.ByteBuffer;
import java.util.ArrayDeque;
import java.util.ArrayList;
import java.util.Deque;
import java.util.Iterator;
import java.util.List;
import kiv.media.ffmpeg.natives.BufferRequest;
import kiv.media.ffmpeg.natives.BufferSlots;

/**
 * Provides the memory for the pictures of one decoder and for their conversions. It reuses released memory, because the
 * virtual machine clears new memory, which takes about as long as decoding a small picture. Any thread may use it.
 */
final class PictureMemoryPool implements VideoBuffers {

    /** About as many as a program that closes its pictures uses at a time. */
    private static final int LARGEST = 8;

    private final Deque<ByteBuffer> spare = new ArrayDeque<>();
    private final List<PictureMemory> freed = new ArrayList<>();

    private boolean closed;

    /** Memory with one user, the caller. */
    PictureMemory take(int size) {
        ByteBuffer buffer = spare(size);
        return new PictureMemory(this, buffer != null ? buffer : fresh(size));
    }

    /** Prefers the memory that was released last, which is most likely in the processor's cache. */
    private synchronized ByteBuffer spare(int size) {
        for (Iterator<ByteBuffer> buffers = spare.iterator(); buffers.hasNext();) {
            ByteBuffer buffer = buffers.next();
            if (buffer.capacity() == size) {
                buffers.remove();
                return buffer;
            }
        }
        return null;
    }

    static ByteBuffer fresh(int size) {
        try {
            return ByteBuffer.allocateDirect(size);
        } catch (OutOfMemoryError e) {
            throw new MediaException("no memory outside of the Java heap for a picture of " + size
                    + " bytes; close pictures when done with them, or raise -XX:MaxDirectMemorySize", e);
        }
    }

    synchronized void recycle(ByteBuffer buffer) {
        if (closed) {
            return;
        }
        spare.push(buffer);
        if (spare.size() > LARGEST) {
            // The oldest one has a size that no picture needs any more.
            spare.removeLast();
        }
    }

    @Override
    public boolean allocate(int[] layout, int[] buffer, Object[] slots) {
        PictureMemory memory = take(buffer[BufferRequest.BYTES]);
        slots[BufferSlots.MEMORY] = memory.buffer();
        slots[BufferSlots.RESULT] = memory;
        return true;
    }

    /** Often called before Java has the picture in this memory, so {@link #releaseFreed} releases it later. */
    @Override
    public synchronized void free(Object[] slots) {
        if (!closed) {
            freed.add((PictureMemory) slots[BufferSlots.RESULT]);
        }
    }

    /** Releases what the library has freed. Called after a native call, when its pictures are users of their memory. */
    void releaseFreed() {
        List<PictureMemory> unused;
        synchronized (this) {
            unused = List.copyOf(freed);
            freed.clear();
        }
        unused.forEach(PictureMemory::release);
    }

    /** Drops all spare memory and keeps none from now on, so that open pictures keep no memory but their own. */
    synchronized void close() {
        closed = true;
        spare.clear();
        freed.clear();
    }
}
