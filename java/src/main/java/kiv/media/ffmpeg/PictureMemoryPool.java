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
 * Memory for the pictures of one decoder and for what they are converted into, used again when it comes back: fresh memory
 * is cleared first, which costs as much as decoding some pictures does. Any thread may use it.
 */
final class PictureMemoryPool implements VideoBuffers {

    /** As many as a program that closes its pictures has in use at a time, about. */
    private static final int LARGEST = 8;

    private final Deque<ByteBuffer> spare = new ArrayDeque<>();
    private final List<PictureMemory> freed = new ArrayList<>();

    private boolean closed;

    /** Memory with the caller as its holder. */
    PictureMemory take(int size) {
        ByteBuffer buffer = spare(size);
        return new PictureMemory(this, buffer != null ? buffer : fresh(size));
    }

    /** What was used last is likeliest to be in the processor's cache. */
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

    synchronized void takeBack(ByteBuffer buffer) {
        if (closed) {
            return;
        }
        spare.push(buffer);
        if (spare.size() > LARGEST) {
            // A size that is not asked for any more gets here.
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

    /** Often called before the picture that was made of the memory is known to Java: {@link #settle} lets it go. */
    @Override
    public synchronized void free(Object[] slots) {
        if (!closed) {
            freed.add((PictureMemory) slots[BufferSlots.RESULT]);
        }
    }

    /** After a native call, when its pictures hold their memory: lets go of what the library has given back. */
    void settle() {
        List<PictureMemory> unused;
        synchronized (this) {
            unused = List.copyOf(freed);
            freed.clear();
        }
        unused.forEach(PictureMemory::release);
    }

    /** Keeps nothing from now on: a picture that stays open must hold no memory but its own. */
    synchronized void close() {
        closed = true;
        spare.clear();
        freed.clear();
    }
}
