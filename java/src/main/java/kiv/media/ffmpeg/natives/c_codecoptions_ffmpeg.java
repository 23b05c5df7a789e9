package kiv.media.ffmpeg.natives;

import java.lang.annotation.Native;

/**
 * Natives for codec options that the entry points of {@link kiv.media.ffmpeg.c_multimediaapi_ffmpeg} do not have. A
 * handle of 0 raises a {@link RuntimeException}; the library does not detect other wrong handles.
 */
public final class c_codecoptions_ffmpeg {

    /**
     * With the value 1, the data of each call is the whole packet of one picture, as in containers, and each picture
     * comes with its own packet and timestamp. The decoder is called once for a packet, and what it does not consume is
     * dropped, as in the {@code ffmpeg} program. With 0, the initial value, some decoders accept pieces of a stream that
     * are cut anywhere and deliver each picture one packet late; each decoder is called until the data is used up.
     */
    public static final String WHOLE_PACKETS = "whole_packets";

    /**
     * Pictures lie in direct {@link java.nio.ByteBuffer}s instead of arrays (value 1): the allocation
     * callback puts one into {@link BufferSlots#MEMORY}, and every buffer is released exactly once.
     */
    public static final String DIRECT_BUFFERS = "direct_buffers";

    /** With the value 1, pictures have the decoder's own pixel format and are in direct buffers. */
    public static final String NATIVE_FORMAT = "native_format";

    /**
     * With the value 1, pictures have the decoder's own pixel format and are in memory that the caller provides beforehand.
     * The codec then takes packets by {@link c_pictures_ffmpeg#n_decode}, never calls Java, and may have {@link #THREADS}.
     */
    public static final String POOLED_PICTURES = "pooled_pictures";

    /**
     * How many threads a video decoder uses, 1 to {@link #MOST_THREADS}, if its codec can. More than one need
     * {@link #POOLED_PICTURES}, which is set before. Pictures may then come some packets later.
     */
    public static final String THREADS = "threads";

    /** The most threads of a decoder. */
    @Native public static final int MOST_THREADS = 64;

    /**
     * FFmpeg's number of what the container says of the values that YUV uses. As the following ones, this holds where the
     * compressed video says nothing, and is a number of 8 bits.
     */
    public static final String COLOR_RANGE = "color_range";

    /** FFmpeg's number of the matrix by which YUV becomes RGB. */
    public static final String COLOR_SPACE = "colorspace";

    /** FFmpeg's number of the curve between values and light. */
    public static final String COLOR_TRANSFER = "color_trc";

    /** FFmpeg's number of the colours that red, green and blue are. */
    public static final String COLOR_PRIMARIES = "color_primaries";

    /** FFmpeg's number of the place of chroma samples between those of luma. */
    public static final String CHROMA_LOCATION = "chroma_sample_location";

    /** FFmpeg's number of the order of the fields. */
    public static final String FIELD_ORDER = "field_order";

    /**
     * With the value 1, a decoder of pictures reports damage that it notices as a decoding error. With 0, the initial value,
     * most decoders guess what is missing.
     */
    public static final String DAMAGE_IS_ERROR = "damage_is_error";

    /** Bits per second of an audio codec. Some decoders need it. It is the target of encoders. Settable. */
    public static final String BIT_RATE = "bit_rate";

    /**
     * With the value 1, an audio decoder resamples sound whose rate differs from that of the decoder's format as one
     * stream, which a change of its rate or {@link ProcessFlags#DRAIN} ends. With 0, the initial value, it resamples each
     * frame alone and delivers at most as many samples as the frame has. With 1 it also delivers and reports what FFmpeg drops
     * otherwise, see {@link #SKIPPED_SAMPLES}. Settable.
     */
    public static final String CONTINUOUS = "continuous";

    /**
     * FFmpeg's number of the samples that an audio decoder delivers: {@link #SAMPLES_16}, the initial value,
     * {@link #SAMPLES_32} or {@link #SAMPLES_FLOAT}, all little-endian and interleaved. Settable.
     */
    public static final String SAMPLE_FORMAT = "sample_format";

    /** Signed integers of 16 bits. */
    @Native public static final int SAMPLES_16 = 1;

    /** Signed integers of 32 bits. */
    @Native public static final int SAMPLES_32 = 2;

    /** Floating-point numbers of 32 bits, of which -1 to 1 can be heard. */
    @Native public static final int SAMPLES_FLOAT = 3;

    /** FFmpeg's number of the layout of an audio encoder's channels, instead of that for their number. Settable. */
    public static final String CHANNEL_LAYOUT = "channel_layout";

    /** Bytes of the smallest unit of an open audio codec's compressed data; 0 when there is none. */
    public static final String BLOCK_ALIGN = "block_align";

    /** Samples of a channel in a packet of an open audio codec; 0 when a packet may have any number. */
    public static final String FRAME_SIZE = "frame_size";

    /** Samples of silence per channel that an open audio encoder puts before the sound. */
    public static final String INITIAL_PADDING = "initial_padding";

    /** Bits of a coded sample of an open audio codec; 0 when their size varies. */
    public static final String BITS_PER_CODED_SAMPLE = "bits_per_coded_sample";

    /** 1 for a decoder of sound that may answer a packet late, or at the end of the stream only; otherwise 0. */
    public static final String HOLDS_BACK = "holds_back";

    /**
     * Samples of a channel, of all that an audio decoder has delivered since it was opened, that it reports as not to be
     * heard, such as what it made before its first whole frame.
     */
    public static final String SKIPPED_SAMPLES = "skipped_samples";

    /** FFmpeg prints nothing on the standard error. */
    @Native public static final int LOG_QUIET = -8;

    /**
     * FFmpeg prints errors, such as data that it cannot decode, on the standard error: the level after {@code n_init}.
     */
    @Native public static final int LOG_ERROR = 16;

    /** The smallest limit of allocations: less than that, and FFmpeg cannot work. */
    @Native public static final int LEAST_ALLOCATION_LIMIT = 1024 * 1024;

    private c_codecoptions_ffmpeg() {
    }

    /**
     * Sets an option of a video codec that is not open.
     *
     * @param codec a handle of {@link kiv.media.ffmpeg.c_multimediaapi_ffmpeg#n_create_vcodec_to_raw}
     * @param name the option, such as {@link #WHOLE_PACKETS}
     * @param value the option's value
     * @throws RuntimeException when the option is unknown or cannot have the value, or the codec is open
     */
    public static native void n_vcodec_set_option(long codec, String name, long value);

    /**
     * Sets an option of an audio codec that is not open. New audio codecs are open: close, set, open again.
     *
     * @param codec a handle of {@link kiv.media.ffmpeg.c_multimediaapi_ffmpeg#n_create_acodec_to_pcm} or
     *     {@link kiv.media.ffmpeg.c_multimediaapi_ffmpeg#n_create_acodec_from_pcm}
     * @param name the option: {@link #BIT_RATE}, {@link #CHANNEL_LAYOUT}, {@link #CONTINUOUS} or
     *     {@link #SAMPLE_FORMAT}
     * @param value the option's value
     * @throws RuntimeException when the option is unknown or the codec is open
     */
    public static native void n_acodec_set_option(long codec, String name, long value);

    /**
     * Reports an option of an audio codec. What an encoder decides by itself is known while it is open.
     *
     * @param codec an audio codec's handle
     * @param name the option: {@link #BIT_RATE}, {@link #BLOCK_ALIGN}, {@link #FRAME_SIZE}, {@link #INITIAL_PADDING},
     *     {@link #BITS_PER_CODED_SAMPLE}, {@link #HOLDS_BACK} or {@link #SKIPPED_SAMPLES}
     * @return the option's value
     * @throws RuntimeException when the option is unknown
     */
    public static native long n_acodec_get_option(long codec, String name);

    /**
     * Returns an audio codec's private data. An encoder creates it when it opens. A decoder needs it to open.
     *
     * @param codec an audio codec's handle
     * @return a new array, or null when there is none
     */
    public static native byte[] n_acodec_get_extradata(long codec);

    /**
     * Sets how much of its own FFmpeg prints on the process's standard error. The level is the process's, and every
     * {@link kiv.media.ffmpeg.c_multimediaapi_ffmpeg#n_init} sets it to {@link #LOG_ERROR}.
     *
     * @param context a handle of {@link kiv.media.ffmpeg.c_multimediaapi_ffmpeg#n_init}
     * @param level FFmpeg's number of the least important messages that are printed, such as {@link #LOG_QUIET}
     */
    public static native void n_set_log_level(long context, int level);

    /**
     * Sets the most bytes that FFmpeg allocates at once. The limit is the process's. It is 2 GiB at first, and
     * {@link kiv.media.ffmpeg.c_multimediaapi_ffmpeg#n_init} does not change it.
     *
     * @param context a handle of {@link kiv.media.ffmpeg.c_multimediaapi_ffmpeg#n_init}
     * @param bytes the most bytes, {@value #LEAST_ALLOCATION_LIMIT} to {@value Integer#MAX_VALUE}
     * @throws RuntimeException when the number is out of this range
     */
    public static native void n_set_allocation_limit(long context, long bytes);

    /**
     * Returns what the loaded FFmpeg says of itself.
     *
     * @param context a handle of {@link kiv.media.ffmpeg.c_multimediaapi_ffmpeg#n_init}
     * @param text a number of {@link FfmpegText}
     * @return the text, or null when there is none
     * @throws RuntimeException when there is no such number
     */
    public static native String n_get_ffmpeg_text(long context, int text);
}
