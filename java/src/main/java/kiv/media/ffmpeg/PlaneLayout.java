package kiv.media.ffmpeg;

import kiv.media.ffmpeg.natives.ConverterPlace;
import kiv.media.ffmpeg.natives.PictureLayout;

/**
 * Where the planes of a picture lie in its memory.
 *
 * @param width in pixels
 * @param height in pixels
 * @param offsets where each plane begins, in bytes; behind the planes, where the palette begins
 * @param lineSizes bytes from one row of a plane to the next
 */
record PlaneLayout(PixelFormat format, int width, int height, int[] offsets, int[] lineSizes) {

    /** 256 colours. */
    static final int PALETTE_BYTES = 256 * Integer.BYTES;

    private static final int PALETTE_PLANE = 1;

    /** {@return the layout of a picture without padding} */
    static PlaneLayout of(PixelFormat format, int width, int height) {
        int[] offsets = new int[PictureLayout.PLANES];
        int[] lineSizes = new int[PictureLayout.PLANES];
        long size = 0;
        for (int plane = 0; plane < format.planes(); plane++) {
            offsets[plane] = (int) size;
            lineSizes[plane] = format.rowBytes(plane, width);
            size += (long) lineSizes[plane] * format.rows(plane, height);
        }
        if (format.reservesPalette()) {
            offsets[PALETTE_PLANE] = (int) size;
            size += PALETTE_BYTES;
        }
        if (size > Integer.MAX_VALUE) {
            throw new MediaException("no buffer holds " + width + "x" + height + " pixels of " + format
                    + "; ask for a smaller size");
        }
        return new PlaneLayout(format, width, height, offsets, lineSizes);
    }

    /** {@return the bytes from the beginning of the memory to the end of the last plane or palette} */
    int size() {
        long size = 0;
        for (int plane = 0; plane < format.planes(); plane++) {
            size = Math.max(size, end(plane));
        }
        return (int) (format.reservesPalette() ? Math.max(size, palette() + (long) PALETTE_BYTES) : size);
    }

    /** {@return whether all of it lies in memory of so many bytes, and no two rows of a plane in the same bytes} */
    boolean isWithin(int capacity) {
        for (int plane = 0; plane < format.planes(); plane++) {
            if (offsets[plane] < 0 || lineSizes[plane] < format.rowBytes(plane, width) || end(plane) > capacity) {
                return false;
            }
        }
        return !format.reservesPalette() || palette() >= 0 && palette() <= capacity - PALETTE_BYTES;
    }

    private long end(int plane) {
        return offsets[plane] + (long) lineSizes[plane] * (format.rows(plane, height) - 1) + format.rowBytes(plane, width);
    }

    /** {@return where the palette begins, when there is one} */
    int palette() {
        return offsets[PALETTE_PLANE];
    }

    /** {@return the layout for the converters, as {@link ConverterPlace}} */
    int[] place() {
        int[] place = new int[ConverterPlace.SIZE];
        place[ConverterPlace.PIXEL_FORMAT] = format.number();
        place[ConverterPlace.WIDTH] = width;
        place[ConverterPlace.HEIGHT] = height;
        System.arraycopy(offsets, 0, place, ConverterPlace.PLANE_OFFSETS, offsets.length);
        System.arraycopy(lineSizes, 0, place, ConverterPlace.LINE_SIZES, lineSizes.length);
        return place;
    }
}
