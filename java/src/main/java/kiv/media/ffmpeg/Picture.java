package kiv.media.ffmpeg;

import java.awt.image.BufferedImage;
import java.time.Duration;
import java.util.Optional;

/**
 * A decoded picture. It owns its memory, is independent of its decoder, and does not change; any thread may use it.
 */
public final class Picture {

    private final PictureMemory memory;
    private final PictureFormat format;
    private final int width;
    private final int height;
    private final int[] planeOffsets;
    private final PacketTimes.Times times;
    private final Rational timeBase;

    /**
     * Takes over a picture from the library.
     *
     * @param width the shown width in pixels
     * @param height the shown height in pixels
     * @param planeOffsets where the planes begin in the array, in bytes
     * @throws DecodeException when the planes are not within the array
     */
    Picture(PictureMemory memory, int width, int height, int[] planeOffsets, PacketTimes.Times times,
            Rational timeBase) {
        this.memory = memory;
        this.format = memory.format();
        this.width = width;
        this.height = height;
        this.planeOffsets = planeOffsets.clone();
        this.times = times;
        this.timeBase = timeBase;
        for (int plane = 0; plane < format.planes(); plane++) {
            long lineSize = memory.lineSize(plane);
            long end = planeOffsets[plane] + lineSize * (format.rows(plane, height) - 1)
                    + format.rowBytes(plane, width);
            if (planeOffsets[plane] < 0 || lineSize < format.rowBytes(plane, width) || end > memory.sizeInBytes()) {
                throw new DecodeException("plane " + plane + " of a picture is not within its memory");
            }
        }
    }

    /** {@return width in pixels} */
    public int width() {
        return width;
    }

    /** {@return height in pixels} */
    public int height() {
        return height;
    }

    /** {@return the format of its pixels} */
    public PictureFormat format() {
        return format;
    }

    /** {@return when it is shown, in the stream's time base, or {@link Packet#NO_TIME} when that is unknown} */
    public long timestamp() {
        return times.timestamp();
    }

    /** {@return how long its packet lasts, in units of the stream's time base; 0 when unknown} */
    public long duration() {
        return times.duration();
    }

    /** {@return whether its packet was one where decoding can start} */
    public boolean isKey() {
        return times.key();
    }

    /** {@return when it is shown, from the container's zero} */
    public Optional<Duration> time() {
        return timestamp() == Packet.NO_TIME || !timeBase.isKnown() ? Optional.empty()
                : Optional.of(timeBase.times(timestamp()));
    }

    /**
     * A plane's bytes. Planes of {@link PictureFormat#YV12}, {@link PictureFormat#I420} and {@link PictureFormat#RGB8}
     * are views; of the other formats they are copies, with multi-byte pixels as they are in memory.
     *
     * @param index 0, or for planar formats 0 to 2
     * @return the plane
     */
    public Plane plane(int index) {
        if (index < 0 || index >= format.planes()) {
            throw new IllegalArgumentException("plane " + index + " of " + format.planes());
        }
        int rows = format.rows(index, height);
        int rowBytes = format.rowBytes(index, width);
        int lineSize = memory.lineSize(index);
        // The last row's padding need not exist.
        int length = lineSize * (rows - 1) + rowBytes;
        return new Plane(memory.bytes(planeOffsets[index], length), lineSize, rowBytes, rows);
    }

    /**
     * The pixels as {@code 0xAARRGGBB}, row by row without padding.
     *
     * @return a new array of width times height elements
     * @throws UnsupportedOperationException when the picture is not in an RGB format
     */
    public int[] toArgb() {
        if (!format.isRgb()) {
            throw new UnsupportedOperationException("a " + format + " picture is not converted to RGB; open the"
                    + " decoder with PictureFormat.RGB32");
        }
        int[] pixels = new int[width * height];
        int elementSize = format.elementSize();
        for (int y = 0; y < height; y++) {
            int from = (planeOffsets[0] + y * memory.lineSize(0)) / elementSize;
            if (memory.array() instanceof int[] ints) {
                System.arraycopy(ints, from, pixels, y * width, width);
            } else {
                for (int x = 0; x < width; x++) {
                    pixels[y * width + x] = expand(smallPixel(from + x));
                }
            }
        }
        return pixels;
    }

    /**
     * An image of the picture.
     *
     * @return a new image of {@link BufferedImage#TYPE_INT_RGB}
     * @throws UnsupportedOperationException when the picture is not in an RGB format
     */
    public BufferedImage toBufferedImage() {
        BufferedImage image = new BufferedImage(width, height, BufferedImage.TYPE_INT_RGB);
        image.getRaster().setDataElements(0, 0, width, height, toArgb());
        return image;
    }

    private int smallPixel(int index) {
        // Pixels of two bytes have their high byte first, whatever the machine's order.
        return memory.array() instanceof byte[] bytes ? bytes[index] & 0xFF
                : Short.reverseBytes(((short[]) memory.array())[index]) & 0xFFFF;
    }

    private int expand(int pixel) {
        return 0xFF000000 | component(pixel, format.redMask()) << 16 | component(pixel, format.greenMask()) << 8
                | component(pixel, format.blueMask());
    }

    private static int component(int pixel, int mask) {
        int shift = Integer.numberOfTrailingZeros(mask);
        int largest = mask >>> shift;
        return ((pixel & mask) >>> shift) * 255 / largest;
    }

    @Override
    public String toString() {
        return "Picture[" + format + " " + width + "x" + height + " at "
                + (timestamp() == Packet.NO_TIME ? "?" : timestamp()) + "]";
    }
}
