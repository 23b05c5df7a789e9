package kiv.media.ffmpeg;

import kiv.media.ffmpeg.natives.BufferRequest;
import kiv.media.ffmpeg.natives.BufferSlots;
import kiv.media.ffmpeg.natives.PictureLayout;

/**
 * Supplies the arrays into which a video decoder writes its pictures, for users of {@link c_multimediaapi_ffmpeg}: the
 * object passed to {@code n_create_vcodec_to_raw} is asked when it implements this interface. The methods are called
 * on the thread that is inside a native of the codec, and must not call the codec themselves.
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
     * 8-bit RGB, {@code short[]} for YUY2, UYVY and 15 or 16 bits, {@code int[]} for 32 bits. What this throws ends the
     * decoding call and reaches its caller.
     *
     * @param layout the picture, laid out as {@link PictureLayout}
     * @param buffer what the array must be able to hold, laid out as {@link BufferRequest}
     * @param slots the elements to fill, laid out as {@link BufferSlots}
     * @return whether the array was provided; false fails the packet
     */
    boolean allocate(int[] layout, int[] buffer, Object[] slots);

    /**
     * Takes back an array whose picture was never handed out; a picture that was handed out belongs to its receiver.
     *
     * @param slots what {@link #allocate} filled
     */
    void free(Object[] slots);
}
