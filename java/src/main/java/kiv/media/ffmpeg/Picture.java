package kiv.media.ffmpeg;

import java.awt.image.BufferedImage;
import java.awt.image.DataBufferInt;
import java.nio.ByteBuffer;
import java.nio.ByteOrder;
import java.time.Duration;
import java.util.Objects;
import java.util.Optional;
import java.util.function.Supplier;
import kiv.media.ffmpeg.natives.ConverterPlace;

/**
 * A decoded picture in its decoder's own pixel format. It is immutable and does not depend on its decoder. Any thread
 * may use it.
 *
 * <pre>{@code
 * try (Picture picture = pictures.next()) {
 *     ImageIO.write(picture.toBufferedImage(), "png", file);
 * }
 * }</pre>
 *
 * <p>Methods that copy or convert throw a {@link MediaException} when there is no memory left.
 *
 * <p>The garbage collector frees a picture that is not closed. A program with many pictures should {@linkplain #close()
 * close} them: their memory is outside of the Java heap, and the next picture can then use it at once.
 */
public final class Picture implements AutoCloseable {

    private static final int LARGEST_SIDE = 1 << 15;
    private static final String ARGB = "bgra";

    private final PixelFormat format;
    private final int width;
    private final int height;
    private final PlaneLayout planes;
    private final Details details;
    private PictureMemory memory;

    /**
     * The properties of a picture beside its pixels.
     *
     * @param colorSpace FFmpeg's number of the matrix that converts YUV into RGB
     * @param primaries FFmpeg's number of the colours that red, green and blue are
     * @param transfer FFmpeg's number of the curve between values and light
     * @param peak the brightest light that it is made for, in candela for a square metre; 0 when unknown
     */
    record Details(PacketTimes.Times times, Rational timeBase, boolean keyFrame, boolean interlaced,
            boolean topFieldFirst, boolean fullRange, Presentation presentation, int colorSpace, int primaries,
            int transfer, int peak) {

        Details with(PacketTimes.Times timesNow, boolean keyNow) {
            return new Details(timesNow, timeBase, keyNow, interlaced, topFieldFirst, fullRange, presentation,
                    colorSpace, primaries, transfer, peak);
        }

        Details with(PacketTimes.Times timesNow) {
            return new Details(timesNow, timeBase, keyFrame, interlaced, topFieldFirst, fullRange, presentation,
                    colorSpace, primaries, transfer, peak);
        }

        Details with(boolean fullRangeNow, Presentation presentationNow) {
            return new Details(times, timeBase, keyFrame, interlaced, topFieldFirst, fullRangeNow, presentationNow,
                    colorSpace, primaries, transfer, peak);
        }

        /** The properties of the turned picture. Fields are rows of the stored one. */
        Details turned(boolean evenHeight) {
            return new Details(times, timeBase, keyFrame, interlaced && !presentation.swapsSides(),
                    topFieldFirst != (presentation.reversesRows() && evenHeight), fullRange, presentation.turned(),
                    colorSpace, primaries, transfer, peak);
        }
    }

    /**
     * Becomes one user of the memory, which it releases when it is closed.
     *
     * @param planes where the planes lie in the memory
     * @throws DecodeException when the planes are not within the memory; the memory is then released
     */
    Picture(PictureMemory memory, PlaneLayout planes, Details details) {
        this.memory = memory;
        this.format = planes.format();
        this.width = planes.width();
        this.height = planes.height();
        this.planes = planes;
        this.details = details;
        if (!planes.isWithin(memory.buffer().capacity())) {
            memory.release();
            throw new DecodeException("a picture is not within its memory");
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
    public PixelFormat format() {
        return format;
    }

    /**
     * Returns when it is shown. Where the container states no time, that is when the picture before it ends; a stream
     * without any times begins at 0.
     *
     * @return the time in units of the stream's time base, or {@link Packet#NO_TIME} when unknown
     */
    public long timestamp() {
        return details.times.timestamp();
    }

    /**
     * {@return how long it is shown, in units of the stream's time base: what its packet states, or what the stream's frame
     * rate suggests; 0 when neither is known}
     */
    public long duration() {
        return details.times.duration();
    }

    /**
     * {@return its presentation time on the container's time line; empty when unknown or beyond the range of a
     * duration}
     */
    public Optional<Duration> time() {
        return details.timeBase.time(timestamp());
    }

    /** {@return whether it was decoded without reference to other pictures} */
    public boolean isKey() {
        return details.keyFrame;
    }

    /** {@return whether its even and odd rows are two fields, recorded one after the other} */
    public boolean isInterlaced() {
        return details.interlaced;
    }

    /** {@return whether it is interlaced and the field with the first row was recorded first} */
    public boolean isTopFieldFirst() {
        return details.topFieldFirst;
    }

    /** {@return whether luma and chroma use the full range of values instead of the limited range of television} */
    public boolean isFullRange() {
        return details.fullRange;
    }

    /**
     * {@return width of a pixel divided by its height, as the container states it or else the compressed picture; unknown
     * for most files, whose pixels are square}
     */
    public Rational pixelShape() {
        return details.presentation.pixelShape();
    }

    /** {@return degrees by which players turn the picture clockwise: 0, 90, 180 or 270} */
    public int rotation() {
        return details.presentation.rotation();
    }

    /** {@return whether players swap left and right, before they turn the picture} */
    public boolean isMirrored() {
        return details.presentation.mirrored();
    }

    /** {@return width in pixels of the picture as players show it, stretched to square pixels and turned} */
    public int shownWidth() {
        return details.presentation.width(width, height);
    }

    /** {@return height in pixels of the picture as players show it, stretched to square pixels and turned} */
    public int shownHeight() {
        return details.presentation.height(width, height);
    }

    /** Returns the same picture with other times. The memory becomes that picture's, and this one is closed. */
    Picture timed(PacketTimes.Times times) {
        try (this) {
            return new Picture(share(), planes, details.with(times));
        }
    }

    /** Returns a picture that shares the memory. */
    Picture copy() {
        return new Picture(share(), planes, details);
    }

    /**
     * Returns a view of a plane. It has the byte order of the format, so that values of more than one byte can be read
     * directly. It must not be used after {@link #close()}, when another picture may use the memory.
     *
     * @param index 0 to {@link PixelFormat#planes()} - 1
     * @return the plane
     * @throws IllegalArgumentException when there is no such plane
     * @throws MediaStateException when the picture is closed
     */
    public Plane plane(int index) {
        if (index < 0 || index >= format.planes()) {
            throw new IllegalArgumentException("no plane " + index + ": " + format + " has planes 0 to "
                    + (format.planes() - 1));
        }
        return plane(memory(), index);
    }

    private Plane plane(PictureMemory shared, int index) {
        int rows = format.rows(index, height);
        int rowBytes = format.rowBytes(index, width);
        // The last row may have no padding.
        int lineSize = planes.lineSizes()[index];
        ByteBuffer bytes = shared.buffer().slice(planes.offsets()[index], lineSize * (rows - 1) + rowBytes);
        return new Plane(bytes.order(format.isBigEndian() ? ByteOrder.BIG_ENDIAN : ByteOrder.LITTLE_ENDIAN),
                lineSize, rowBytes, rows);
    }

    /**
     * Returns the palette of a picture whose {@linkplain PixelFormat#hasPalette() format has one}.
     *
     * @return 256 colours as {@code 0xAARRGGBB}
     * @throws UnsupportedOperationException when the format has none
     * @throws MediaStateException when the picture is closed
     */
    public int[] palette() {
        if (!format.hasPalette()) {
            throw new UnsupportedOperationException("a " + format + " picture has no palette");
        }
        PictureMemory shared = share();
        try {
            int[] palette = new int[PlaneLayout.PALETTE_BYTES / Integer.BYTES];
            shared.buffer().slice(planes.palette(), PlaneLayout.PALETTE_BYTES)
                    .order(ByteOrder.nativeOrder()).asIntBuffer().get(palette);
            return palette;
        } finally {
            shared.release();
        }
    }

    /**
     * Copies all planes without padding, one after the other, and then the palette if there is one.
     *
     * @return a new array
     * @throws MediaStateException when the picture is closed
     */
    public byte[] toBytes() {
        long size = format.hasPalette() ? PlaneLayout.PALETTE_BYTES : 0;
        for (int plane = 0; plane < format.planes(); plane++) {
            size += (long) format.rows(plane, height) * format.rowBytes(plane, width);
        }
        int length = Math.toIntExact(size);
        ByteBuffer bytes = allocated(() -> ByteBuffer.allocate(length), width, height);
        PictureMemory shared = share();
        try {
            for (int plane = 0; plane < format.planes(); plane++) {
                plane(shared, plane).putInto(bytes);
            }
            if (format.hasPalette()) {
                bytes.put(shared.buffer().slice(planes.palette(), PlaneLayout.PALETTE_BYTES));
            }
            return bytes.array();
        } finally {
            shared.release();
        }
    }

    /**
     * Converts the pixels to {@code 0xAARRGGBB}, row by row without padding, in the colours of {@link #toBufferedImage()}.
     *
     * @return a new array of width times height elements
     * @throws MediaStateException when the picture is closed
     */
    public int[] toArgb() {
        int[] pixels = allocated(() -> new int[Math.multiplyExact(width, height)], width, height);
        readArgb(width, height, pixels, Presentation.UPRIGHT);
        return pixels;
    }

    /**
     * @param wantedWidth before the turning
     * @param wantedHeight before the turning
     */
    private void readArgb(int wantedWidth, int wantedHeight, int[] pixels, Presentation turn) {
        PictureMemory shared = share();
        try {
            int[] from = place();
            from[ConverterPlace.COLOR_PRIMARIES] = details.primaries;
            from[ConverterPlace.COLOR_TRANSFER] = details.transfer;
            from[ConverterPlace.PEAK] = details.peak;
            PlaneLayout to = new PlaneLayout(PixelFormat.named(ARGB), wantedWidth, wantedHeight, new int[0], new int[0]);
            ConverterPool.convert(shared, from, to.place(), pixels, turn);
        } finally {
            shared.release();
        }
    }

    /**
     * Converts the picture into an image, as it is stored: neither stretched nor turned, which {@link #toShownImage()} does.
     *
     * <p>The image has the colours of an ordinary screen, sRGB. Pictures of high dynamic range (PQ and HLG) and of wide gamuts
     * (BT.2020 and P3) are adapted to it. Their range is compressed by the curve of ITU-R BT.2390 to a white of 203 cd/m²: with
     * PQ from the brightest light that the container states ({@link ContentLight#maximum()}, or else
     * {@link MasteringDisplay#maximum()}, from 203 to 10,000 cd/m²), and otherwise from 1000 cd/m². Colours that the screen
     * does not have become the nearest ones of the same hue and luminance. FFmpeg 2.5 to 2.8 do not know PQ and HLG, and their
     * pictures are adapted for their gamut only. {@link #convert(PixelFormat, int, int)} leaves the colours as they are.
     *
     * @return a new image of type {@link BufferedImage#TYPE_INT_RGB}, or {@link BufferedImage#TYPE_INT_ARGB} when the
     *     format has alpha
     * @throws MediaStateException when the picture is closed
     */
    public BufferedImage toBufferedImage() {
        return toBufferedImage(width, height);
    }

    /**
     * Converts the picture into an image of another size, which is not turned.
     *
     * @param wantedWidth 1 to 32768 pixels
     * @param wantedHeight 1 to 32768 pixels
     * @return a new image of the same type as {@link #toBufferedImage()}
     * @throws IllegalArgumentException when a picture cannot have that size
     * @throws MediaStateException when the picture is closed
     */
    public BufferedImage toBufferedImage(int wantedWidth, int wantedHeight) {
        return image(null, wantedWidth, wantedHeight, Presentation.UPRIGHT);
    }

    /**
     * Converts the picture into an image that is not needed any more. The virtual machine clears the memory of a new image,
     * which takes about as long as the conversion.
     *
     * @param again an image whose pixels are overwritten; null when there is none
     * @return that image, or a new one when it is null or not as {@link #toBufferedImage()} makes them for this picture
     * @throws MediaStateException when the picture is closed
     */
    public BufferedImage toBufferedImage(BufferedImage again) {
        return image(again, width, height, Presentation.UPRIGHT);
    }

    /**
     * @param again an image to use again, or null
     * @param wantedWidth after the turning
     * @param wantedHeight after the turning
     */
    private BufferedImage image(BufferedImage again, int wantedWidth, int wantedHeight, Presentation turn) {
        checkSize(wantedWidth, wantedHeight);
        int type = format.hasAlpha() ? BufferedImage.TYPE_INT_ARGB : BufferedImage.TYPE_INT_RGB;
        BufferedImage image = again != null && isAs(again, type, wantedWidth, wantedHeight) ? again
                : allocated(() -> new BufferedImage(wantedWidth, wantedHeight, type), wantedWidth, wantedHeight);
        boolean swapped = turn.swapsSides();
        readArgb(swapped ? wantedHeight : wantedWidth, swapped ? wantedWidth : wantedHeight,
                ((DataBufferInt) image.getRaster().getDataBuffer()).getData(), turn);
        return image;
    }

    /** Returns whether an image has these properties and is no part of another one. */
    private static boolean isAs(BufferedImage image, int type, int wantedWidth, int wantedHeight) {
        return image.getType() == type && image.getWidth() == wantedWidth && image.getHeight() == wantedHeight
                && image.getRaster().getDataBuffer() instanceof DataBufferInt pixels && pixels.getNumBanks() == 1
                && pixels.getData().length == wantedWidth * wantedHeight;
    }

    /**
     * Converts the picture into an image as players show it: stretched to square pixels and turned.
     *
     * @return a new image of {@link #shownWidth()} times {@link #shownHeight()} pixels and the same type as {@link
     *     #toBufferedImage()}
     * @throws MediaStateException when the picture is closed
     */
    public BufferedImage toShownImage() {
        return toShownImage(shownWidth(), shownHeight());
    }

    /**
     * Converts the picture into an image that is not needed any more, as players show it. Otherwise as
     * {@link #toBufferedImage(BufferedImage)}.
     *
     * @param again an image whose pixels are overwritten; null when there is none
     * @return that image, or a new one when it is null or not as {@link #toShownImage()} makes them for this picture
     * @throws MediaStateException when the picture is closed
     */
    public BufferedImage toShownImage(BufferedImage again) {
        return image(again, shownWidth(), shownHeight(), details.presentation);
    }

    /**
     * Converts the picture into an image of a width as players show it: turned, and as high as its shape demands. It is what a
     * thumbnail needs.
     *
     * @param wantedWidth 1 to 32768 pixels, after turning
     * @return a new image of the same type as {@link #toBufferedImage()}
     * @throws IllegalArgumentException when a picture cannot have that size
     * @throws MediaStateException when the picture is closed
     */
    public BufferedImage toShownImage(int wantedWidth) {
        long wantedHeight = Math.round((double) wantedWidth * shownHeight() / shownWidth());
        return toShownImage(wantedWidth, (int) Math.max(1, Math.min(wantedHeight, Integer.MAX_VALUE)));
    }

    /**
     * Converts the picture into a turned image of another size, which stretches it unless both sides have the shape of
     * {@link #shownWidth()} and {@link #shownHeight()}.
     *
     * @param wantedWidth 1 to 32768 pixels, after turning
     * @param wantedHeight 1 to 32768 pixels, after turning
     * @return a new image of the same type as {@link #toBufferedImage()}
     * @throws IllegalArgumentException when a picture cannot have that size
     * @throws MediaStateException when the picture is closed
     */
    public BufferedImage toShownImage(int wantedWidth, int wantedHeight) {
        return image(null, wantedWidth, wantedHeight, details.presentation);
    }

    /**
     * Turns the picture as players do. Its pixels are not stretched. They keep their format, except that those of some
     * formats whose colours are coarser in one direction, such as yuv422p, become yuv444p.
     *
     * @return a new picture, which has no rotation and is not mirrored; it has the same memory when this one has neither
     * @throws UnsupportedOperationException when the pixels cannot be converted for that
     * @throws MediaStateException when the picture is closed
     */
    public Picture toUpright() {
        Presentation presentation = details.presentation;
        if (presentation.isUpright()) {
            return new Picture(share(), planes, details);
        }
        PixelFormat turnable = format.turnable(presentation.swapsSides());
        if (turnable != format) {
            try (Picture converted = convert(turnable)) {
                return converted.toUpright();
            }
        }
        int shownWidth = presentation.swapsSides() ? height : width;
        int shownHeight = presentation.swapsSides() ? width : height;
        PlaneLayout turned = PlaneLayout.of(format, shownWidth, shownHeight);
        PictureMemory shared = share();
        try {
            PictureMemory to = shared.another(turned.size());
            try {
                ConverterPool.turn(shared, place(), to.buffer(), turned.place(), presentation);
            } catch (Throwable e) {
                to.release();
                throw e;
            }
            return new Picture(to, turned, details.turned(height % 2 == 0));
        } finally {
            shared.release();
        }
    }

    /**
     * Converts the picture into another pixel format.
     *
     * @param wanted the pixel format
     * @return a new picture with its own memory
     * @throws UnsupportedOperationException when the formats cannot be converted
     * @throws MediaStateException when the picture is closed
     */
    public Picture convert(PixelFormat wanted) {
        return convert(wanted, width, height);
    }

    /**
     * Converts the picture into another pixel format and scales it. In common formats of 8 bits a pixel of a smaller picture is
     * a mean of pixels; all else is scaled with bicubic interpolation. A known shape of its pixels changes with the size, so
     * that players show the new picture as they show this one.
     *
     * <p>Values of RGB and {@code gray} use their full range: 0 is black, and 255 white with 8 bits. Those of YUV use the
     * limited range of television, except in the formats called {@code yuvj}.
     *
     * @param wanted the pixel format
     * @param wantedWidth 1 to 32768 pixels
     * @param wantedHeight 1 to 32768 pixels
     * @return a new picture with its own memory
     * @throws IllegalArgumentException when a picture cannot have that size
     * @throws UnsupportedOperationException when the formats cannot be converted
     * @throws MediaStateException when the picture is closed
     */
    public Picture convert(PixelFormat wanted, int wantedWidth, int wantedHeight) {
        Objects.requireNonNull(wanted, "wanted");
        checkSize(wantedWidth, wantedHeight);
        PlaneLayout converted = PlaneLayout.of(wanted, wantedWidth, wantedHeight);
        PictureMemory to;
        PictureMemory shared = share();
        try {
            to = shared.another(converted.size());
            try {
                ConverterPool.convert(shared, place(), to.buffer(), converted.place());
            } catch (Throwable e) {
                to.release();
                throw e;
            }
        } finally {
            shared.release();
        }
        // Conversions between YUV formats keep the range of values, except for formats that are full range by
        // definition.
        boolean full = wanted.isFullRange() || details.fullRange && !wanted.isRgb() && !format.isFullRange();
        Rational shape = pixelShape().isKnown() ? pixelShape().times(width, wantedWidth).times(wantedHeight, height)
                : pixelShape();
        return new Picture(to, converted, details.with(full, details.presentation.withPixelShape(shape)));
    }

    /** Reports a lack of heap as an exception. Only the caller's large request has failed, not the process. */
    private static <T> T allocated(Supplier<T> memory, int width, int height) {
        try {
            return memory.get();
        } catch (OutOfMemoryError e) {
            throw new MediaException("no memory for a copy of " + width + "x" + height
                    + " pixels; ask for a smaller one, or raise -Xmx", e);
        }
    }

    private int[] place() {
        int[] place = planes.place();
        place[ConverterPlace.COLOR_SPACE] = details.colorSpace;
        place[ConverterPlace.FULL_RANGE] = details.fullRange ? 1 : 0;
        return place;
    }

    /** Whether a picture can be made in this size. */
    static boolean isSize(long width, long height) {
        return width >= 1 && width <= LARGEST_SIDE && height >= 1 && height <= LARGEST_SIDE
                && width * height <= Integer.MAX_VALUE / Long.BYTES;
    }

    private void checkSize(int wantedWidth, int wantedHeight) {
        boolean own = wantedWidth == width && wantedHeight == height || wantedWidth == height && wantedHeight == width;
        if (!own && !isSize(wantedWidth, wantedHeight)) {
            throw new IllegalArgumentException("no picture has " + wantedWidth + "x" + wantedHeight + " pixels");
        }
    }

    /**
     * Releases the memory, so that another picture can use it. A second call does nothing. Calls of other threads that
     * are running complete. Images, arrays and pictures that were made of this one stay usable. Its planes must not be
     * read any more.
     */
    @Override
    public void close() {
        PictureMemory old;
        synchronized (this) {
            old = memory;
            memory = null;
        }
        if (old != null) {
            old.release();
        }
    }

    private synchronized PictureMemory memory() {
        if (memory == null) {
            throw new MediaStateException("the picture is closed; take what is needed of it before");
        }
        return memory;
    }

    /** Becomes another user of the memory, which releases it. */
    private synchronized PictureMemory share() {
        memory().share();
        return memory;
    }

    @Override
    public String toString() {
        return "Picture[" + format + " " + width + "x" + height + " at "
                + (timestamp() == Packet.NO_TIME ? "?" : timestamp()) + "]";
    }
}
