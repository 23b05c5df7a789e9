package kiv.media.ffmpeg.natives;

/**
 * Natives that change the sample rate of PCM. A handle of 0 raises a {@link RuntimeException}; the library does not detect
 * other wrong handles. One thread at a time uses a resampler.
 */
public final class c_resampler_ffmpeg {

    private c_resampler_ffmpeg() {
    }

    /**
     * Creates a resampler.
     *
     * @param context a handle of {@link kiv.media.ffmpeg.c_multimediaapi_ffmpeg#n_init}, which outlives the resampler
     * @param samples the samples, interleaved and little-endian: {@link c_codecoptions_ffmpeg#SAMPLES_16},
     *     {@link c_codecoptions_ffmpeg#SAMPLES_32} or {@link c_codecoptions_ffmpeg#SAMPLES_FLOAT}
     * @param channels number of channels, 1 to 32
     * @param from samples per second and channel before
     * @param to samples per second and channel after
     * @return the resampler's handle, never 0
     * @throws RuntimeException when a number is impossible, or the rates are too far apart
     */
    public static native long n_create_resampler(long context, int samples, int channels, int from, int to);

    /**
     * Changes the rate of PCM. What the filter needs for the samples to come it keeps.
     *
     * @param resampler a handle of {@link #n_create_resampler}
     * @param pcm holds the samples; null for the end, after which the resampler keeps nothing
     * @param offset where they begin, in bytes
     * @param length their length in bytes, whole samples of all channels
     * @return the samples that are ready, often none at first
     * @throws RuntimeException when the samples are not whole or outside of the array
     */
    public static native byte[] n_resample(long resampler, byte[] pcm, int offset, int length);

    /**
     * Deletes a resampler.
     *
     * @param resampler a resampler's handle, invalid after the call
     */
    public static native void n_resampler_delete(long resampler);
}
