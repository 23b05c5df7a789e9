package kiv.media.ffmpeg;

import java.nio.ByteBuffer;

/**
 * One plane of a picture: row {@code y} begins at the byte {@code y * lineSize} and has {@code rowBytes} bytes; what
 * follows up to the next row is padding.
 *
 * @param bytes the plane, read-only, from the first byte of its first row
 * @param lineSize distance of two rows in bytes
 * @param rowBytes bytes of a row that are picture
 * @param rows number of rows
 */
public record Plane(ByteBuffer bytes, int lineSize, int rowBytes, int rows) {

    /** {@return the rows without padding, one after the other} */
    public byte[] packed() {
        byte[] packed = new byte[rowBytes * rows];
        for (int row = 0; row < rows; row++) {
            bytes.get(row * lineSize, packed, row * rowBytes, rowBytes);
        }
        return packed;
    }
}
