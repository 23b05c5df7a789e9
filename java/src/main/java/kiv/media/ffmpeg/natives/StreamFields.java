package kiv.media.ffmpeg.natives;

import java.lang.annotation.Native;

/** The {@code long[]} that describes a stream of a container, by index. What is not known is 0. */
public final class StreamFields {

    /** Elements of the array. */
    @Native public static final int SIZE = 45;

    /** One of {@link MediaType}. */
    @Native public static final int MEDIA_TYPE = 0;

    /** FFmpeg's number of the codec. */
    @Native public static final int CODEC_ID = 1;

    /** Four-character code, its first character in the low byte, or WAVE format tag. */
    @Native public static final int CODEC_TAG = 2;

    /** Width of the pictures in pixels. */
    @Native public static final int WIDTH = 3;

    /** Height of the pictures in pixels. */
    @Native public static final int HEIGHT = 4;

    /** Pictures a second on average, numerator. */
    @Native public static final int FRAME_RATE_NUMERATOR = 5;

    /** Pictures a second on average, denominator. */
    @Native public static final int FRAME_RATE_DENOMINATOR = 6;

    /** Unit of the stream's times in seconds, numerator. */
    @Native public static final int TIME_BASE_NUMERATOR = 7;

    /** Unit of the stream's times in seconds, denominator. */
    @Native public static final int TIME_BASE_DENOMINATOR = 8;

    /** Length in the stream's unit of time; {@link Long#MIN_VALUE} when unknown. */
    @Native public static final int DURATION = 9;

    /** Where the times begin, in the stream's unit of time; {@link Long#MIN_VALUE} when unknown. */
    @Native public static final int START_TIME = 10;

    /** Bits a second. */
    @Native public static final int BIT_RATE = 11;

    /** Samples a second and channel. */
    @Native public static final int SAMPLE_RATE = 12;

    /** Number of channels. */
    @Native public static final int CHANNELS = 13;

    /** Bits of a coded sample, or of a pixel for video. */
    @Native public static final int BITS_PER_CODED_SAMPLE = 14;

    /** Bytes of the smallest unit of coded sound. */
    @Native public static final int BLOCK_ALIGN = 15;

    /** Number of pictures that the container claims to hold. */
    @Native public static final int FRAMES = 16;

    /** Width of a pixel in units of its height. */
    @Native public static final int PIXEL_WIDTH = 17;

    /** Height of a pixel in the same units. */
    @Native public static final int PIXEL_HEIGHT = 18;

    /** FFmpeg's number of the codec's profile; negative when unknown. */
    @Native public static final int PROFILE = 19;

    /** The sum of {@link Disposition}, and of other bits of FFmpeg's. */
    @Native public static final int DISPOSITION = 20;

    /** FFmpeg's number of the pixel format or the sample format; -1 when unknown. */
    @Native public static final int SAMPLE_FORMAT = 21;

    /** Whether this FFmpeg has a decoder (1) or not (0). */
    @Native public static final int DECODABLE = 22;

    /** Degrees by which a player turns the pictures clockwise: 0, 90, 180 or 270. */
    @Native public static final int ROTATION = 23;

    /** Whether a player swaps left and right before it turns the pictures (1) or not (0). */
    @Native public static final int MIRRORED = 24;

    /** Whether the shape of a pixel is the container's (1) or the compressed video's (0). */
    @Native public static final int CONTAINER_STATES_SHAPE = 25;

    /** Whether the library decodes the codec (1) or not (0), when this FFmpeg has a decoder. */
    @Native public static final int ADMITTED = 26;

    /** FFmpeg's number of the codec's level; negative when unknown. */
    @Native public static final int LEVEL = 27;

    /** What the container calls the stream, such as an MPEG packet identifier; {@link #NO_NUMBER} when that is only its index. */
    @Native public static final int NUMBER = 28;

    /** Pictures a second at the smallest distance of two, numerator. */
    @Native public static final int REAL_FRAME_RATE_NUMERATOR = 29;

    /** Pictures a second at the smallest distance of two, denominator. */
    @Native public static final int REAL_FRAME_RATE_DENOMINATOR = 30;

    /** FFmpeg's number of the order of the fields; 0 when unknown. */
    @Native public static final int FIELD_ORDER = 31;

    /** One of {@link ColorRange}, or another number when unknown. */
    @Native public static final int COLOR_RANGE = 32;

    /** FFmpeg's number of the matrix by which YUV becomes RGB. */
    @Native public static final int COLOR_SPACE = 33;

    /** FFmpeg's number of the curve between values and light. */
    @Native public static final int COLOR_TRANSFER = 34;

    /** FFmpeg's number of the colours that red, green and blue are. */
    @Native public static final int COLOR_PRIMARIES = 35;

    /** FFmpeg's number of the place of chroma samples between those of luma; 0 when unknown. */
    @Native public static final int CHROMA_LOCATION = 36;

    /** The places of the channels, a bit for each; 0 when unknown. */
    @Native public static final int CHANNEL_LAYOUT = 37;

    /** Bits of a sample that the codec states; 0 when unknown. */
    @Native public static final int BITS_PER_RAW_SAMPLE = 38;

    /** Bits of a sample that every stream of the codec has; 0 when they differ or samples are compressed. */
    @Native public static final int BITS_PER_SAMPLE = 39;

    /** Width of the coded pictures, of which a part may be cut off; 0 when unknown. */
    @Native public static final int CODED_WIDTH = 40;

    /** Height of the coded pictures; 0 when unknown. */
    @Native public static final int CODED_HEIGHT = 41;

    /** How many pictures wait in a decoder for those that are shown before them. */
    @Native public static final int REORDERED = 42;

    /** How many pictures others may refer to. */
    @Native public static final int REFERENCES = 43;

    /** Samples that the encoder put before the sound. */
    @Native public static final int INITIAL_PADDING = 44;

    /** Instead of a number: the container has none. */
    @Native public static final int NO_NUMBER = -1;

    private StreamFields() {
    }
}
