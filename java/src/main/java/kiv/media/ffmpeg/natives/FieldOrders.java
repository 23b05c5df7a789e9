package kiv.media.ffmpeg.natives;

import java.lang.annotation.Native;

/** FFmpeg's numbers of the order in which the fields of interlaced pictures are coded and shown. */
public final class FieldOrders {

    /** No fields. */
    @Native public static final int PROGRESSIVE = 1;

    /** The field of the even lines is coded first, and shown first. */
    @Native public static final int TOP_TOP = 2;

    /** The field of the odd lines is coded first, and shown first. */
    @Native public static final int BOTTOM_BOTTOM = 3;

    /** The field of the even lines is coded first, that of the odd lines shown first. */
    @Native public static final int TOP_BOTTOM = 4;

    /** The field of the odd lines is coded first, that of the even lines shown first. */
    @Native public static final int BOTTOM_TOP = 5;

    private FieldOrders() {
    }
}
