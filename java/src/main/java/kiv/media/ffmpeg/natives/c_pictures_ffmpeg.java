package kiv.media.ffmpeg.natives;

import java.nio.ByteBuffer;

/**
 * Natives for decoding into memory that the caller provides beforehand, so that the threads of a decoder never call Java.
 * The codec is one of {@link kiv.media.ffmpeg.c_multimediaapi_ffmpeg#n_create_vcodec_to_raw} with the option
 * {@link c_codecoptions_ffmpeg#POOLED_PICTURES}.
 */
public final class c_pictures_ffmpeg {

    private c_pictures_ffmpeg() {
    }

    /**
     * Adds blocks of memory, decodes a packet and delivers at most one picture. A delivered picture is in one of the
     * blocks. The decoder may read it until the block is released, and Java must not write to it. A deleted codec uses
     * no block any more.
     *
     * @param codec the codec's handle
     * @param packet the packet from the array's start on; null decodes nothing
     * @param length bytes of the packet; 0 decodes nothing
     * @param flags a sum of {@link ProcessFlags}
     * @param call laid out as {@link PictureCall}
     * @return a sum of {@link PictureResult}
     * @throws RuntimeException when the codec lacks the option, or the array is too short
     */
    public static native int n_decode(long codec, byte[] packet, int length, int flags, long[] call);

    /**
     * Returns the address of a direct buffer's first byte.
     *
     * @param memory a direct buffer
     * @return the address; 0 for another buffer
     */
    public static native long n_address(ByteBuffer memory);
}
