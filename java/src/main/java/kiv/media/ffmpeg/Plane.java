package kiv.media.ffmpeg;

import java.nio.ByteBuffer;
import java.nio.ByteOrder;
import java.util.Objects;

/**
 * One plane of a picture. Row {@code y} starts at byte {@code y * lineSize} and has {@code rowBytes} bytes; padding
 * follows up to the next row. The bytes are a view of the picture's memory and must not be read after the picture is
 * closed. Any thread may read them by index. Position and limit are for one thread at a time.
 *
 * <pre>{@code
 * Plane brightness = picture.plane(0);
 * for (int y = 0; y < brightness.rows(); y++) {
 *     System.out.println("leftmost: " + (brightness.bytes().get(y * brightness.lineSize()) & 0xFF));
 * }
 * }</pre>
 *
 * @param bytes the plane, read-only, from the first byte of its first row; a picture's plane has the byte order of its
 *     {@linkplain PixelFormat#isBigEndian() format}
 * @param lineSize bytes from one row to the next
 * @param rowBytes bytes of a row without padding
 * @param rows number of rows
 */
public record Plane(ByteBuffer bytes, int lineSize, int rowBytes, int rows) {

    /**
     * Checks that the plane lies within its bytes.
     *
     * @param bytes the plane, from the position to the limit; the record keeps a read-only view in the same byte order
     * @param lineSize bytes from one row to the next
     * @param rowBytes bytes of a row without padding
     * @param rows number of rows
     * @throws IllegalArgumentException when the rows are not within the bytes
     */
    public Plane {
        Objects.requireNonNull(bytes, "bytes");
        if (rows < 0 || rowBytes < 0 || lineSize < rowBytes
                || rows > 0 && (rows - 1L) * lineSize + rowBytes > bytes.remaining()) {
            throw new IllegalArgumentException(rows + " rows of " + rowBytes + " bytes, " + lineSize
                    + " apart, are not within " + bytes.remaining() + " bytes");
        }
        ByteOrder order = bytes.order();
        bytes = bytes.slice().asReadOnlyBuffer().order(order);
    }

    /** {@return a copy of the rows without padding, one after the other} */
    public byte[] packed() {
        ByteBuffer packed = ByteBuffer.allocate(rowBytes * rows);
        putInto(packed);
        return packed.array();
    }

    /** Copies the rows without padding. */
    void putInto(ByteBuffer to) {
        // Readers of the plane may have moved its limit.
        ByteBuffer all = bytes.duplicate().clear();
        for (int row = 0; row < rows; row++) {
            to.put(all.slice(row * lineSize, rowBytes));
        }
    }
}
