package kiv.media.ffmpeg.natives;

/**
 * Natives for encoders that are chosen by FFmpeg's codec instead of a format tag. Which codecs the library encodes into so
 * is a list of its own. A handle of 0 raises a {@link RuntimeException}; the library does not detect other wrong handles.
 */
public final class c_encoders_ffmpeg {

    private c_encoders_ffmpeg() {
    }

    /**
     * Creates an encoder. It is not open: {@link kiv.media.ffmpeg.c_multimediaapi_ffmpeg#n_acodec_open} opens it,
     * {@link c_codecoptions_ffmpeg} sets its options before and reports what it decided after, and
     * {@link kiv.media.ffmpeg.c_multimediaapi_ffmpeg#n_acodec_delete} deletes it.
     *
     * @param context a handle of {@link kiv.media.ffmpeg.c_multimediaapi_ffmpeg#n_init}, which outlives the encoder
     * @param codec FFmpeg's short name of the codec
     * @param samples the samples that it gets, interleaved: {@link c_codecoptions_ffmpeg#SAMPLES_16},
     *     {@link c_codecoptions_ffmpeg#SAMPLES_32}, of which lossless codecs keep the upper 24 bits, or
     *     {@link c_codecoptions_ffmpeg#SAMPLES_FLOAT}
     * @param channels number of channels
     * @param sampleRate samples per second and channel
     * @return the encoder's handle, never 0
     * @throws RuntimeException when the library or this FFmpeg does not encode into the codec
     */
    public static native long n_create_aencoder(long context, String codec, int samples, int channels, int sampleRate);

    /**
     * Encodes one frame, or drains the encoder.
     *
     * @param encoder a handle of {@link #n_create_aencoder}, open
     * @param pcm holds the samples; null to drain
     * @param offset where they begin, in bytes
     * @param length their length in bytes: the encoder's frame size, or less in the last frame
     * @param packet receives {@link PacketFields#SIZE} elements, laid out as {@link PacketFields}, when there is a
     *     packet. The unit of the times is one sample, and the first sample has the time 0
     * @return the packet's bytes, without any when only the private data have changed; null when there is no packet yet,
     *     or when drained no more
     * @throws RuntimeException when the encoder refuses
     */
    public static native byte[] n_aencoder_encode(long encoder, byte[] pcm, int offset, int length, long[] packet);
}
