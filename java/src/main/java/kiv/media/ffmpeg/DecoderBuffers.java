package kiv.media.ffmpeg;

/**
 * The buffers of one {@link VideoDecoder}. The library holds this object as long as the codec lives, so it knows
 * nothing of the decoder, which could otherwise never be collected.
 */
final class DecoderBuffers implements VideoBuffers {

    @Override
    public boolean allocate(int[] layout, int[] buffer, Object[] slots) {
        Object array = PictureArrays.allocate(layout, buffer);
        slots[0] = array;
        slots[3] = new PictureMemory(array, layout);
        return true;
    }

    @Override
    public void free(Object[] slots) {
        // The collector takes the array; a pool would have to know when a picture's reader is done with it.
    }
}
