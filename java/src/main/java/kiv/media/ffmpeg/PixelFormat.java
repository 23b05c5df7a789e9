package kiv.media.ffmpeg;

import java.util.List;
import java.util.Map;
import java.util.Objects;
import java.util.Optional;
import java.util.concurrent.ConcurrentHashMap;
import java.util.function.Function;
import java.util.stream.Collectors;
import java.util.stream.IntStream;
import kiv.media.ffmpeg.natives.PixelComponent;
import kiv.media.ffmpeg.natives.PixelFormatFields;
import kiv.media.ffmpeg.natives.PixelFormatFlags;
import kiv.media.ffmpeg.natives.c_pictureconverter_ffmpeg;

/**
 * The layout of a {@link Picture}'s pixels in memory. The formats and their names are FFmpeg's, such as {@code yuv420p}
 * (one luma plane and two smaller chroma planes), {@code bgra} (four bytes per pixel) or {@code pal8} (one byte per
 * pixel, an index into the picture's palette). There is one object for each format of the loaded library. Immutable,
 * for any thread.
 *
 * <pre>{@code
 * byte[] rgb = picture.convert(PixelFormat.named("rgb24")).toBytes();
 * }</pre>
 */
public final class PixelFormat {

    /** Above the number of every format. */
    private static final int NUMBERS = 1024;

    private static final ConcurrentHashMap<Integer, Optional<PixelFormat>> FORMATS = new ConcurrentHashMap<>();

    /** Null before the first call of {@link #named}. */
    private static volatile Map<String, PixelFormat> byName;

    private final int number;
    private final String name;
    private final int[] description;

    private PixelFormat(int number, String name, int[] description) {
        this.number = number;
        this.name = name;
        this.description = description;
    }

    /** The format of FFmpeg's number; empty for formats of hardware, whose pixels are not in memory. */
    static Optional<PixelFormat> of(int number) {
        Optional<PixelFormat> known = FORMATS.get(number);
        if (known != null) {
            return known;
        }
        if (number < 0 || number >= NUMBERS) {
            return Optional.empty(); // and not kept: a worker may name any number
        }
        // No lock is held: loading the library logs, and a logger runs foreign code.
        long context = FfmpegLibrary.context();
        int[] description = c_pictureconverter_ffmpeg.n_pixel_format(context, number);
        String name = c_pictureconverter_ffmpeg.n_pixel_format_name(context, number);
        Optional<PixelFormat> found = description == null || name == null
                || (description[PixelFormatFields.FLAGS] & PixelFormatFlags.HARDWARE) != 0
                ? Optional.empty() : Optional.of(new PixelFormat(number, name, description));
        known = FORMATS.putIfAbsent(number, found);
        return known != null ? known : found;
    }

    /** {@return every format of the loaded library} */
    public static List<PixelFormat> all() {
        return IntStream.range(0, NUMBERS).mapToObj(PixelFormat::of).flatMap(Optional::stream).toList();
    }

    /**
     * Finds a format.
     *
     * @param name FFmpeg's name; where that ends in the order of bytes, as {@code gray10le} does, little-endian is meant without
     *     it
     * @return the format
     * @throws IllegalArgumentException when the loaded library has no format of this name
     * @throws LibraryException when the library cannot be loaded
     */
    public static PixelFormat named(String name) {
        Objects.requireNonNull(name, "name");
        Map<String, PixelFormat> names = byName;
        if (names == null) {
            names = all().stream().collect(Collectors.toMap(PixelFormat::name, Function.identity(),
                    (first, other) -> first));
            byName = names;
        }
        PixelFormat format = names.getOrDefault(name, names.get(name + "le"));
        if (format == null) {
            throw new IllegalArgumentException("no pixel format is called \"" + name + "\"");
        }
        return format;
    }

    /** FFmpeg's number. */
    int number() {
        return number;
    }

    /** {@return FFmpeg's name} */
    public String name() {
        return name;
    }

    /** {@return bits of a pixel on average, without padding} */
    public int bitsPerPixel() {
        return description[PixelFormatFields.BITS_PER_PIXEL];
    }

    /** {@return bits of a component, such as 8 or 10; the largest when they differ} */
    public int depth() {
        int depth = 0;
        for (int component = 0; component < description[PixelFormatFields.COMPONENTS]; component++) {
            depth = Math.max(depth, of(component, PixelComponent.DEPTH));
        }
        return depth;
    }

    /** {@return number of planes, 1 to 4, without the palette} */
    public int planes() {
        int planes = 0;
        for (int component = 0; component < description[PixelFormatFields.COMPONENTS]; component++) {
            planes = Math.max(planes, of(component, PixelComponent.PLANE) + 1);
        }
        return planes;
    }

    /** {@return whether the components are red, green and blue, directly or through a palette} */
    public boolean isRgb() {
        return has(PixelFormatFlags.RGB | PixelFormatFlags.PALETTE);
    }

    /** {@return whether pixels are indices into a palette} */
    public boolean hasPalette() {
        return has(PixelFormatFlags.PALETTE);
    }

    /** Whether FFmpeg needs room for a palette after the pixels, which it also does for some formats without one. */
    boolean reservesPalette() {
        return has(PixelFormatFlags.PALETTE | PixelFormatFlags.UNUSED_PALETTE);
    }

    /** {@return whether pixels have an alpha component} */
    public boolean hasAlpha() {
        return has(PixelFormatFlags.ALPHA);
    }

    /** Whether luma and chroma use the full range of values by definition. */
    boolean isFullRange() {
        return name.startsWith("yuvj");
    }

    /** {@return whether values of more than one byte are big-endian} */
    public boolean isBigEndian() {
        return has(PixelFormatFlags.HIGH_BYTE_FIRST);
    }

    /**
     * Bytes of a row without padding.
     *
     * @param plane 0 to {@link #planes()} - 1
     * @param width the picture's width in pixels
     */
    int rowBytes(int plane, int width) {
        long largest = 0;
        for (int component = 0; component < description[PixelFormatFields.COMPONENTS]; component++) {
            if (of(component, PixelComponent.PLANE) == plane) {
                int shift = isChroma(component) ? description[PixelFormatFields.CHROMA_SHIFT_X] : 0;
                long columns = ceilShift(width, shift);
                largest = Math.max(largest, columns * of(component, PixelComponent.STEP));
            }
        }
        return Math.toIntExact(has(PixelFormatFlags.BITS) ? (largest + 7) / 8 : largest);
    }

    /**
     * Number of rows of a plane.
     *
     * @param plane 0 to {@link #planes()} - 1
     * @param height the picture's height in pixels
     */
    int rows(int plane, int height) {
        return plane == 1 || plane == 2 ? ceilShift(height, description[PixelFormatFields.CHROMA_SHIFT_Y]) : height;
    }

    /**
     * The format in which a picture of this one can be turned pixel by pixel: this one, unless pixels share bytes, or share
     * colours in one direction only and rows are to become columns.
     */
    PixelFormat turnable(boolean swapsSides) {
        int shiftX = description[PixelFormatFields.CHROMA_SHIFT_X];
        int shiftY = description[PixelFormatFields.CHROMA_SHIFT_Y];
        boolean sharesBytes = has(PixelFormatFlags.BITS) || shiftX > 0 && planes() == 1 || name.startsWith("bayer_");
        if (!sharesBytes && (shiftX == shiftY || !swapsSides)) {
            return this;
        }
        if (isRgb() || name.startsWith("mono")) {
            return named("bgra");
        }
        return named(name.startsWith("yuv") && !sharesBytes ? name.replaceFirst("4[0-9]{2}", "444") : "yuv444p");
    }

    private static boolean isChroma(int component) {
        return component == 1 || component == 2;
    }

    private static int ceilShift(int size, int shift) {
        return -(-size >> shift);
    }

    /** Whether the format has one of these flags. */
    private boolean has(int flags) {
        return (description[PixelFormatFields.FLAGS] & flags) != 0;
    }

    private int of(int component, int field) {
        return component < PixelComponent.COUNT
                ? description[PixelFormatFields.COMPONENT_FIELDS + PixelComponent.SIZE * component + field] : 0;
    }

    @Override
    public String toString() {
        return name;
    }
}
