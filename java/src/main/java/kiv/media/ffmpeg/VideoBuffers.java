package kiv.media.ffmpeg;

import kiv.media.ffmpeg.natives.BufferRequest;
import kiv.media.ffmpeg.natives.BufferSlots;
import kiv.media.ffmpeg.natives.PictureLayout;

/**
 * Provides the arrays into which a video decoder writes its pictures, for users of {@link c_multimediaapi_ffmpeg}. The
 * library calls the object passed to the newest {@code n_create_vcodec_to_raw} if it implements this interface, on the
 * thread that is inside a native of a codec. The methods must not call the codec.
 *
 * <pre>{@code
 * VideoBuffers buffers = new VideoBuffers() {
 *     public boolean allocate(int[] layout, int[] buffer, Object[] slots) {
 *         // The format is planar YUV.
 *         slots[BufferSlots.MEMORY] = slots[BufferSlots.RESULT] = new byte[buffer[BufferRequest.BYTES]];
 *         return true;
 *     }
 *     public void free(Object[] slots) {
 *     }
 * };
 * }</pre>
 */
public interface VideoBuffers {

    /**
     * Provides the array for one picture. Its type follows from the picture format: {@code byte[]} for planar YUV and
     * 8-bit RGB, {@code short[]} for YUY2, UYVY and 15 or 16 bits, {@code int[]} for 32 bits. An exception ends the
     * decoding call and reaches its caller.
     *
     * @param layout the picture, laid out as {@link PictureLayout}
     * @param buffer the required size, laid out as {@link BufferRequest}
     * @param slots the elements to fill, laid out as {@link BufferSlots}
     * @return whether there is an array; false fails the packet
     */
    boolean allocate(int[] layout, int[] buffer, Object[] slots);

    /**
     * Receives an array whose picture was never delivered. The array of a delivered picture belongs to its receiver.
     *
     * @param slots the elements that {@link #allocate} filled
     */
    void free(Object[] slots);
}
