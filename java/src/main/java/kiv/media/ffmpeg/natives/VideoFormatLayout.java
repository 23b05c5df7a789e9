package kiv.media.ffmpeg.natives;

import java.lang.annotation.Native;

/**
 * The {@code int[]} that describes compressed video to {@link
 * kiv.media.ffmpeg.c_multimediaapi_ffmpeg#n_create_vcodec_to_raw}, by index. The indices without a name are the
 * caller's own and carried along.
 */
public final class VideoFormatLayout {

    /** Elements of the array. */
    @Native public static final int SIZE = 18;

    /** Four-character code, its first character in the low byte. */
    @Native public static final int FOURCC = 0;

    /** Width of the pictures in pixels. */
    @Native public static final int WIDTH = 4;

    /** Height of the pictures in pixels. */
    @Native public static final int HEIGHT = 5;

    /** Bits per pixel, which the decoder is given as its bits per coded sample. */
    @Native public static final int BITS_PER_PIXEL = 7;

    /** Number of colours. */
    @Native public static final int COLORS = 11;

    /** Length of the codec's set-up bytes in the {@code byte[]} beside it. */
    @Native public static final int EXTRADATA_LENGTH = 13;

    /** Size of a sample. */
    @Native public static final int SAMPLE_SIZE = 15;

    private VideoFormatLayout() {
    }
}
