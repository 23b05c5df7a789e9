package kiv.media.ffmpeg;

/**
 * Supplies the arrays into which a video decoder writes its pictures, for users of {@link c_multimediaapi_ffmpeg}: the
 * object passed to {@code n_create_vcodec_to_raw} is asked when it implements this interface. The methods are called
 * on the thread that is inside a native of the codec, and must not call the codec themselves.
 *
 * <pre>{@code
 * VideoBuffers buffers = new VideoBuffers() {
 *     public boolean allocate(int[] layout, int[] buffer, Object[] slots) {
 *         slots[0] = slots[3] = new byte[buffer[1]]; // the format is planar YUV
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
     * @param layout 16 integers: 0 and 1 width and height, 2 to 5 line sizes of the planes in bytes, 6 lines allocated
     *     for the first plane, 8 four-character code (0 for RGB), 9 bits per pixel, 10 depth, 11 to 14 colour masks
     * @param buffer 5 integers: 0 one, 1 size in bytes that the array must have at least, 2 alignment in bytes, 3
     *     width, 4 lines allocated
     * @param slots four elements to fill: 0 the array; 3 what the process call stores in its result array, often the
     *     same array; 1 and 2 are free for the implementation
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
