package kiv.media.ffmpeg.natives;

import java.lang.annotation.Native;

/** The {@code long[]} beside a packet in {@link c_pictures_ffmpeg#n_decode}, by index: what goes in, then what comes out. */
public final class PictureCall {

    /** Elements of the array. */
    @Native public static final int SIZE = 57;

    /** Elements of a block. */
    @Native public static final int BLOCK_SIZE = 3;

    /** Of a block: the caller's number of it, at least 0, which no other block of the decoder has. */
    @Native public static final int BLOCK_SLOT = 0;

    /** Of a block: {@link c_pictures_ffmpeg#n_address} of its memory. */
    @Native public static final int BLOCK_ADDRESS = 1;

    /** Of a block: its size. */
    @Native public static final int BLOCK_BYTES = 2;

    /** The most blocks that a call adds. */
    @Native public static final int MOST_BLOCKS = 4;

    /** The most slots that a call releases. */
    @Native public static final int MOST_RELEASED = 8;

    /** The most pictures that a call reports as closed. */
    @Native public static final int MOST_CLOSED = 8;

    /** In: how many blocks the decoder may use from now on. The caller keeps their memory until they are released. */
    @Native public static final int STOCKED = 0;

    /** In: the blocks. */
    @Native public static final int BLOCKS = 1;

    /** In: a number of the packet's, not negative. */
    @Native public static final int KEY = 13;

    /** Out: how many more blocks the decoder should have before the next packet; below 0, so many are left over. */
    @Native public static final int WANTED = 14;

    /** Out: the size of each of them. */
    @Native public static final int WANTED_BYTES = 15;

    /** Out: how many blocks the decoder does not use any more. */
    @Native public static final int RELEASED = 16;

    /** Out: their slots. */
    @Native public static final int RELEASED_SLOTS = 17;

    /** Out, as the rest that comes out with a picture only: the slot of its block. */
    @Native public static final int SLOT = 25;

    /** Out: the key of its packet. */
    @Native public static final int PICTURE_KEY = 26;

    /** Out: the key of the packet whose decoding delivered it; negative when it was drained. */
    @Native public static final int FED_KEY = 27;

    /** Out: 1 for a picture that was decoded without the help of others. */
    @Native public static final int KEY_PICTURE = 28;

    /** Out: width in pixels. */
    @Native public static final int WIDTH = 29;

    /** Out: height in pixels. */
    @Native public static final int HEIGHT = 30;

    /** Out: FFmpeg's number of the pixel format. */
    @Native public static final int PIXEL_FORMAT = 31;

    /** Out: one of {@link Interlacing}. */
    @Native public static final int INTERLACED = 32;

    /**
     * Out: bytes from the block's start to each plane, one element for each plane; 0 for a plane that does not
     * exist.
     */
    @Native public static final int PLANE_OFFSETS = 33;

    /** Out: bytes from one line to the next, one element for each plane. */
    @Native public static final int LINE_SIZES = 37;

    /** Out: width of a pixel in units of its height; 0 when unknown. */
    @Native public static final int PIXEL_WIDTH = 41;

    /** Out: height of a pixel in the same units. */
    @Native public static final int PIXEL_HEIGHT = 42;

    /** Out: one of {@link ColorRange}, or another number when unknown. */
    @Native public static final int COLOR_RANGE = 43;

    /** Out: FFmpeg's number of the matrix by which YUV becomes RGB. */
    @Native public static final int COLOR_SPACE = 44;

    /** Out: FFmpeg's number of the colours that red, green and blue are. */
    @Native public static final int COLOR_PRIMARIES = 45;

    /** Out: FFmpeg's number of the curve between values and light. */
    @Native public static final int COLOR_TRANSFER = 46;

    /** Out, with or without a picture: how many errors FFmpeg logged on the calling thread during the call. */
    @Native public static final int ERRORS = 47;

    /**
     * In: in how many blocks the caller has closed the picture, so that the decoder may use them again. Out, from a worker: how
     * many slots it has taken of {@link WorkerLane#CLOSED_SLOTS} since the results before.
     */
    @Native public static final int CLOSED = 48;

    /** In: their slots. */
    @Native public static final int CLOSED_SLOTS = 49;

    private PictureCall() {
    }
}
