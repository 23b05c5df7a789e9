package kiv.media.ffmpeg;

import java.util.Arrays;
import java.util.Optional;
import kiv.media.ffmpeg.natives.FieldOrders;

/**
 * Whether the pictures of a stream consist of two fields each, and in what order those are coded and shown. The container
 * or the head of the compressed video says so; a single {@link Picture} knows better.
 */
public enum FieldOrder {
    /** No fields: the lines of a picture belong to one moment. */
    PROGRESSIVE(FieldOrders.PROGRESSIVE),
    /** The even lines, the top field, are coded first and shown first. */
    TOP_FIRST(FieldOrders.TOP_TOP),
    /** The odd lines, the bottom field, are coded first and shown first. */
    BOTTOM_FIRST(FieldOrders.BOTTOM_BOTTOM),
    /** The even lines are coded first, the odd lines shown first. */
    TOP_CODED_FIRST(FieldOrders.TOP_BOTTOM),
    /** The odd lines are coded first, the even lines shown first. */
    BOTTOM_CODED_FIRST(FieldOrders.BOTTOM_TOP);

    private final long number;

    FieldOrder(long number) {
        this.number = number;
    }

    static Optional<FieldOrder> of(long number) {
        return Arrays.stream(values()).filter(order -> order.number == number).findFirst();
    }

    /** {@return whether pictures consist of fields} */
    public boolean isInterlaced() {
        return this != PROGRESSIVE;
    }
}
