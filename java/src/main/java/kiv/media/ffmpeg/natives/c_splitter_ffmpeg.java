package kiv.media.ffmpeg.natives;

/**
 * Natives that cut bytes into packets, below {@link kiv.media.ffmpeg.PacketSplitter}. A handle of 0 raises a
 * {@link RuntimeException}; the library does not detect other wrong handles. One thread at a time uses a splitter.
 */
public final class c_splitter_ffmpeg {

    private c_splitter_ffmpeg() {
    }

    /**
     * Creates a splitter.
     *
     * @param context a handle of {@link kiv.media.ffmpeg.c_multimediaapi_ffmpeg#n_init}, which outlives the splitter
     * @param codec FFmpeg's short name, such as {@code h264}
     * @return the splitter's handle, never 0
     * @throws RuntimeException when the codec's bytes are not cut, or this FFmpeg cannot do it
     */
    public static native long n_create_splitter(long context, String codec);

    /**
     * Takes bytes up to the end of a packet. Called again with the bytes that were not used, it goes on.
     *
     * @param splitter a handle of {@link #n_create_splitter}
     * @param bytes holds the bytes; null for the end, after which each call delivers another packet that was kept
     * @param offset where they begin
     * @param length how many they are
     * @param fields as {@link SplitterFields}: goes in with the times, and comes back with those of the packet
     * @return a new array with the packet; null when no packet ended, and at the end when the splitter begins anew
     * @throws RuntimeException when the bytes are outside of the array, or FFmpeg fails
     */
    public static native byte[] n_split(long splitter, byte[] bytes, int offset, int length, long[] fields);

    /**
     * Drops what a splitter keeps. It begins anew.
     *
     * @param splitter a splitter's handle
     */
    public static native void n_splitter_restart(long splitter);

    /**
     * Describes the stream, as far as it is known by the packets so far.
     *
     * @param splitter a splitter's handle
     * @return a new array, laid out as {@link StreamFields}
     */
    public static native long[] n_splitter_get_stream(long splitter);

    /**
     * Returns the name of the codec, which may be another one of its family than that of the creation.
     *
     * @param splitter a splitter's handle
     * @return FFmpeg's short name
     */
    public static native String n_splitter_get_codec_name(long splitter);

    /**
     * Deletes a splitter.
     *
     * @param splitter a splitter's handle, invalid after the call
     */
    public static native void n_splitter_delete(long splitter);
}
