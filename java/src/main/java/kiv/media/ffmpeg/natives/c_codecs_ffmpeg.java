package kiv.media.ffmpeg.natives;

/**
 * Natives for decoders that are chosen by FFmpeg's codec instead of a media subtype or a format tag. Which codecs the
 * library decodes so is a list of its own. A handle of 0 raises a {@link RuntimeException}; the library does not detect
 * other wrong handles.
 */
public final class c_codecs_ffmpeg {

    private c_codecs_ffmpeg() {
    }

    /**
     * Creates a video decoder, for all functions of {@link kiv.media.ffmpeg.c_multimediaapi_ffmpeg} that take one. It is
     * not open.
     *
     * @param context a handle of {@link kiv.media.ffmpeg.c_multimediaapi_ffmpeg#n_init}, which outlives the codec
     * @param stream what is known of the video, laid out as {@link StreamFields}. The decoder looks at the codec, its tag
     *     and profile, the size, the pixel format and the bits per pixel
     * @param extradata the codec's private data, all of the array; null when there is none
     * @param models as for {@link kiv.media.ffmpeg.c_multimediaapi_ffmpeg#n_create_vcodec_to_raw}
     * @param object as there
     * @return the decoder's handle, never 0
     * @throws RuntimeException when the library or this FFmpeg does not decode the codec
     */
    public static native long n_create_vcodec(long context, long[] stream, byte[] extradata, int[][] models,
            Object object);

    /**
     * Creates a decoder of sound, for all functions of {@link kiv.media.ffmpeg.c_multimediaapi_ffmpeg} that take one. It is
     * open, and its output is PCM of 16 bits.
     *
     * @param context a handle of {@link kiv.media.ffmpeg.c_multimediaapi_ffmpeg#n_init}, which outlives the codec
     * @param stream what is known of the sound, laid out as {@link StreamFields}. The decoder looks at the codec, its tag
     *     and profile, the channels, the sample rate, the bits of a sample, the bit rate and the block align
     * @param extradata the codec's private data, all of the array; null when there is none
     * @return the decoder's handle; 0 when FFmpeg does not open it
     * @throws RuntimeException when the library or this FFmpeg does not decode the codec
     */
    public static native long n_create_acodec(long context, long[] stream, byte[] extradata);

    /**
     * Lists the codecs that the library decodes besides those of media subtypes and format tags.
     *
     * @param context a handle of {@link kiv.media.ffmpeg.c_multimediaapi_ffmpeg#n_init}
     * @return FFmpeg's short names, also of codecs that this FFmpeg has no decoder for
     */
    public static native String[] n_codec_names(long context);

    /**
     * Describes a codec.
     *
     * @param context a handle of {@link kiv.media.ffmpeg.c_multimediaapi_ffmpeg#n_init}
     * @param name FFmpeg's short name
     * @return a new array, laid out as {@link CodecFields}; null when this FFmpeg has neither decoder nor encoder
     */
    public static native int[] n_codec(long context, String name);

    /**
     * Returns the name of a codec's decoder for people.
     *
     * @param context a handle of {@link kiv.media.ffmpeg.c_multimediaapi_ffmpeg#n_init}
     * @param name FFmpeg's short name of the codec
     * @return FFmpeg's long name, such as {@code HEVC (High Efficiency Video Coding)}; null without a decoder
     */
    public static native String n_codec_title(long context, String name);
}
