package kiv.media.ffmpeg;

import java.nio.ByteBuffer;
import java.nio.ByteOrder;
import java.util.Objects;

/**
 * One plane of a picture: row {@code y} begins at the byte {@code y * lineSize} and has {@code rowBytes} bytes; what
 * follows up to the next row is padding. The bytes are a picture's own memory, to be looked at only until that picture is
 * closed. Any thread may read them by index; position and limit belong to one thread at a time.
 *
 * <pre>{@code
 * Plane brightness = picture.plane(0);
 * for (int y = 0; y < brightness.rows(); y++) {
 *     System.out.println("leftmost: " + (brightness.bytes().get(y * brightness.lineSize()) & 0xFF));
 * }
 * }</pre>
 *
 * @param bytes the plane, read-only, from the first byte of its first row; of a picture's plane in the byte order of its
 *     {@linkplain PixelFormat#isBigEndian() format}
 * @param lineSize distance of two rows in bytes
 * @param rowBytes bytes of a row that are picture
 * @param rows number of rows
 */
public record Plane(ByteBuffer bytes, int lineSize, int rowBytes, int rows) {

    /**
     * Checks that the plane lies within its bytes.
     *
     * @param bytes the plane, from the position to the limit; a read-only view of it in the same byte order is kept
     * @param lineSize distance of two rows in bytes
     * @param rowBytes bytes of a row that are picture
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

    /** {@return the rows without padding, one after the other} */
    public byte[] packed() {
        ByteBuffer packed = ByteBuffer.allocate(rowBytes * rows);
        putInto(packed);
        return packed.array();
    }

    /** Puts the rows without padding. */
    void putInto(ByteBuffer to) {
        // Whoever looked at the plane may have moved its limit.
        ByteBuffer all = bytes.duplicate().clear();
        for (int row = 0; row < rows; row++) {
            to.put(all.slice(row * lineSize, rowBytes));
        }
    }
}
