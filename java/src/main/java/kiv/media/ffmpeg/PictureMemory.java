package kiv.media.ffmpeg;

import java.nio.ByteBuffer;
import java.nio.ByteOrder;

/**
 * The array of one picture and the layout that it was allocated for. The two stay together because the decoder's
 * current layout may already be that of a later picture when this one is handed out.
 *
 * @param array a {@code byte[]}, {@code short[]} or {@code int[]}
 * @param layout as in {@link VideoBuffers#allocate}
 */
record PictureMemory(Object array, int[] layout) {

    int width() {
        return layout[0];
    }

    int height() {
        return layout[1];
    }

    int lineSize(int plane) {
        return layout[2 + plane];
    }

    PictureFormat format() {
        return PictureFormat.of(layout[8], layout[9]).orElseThrow();
    }

    long sizeInBytes() {
        if (array instanceof byte[] bytes) {
            return bytes.length;
        }
        return array instanceof short[] shorts ? (long) shorts.length * Short.BYTES
                : (long) ((int[]) array).length * Integer.BYTES;
    }

    /** A part of the array as bytes in the machine's order: a view of a {@code byte[]}, else a copy. */
    ByteBuffer bytes(int offset, int length) {
        if (array instanceof byte[] bytes) {
            return ByteBuffer.wrap(bytes, offset, length).slice().asReadOnlyBuffer();
        }
        ByteBuffer copy = ByteBuffer.allocate(length).order(ByteOrder.nativeOrder());
        if (array instanceof short[] shorts) {
            copy.asShortBuffer().put(shorts, offset / Short.BYTES, length / Short.BYTES);
        } else {
            copy.asIntBuffer().put((int[]) array, offset / Integer.BYTES, length / Integer.BYTES);
        }
        return copy.asReadOnlyBuffer();
    }
}
