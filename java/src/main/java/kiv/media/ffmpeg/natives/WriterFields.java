package kiv.media.ffmpeg.natives;

import java.lang.annotation.Native;

/** The elements of the array by which {@link c_mediawriter_ffmpeg#n_writer_open} learns what it will write. */
public final class WriterFields {

    /** Number of elements. */
    @Native public static final int SIZE = 7;

    /** Samples a second and channel, which is the unit of the packets' times. */
    @Native public static final int SAMPLE_RATE = 0;

    /** Number of channels. */
    @Native public static final int CHANNELS = 1;

    /** FFmpeg's number of the layout of the channels; 0 for that of their number. */
    @Native public static final int CHANNEL_LAYOUT = 2;

    /** Bits of a sample before it was encoded. */
    @Native public static final int BITS_PER_SAMPLE = 3;

    /** Bits a second; 0 when unknown. */
    @Native public static final int BIT_RATE = 4;

    /** Samples of a channel in a packet; 0 when their number varies. */
    @Native public static final int FRAME_SIZE = 5;

    /** Samples of a channel that the encoder puts before the sound. */
    @Native public static final int INITIAL_PADDING = 6;

    private WriterFields() {
    }
}
