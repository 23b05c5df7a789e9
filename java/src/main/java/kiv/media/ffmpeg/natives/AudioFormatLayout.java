package kiv.media.ffmpeg.natives;

import java.lang.annotation.Native;

/**
 * The {@code int[]} that describes compressed sound to {@link
 * kiv.media.ffmpeg.c_multimediaapi_ffmpeg#n_create_acodec_to_pcm} and {@link
 * kiv.media.ffmpeg.c_multimediaapi_ffmpeg#n_create_acodec_from_pcm}, by index.
 */
public final class AudioFormatLayout {

    /** Elements of the array. */
    @Native public static final int SIZE = 7;

    /** Format tag of a WAVE header. */
    @Native public static final int FORMAT_TAG = 0;

    /** Number of channels. */
    @Native public static final int CHANNELS = 1;

    /** Samples a second and channel. */
    @Native public static final int SAMPLE_RATE = 2;

    /** Bytes a second. */
    @Native public static final int BYTES_PER_SECOND = 3;

    /** Bytes of the smallest unit of the sound. */
    @Native public static final int BLOCK_ALIGN = 4;

    /** Bits of a sample. */
    @Native public static final int BITS_PER_SAMPLE = 5;

    /** Length of the codec's header bytes in the {@code byte[]} beside it. */
    @Native public static final int HEADER_LENGTH = 6;

    private AudioFormatLayout() {
    }
}
