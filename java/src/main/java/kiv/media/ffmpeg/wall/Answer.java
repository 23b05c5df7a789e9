package kiv.media.ffmpeg.wall;

import java.nio.BufferUnderflowException;
import java.nio.ByteBuffer;
import java.nio.ByteOrder;
import java.nio.charset.StandardCharsets;

/** The values of an answer, taken one after the other. What is not there was a lie. */
final class Answer {

    private final Lane lane;
    private final ByteBuffer values;

    /**
     * Checks the length.
     *
     * @param length what the worker says, a copy
     */
    Answer(Lane lane, ByteBuffer area, int length) {
        this.lane = lane;
        if (length < 0 || length > area.capacity()) {
            throw lane.lied();
        }
        this.values = area.duplicate().order(ByteOrder.nativeOrder()).clear().limit(length);
    }

    private Answer(Lane lane, ByteBuffer values) {
        this.lane = lane;
        this.values = values.order(ByteOrder.nativeOrder());
    }

    /** {@return how many bytes are left} */
    int size() {
        return values.remaining();
    }

    /** {@return what is left, in an array that is long enough, which the worker does not share} */
    Answer copy(byte[] to) {
        int size = size();
        values.get(to, 0, size);
        return new Answer(lane, ByteBuffer.wrap(to, 0, size));
    }

    /** {@return the values of the next list of bytes} */
    Answer takeAnswer() {
        return new Answer(lane, takeView());
    }

    /** {@return the next bytes, where they are} */
    ByteBuffer takeView() {
        int count = checked(takeInt());
        ByteBuffer view = values.slice(values.position(), count);
        values.position(values.position() + count);
        return view;
    }

    boolean isEmpty() {
        return !values.hasRemaining();
    }

    /** {@return the next number, which stays} */
    int peekInt() {
        return values.getInt(values.position());
    }

    int takeInt() {
        try {
            return values.getInt();
        } catch (BufferUnderflowException e) {
            throw lane.lied();
        }
    }

    long takeLong() {
        try {
            return values.getLong();
        } catch (BufferUnderflowException e) {
            throw lane.lied();
        }
    }

    /** Takes a list of as many numbers as the array has. */
    void takeLongs(long[] to) {
        if (takeInt() != to.length || values.remaining() / Long.BYTES < to.length) {
            throw lane.lied();
        }
        values.asLongBuffer().get(to);
        values.position(values.position() + to.length * Long.BYTES);
    }

    /** Takes a list of as many numbers as the array has. */
    void takeInts(int[] to) {
        if (takeInt() != to.length || values.remaining() / Integer.BYTES < to.length) {
            throw lane.lied();
        }
        values.asIntBuffer().get(to);
        values.position(values.position() + to.length * Integer.BYTES);
    }

    /** {@return the next list of numbers; null for none} */
    long[] takeLongs() {
        int count = takeInt();
        if (count < 0) {
            return null;
        }
        if (count > values.remaining() / Long.BYTES) {
            throw lane.lied();
        }
        long[] taken = new long[count];
        values.asLongBuffer().get(taken);
        values.position(values.position() + count * Long.BYTES);
        return taken;
    }

    /** {@return the next bytes, in a new array; null for none} */
    byte[] takeBytes() {
        int count = takeInt();
        if (count < 0) {
            return null;
        }
        byte[] taken = new byte[checked(count)];
        values.get(taken);
        return taken;
    }

    /**
     * Takes the next bytes.
     *
     * @param buffer receives them, when it is long enough; may be null
     * @param length receives their number at index 0
     * @return the buffer, or a new array when it is too short
     */
    byte[] takeBytes(byte[] buffer, int[] length) {
        int count = checked(takeInt());
        byte[] taken = buffer != null && buffer.length >= count ? buffer : new byte[count];
        values.get(taken, 0, count);
        length[0] = count;
        return taken;
    }

    private int checked(int count) {
        if (count < 0 || count > values.remaining()) {
            throw lane.lied();
        }
        return count;
    }

    /** {@return the next text; null for none} */
    String takeText() {
        byte[] text = takeBytes();
        return text == null ? null : new String(text, StandardCharsets.UTF_8);
    }
}
