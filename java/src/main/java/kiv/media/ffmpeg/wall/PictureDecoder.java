package kiv.media.ffmpeg.wall;

import kiv.media.ffmpeg.natives.PictureCall;

/** A decoder of video that delivers pictures in memory of the caller's, on either side of the wall. */
public interface PictureDecoder {

    /** Sets an option of the natives. */
    void setOption(String name, long value);

    /** {@return whether the decoder is open now} */
    boolean open();

    /**
     * Decodes a packet and delivers at most one picture.
     *
     * @param packet the packet from the array's start on; may be null
     * @param length bytes of the packet; 0 for none
     * @param call laid out as {@link PictureCall}; addresses of blocks are those that the decoder's side has
     * @return a sum of {@link kiv.media.ffmpeg.natives.PictureResult}
     */
    int decode(byte[] packet, int length, int flags, long[] call);

    /** Drops the data and the pictures that the decoder holds. */
    void reset();

    /** {@return the memory in which its blocks must be; null for any} */
    SharedMemory memory();

    /** Deletes the decoder, which is not called afterwards and uses no block any more. */
    void delete();
}
