package kiv.media.ffmpeg.wall;

import kiv.media.ffmpeg.natives.PictureCall;

/** A decoder of video that delivers pictures in memory of the caller's, on either side of the wall. */
public interface PictureDecoder extends AheadDecoder {

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

    /** Says that packets will be given before they are decoded, as far as there is room. */
    default void expectAhead() {
    }

    /** {@return a call for the next packet, in which is set what memory the decoder wants before it} */
    default long[] nextCall() {
        throw new UnsupportedOperationException();
    }

    /** Adds a packet to those that are decoded next, with what {@link #decode} gets with it. @param call of {@link #nextCall} */
    default void add(PacketAhead packet, int flags, long[] call) {
        throw new UnsupportedOperationException();
    }

    /** Drops the data and the pictures that the decoder holds. */
    void reset();

    /** {@return the memory in which its blocks must be; null for any} */
    SharedMemory memory();

    /** Deletes the decoder, which is not called afterwards and uses no block any more. */
    void delete();
}
