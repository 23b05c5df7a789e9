package kiv.media.ffmpeg.natives;

import java.lang.annotation.Native;

/** The {@code int[]} by which the allocation callback learns how much memory a picture needs, by index. */
public final class BufferRequest {

    /** Elements of the array when a Java array is wanted. */
    @Native public static final int SIZE = 5;

    /** Elements of the array when a direct buffer is wanted. */
    @Native public static final int DIRECT_SIZE = 10;

    /** Always 1. */
    @Native public static final int COUNT = 0;

    /** Bytes that the memory must have at least. */
    @Native public static final int BYTES = 1;

    /** Alignment of the first plane in bytes, for which the bytes include room. */
    @Native public static final int ALIGNMENT = 2;

    /** Width in pixels. */
    @Native public static final int WIDTH = 3;

    /** Lines allocated for the first plane. */
    @Native public static final int SCAN_HEIGHT = 4;

    /** FFmpeg's number of the pixel format. From here on for direct buffers only. */
    @Native public static final int PIXEL_FORMAT = 5;

    /** Bytes from the first plane to each plane, one element for each plane. */
    @Native public static final int PLANE_OFFSETS = 6;

    private BufferRequest() {
    }
}
