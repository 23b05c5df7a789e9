package kiv.media.ffmpeg;

import java.nio.ByteBuffer;
import java.util.ArrayDeque;
import java.util.Arrays;
import java.util.Deque;
import java.util.Iterator;
import kiv.media.ffmpeg.natives.PictureCall;
import kiv.media.ffmpeg.wall.SharedMemory;

/**
 * Provides the memory for the pictures of one decoder and for their conversions. It reuses released memory, because the
 * virtual machine clears new memory, which takes about as long as decoding a small picture. Any thread may use it. What
 * the decoder has of it is for the thread that calls the decoder.
 */
final class PictureMemoryPool {

    /** About as many as a program that closes its pictures uses at a time. */
    private static final int LARGEST = 8;
    /** A decoder behind the wall decodes ahead. */
    private static final int LARGEST_SHARED = 20;
    /** More than any decoder needs for its first plane. */
    private static final int ALIGNMENT = 128;

    private final Deque<PictureMemory> spare = new ArrayDeque<>();
    /** What the decoder may use, by slot; it stays reachable until the decoder releases it. */
    private PictureMemory[] slots = new PictureMemory[LARGEST];

    private boolean closed;
    /** The memory of the decoder's worker; null for a decoder in this process. */
    private final SharedMemory shared;
    /** Provides the memory of conversions. */
    private final PictureMemoryPool conversions;

    PictureMemoryPool() {
        this(null);
    }

    /** @param shared the memory in which the decoder's pictures must be; null for any */
    PictureMemoryPool(SharedMemory shared) {
        this.shared = shared;
        this.conversions = shared == null ? this : new PictureMemoryPool();
    }

    /** Memory with one user, the caller. */
    PictureMemory take(int size) {
        PictureMemory memory = spare(size);
        return memory != null ? memory
                : shared == null ? new PictureMemory(this, aligned(size)) : new PictureMemory(this, block(size));
    }

    /** Memory for the result of a conversion, with one user, the caller. */
    PictureMemory another(int size) {
        return conversions.take(size);
    }

    private SharedMemory.Block block(int size) {
        SharedMemory.Block block = shared.allocate(size);
        if (block == null) {
            throw new MediaException("no shared memory for a picture of " + size
                    + " bytes; close pictures when done with them");
        }
        return block;
    }

    /** Planes then begin at the same offsets in all memory of a size. */
    private static ByteBuffer aligned(int size) {
        ByteBuffer memory = fresh(Math.addExact(size, ALIGNMENT));
        int over = memory.alignmentOffset(0, ALIGNMENT);
        return memory.slice(over == 0 ? 0 : ALIGNMENT - over, size);
    }

    /** Prefers the memory that was released last, which is most likely in the processor's cache. */
    private synchronized PictureMemory spare(int size) {
        for (Iterator<PictureMemory> memories = spare.iterator(); memories.hasNext();) {
            PictureMemory memory = memories.next();
            if (memory.buffer().capacity() == size) {
                memories.remove();
                memory.share();
                return memory;
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

    /** Takes memory that has no user any more. */
    synchronized void recycle(PictureMemory memory) {
        if (closed) {
            memory.free();
            return;
        }
        spare.push(memory);
        if (spare.size() > (shared == null ? LARGEST : LARGEST_SHARED)) {
            // The oldest one has a size that no picture needs any more.
            spare.removeLast().free();
        }
    }

    /**
     * Adds the blocks to a call that the last one wanted.
     *
     * @param call laid out as {@link PictureCall}
     * @param needed whether a picture waits for the first block
     * @throws MediaException when there is no memory for that block
     */
    void stock(long[] call, boolean needed) {
        long wanted = Math.min(call[PictureCall.WANTED], PictureCall.MOST_BLOCKS);
        int count = 0;
        call[PictureCall.STOCKED] = 0;
        while (count < wanted) {
            PictureMemory memory;
            try {
                memory = take((int) call[PictureCall.WANTED_BYTES]);
            } catch (MediaException e) {
                if (needed && count == 0) {
                    throw e;
                }
                break;
            }
            int block = PictureCall.BLOCKS + count * PictureCall.BLOCK_SIZE;
            call[block + PictureCall.BLOCK_SLOT] = occupy(memory);
            call[block + PictureCall.BLOCK_ADDRESS] = memory.address();
            call[block + PictureCall.BLOCK_BYTES] = memory.buffer().capacity();
            call[PictureCall.STOCKED] = ++count;
        }
        call[PictureCall.WANTED] = 0;
        call[PictureCall.RELEASED] = 0;
        reportClosed(call);
    }

    /** The decoder then uses the memory again at once, while it is in the processor's cache. */
    private void reportClosed(long[] call) {
        int count = 0;
        for (int slot = 0; slot < slots.length && count < PictureCall.MOST_CLOSED; slot++) {
            if (slots[slot] != null && slots[slot].becameClosed()) {
                call[PictureCall.CLOSED_SLOTS + count++] = slot;
            }
        }
        call[PictureCall.CLOSED] = count;
    }

    private int occupy(PictureMemory memory) {
        int slot = 0;
        while (slot < slots.length && slots[slot] != null) {
            slot++;
        }
        if (slot == slots.length) {
            slots = Arrays.copyOf(slots, slot * 2);
        }
        slots[slot] = memory;
        return slot;
    }

    /** The memory of a delivered picture, with one more user, the caller. */
    PictureMemory delivered(long[] call) {
        PictureMemory memory = slots[(int) call[PictureCall.SLOT]];
        memory.deliver();
        return memory;
    }

    /** Takes back the blocks that the decoder released in a call. */
    void unstock(long[] call) {
        for (int i = 0; i < call[PictureCall.RELEASED]; i++) {
            int slot = (int) call[PictureCall.RELEASED_SLOTS + i];
            PictureMemory memory = slots[slot];
            slots[slot] = null;
            memory.release();
        }
    }

    /** Drops all spare memory and keeps none from now on, so that open pictures keep no memory but their own. */
    synchronized void close() {
        closed = true;
        spare.forEach(PictureMemory::free);
        spare.clear();
        for (PictureMemory memory : slots) {
            if (memory != null) {
                memory.release();
            }
        }
        Arrays.fill(slots, null);
        if (conversions != this) {
            conversions.close();
        }
    }
}
