package kiv.media.ffmpeg.natives;

import java.lang.annotation.Native;

/**
 * The {@code Object[]} that the allocation callback fills, by index. The indices without a name are free for the
 * callback.
 */
public final class BufferSlots {

    /** Elements of the array. */
    @Native public static final int SIZE = 4;

    /** The array or direct buffer. */
    @Native public static final int MEMORY = 0;

    /**
     * What {@link kiv.media.ffmpeg.c_multimediaapi_ffmpeg#n_vcodec_process} stores for a picture in this memory, often
     * the memory itself.
     */
    @Native public static final int RESULT = 3;

    private BufferSlots() {
    }
}
