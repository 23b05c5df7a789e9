package kiv.media.ffmpeg;

import static kiv.media.ffmpeg.Refusals.refused;
import static org.assertj.core.api.Assertions.assertThat;
import static org.assertj.core.api.Assertions.assertThatCode;
import static org.assertj.core.api.Assertions.within;
import static org.assertj.core.api.Assertions.withinPercentage;

import java.awt.image.BufferedImage;
import java.io.IOException;
import java.nio.ByteBuffer;
import java.nio.ByteOrder;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import java.util.Spliterator;
import java.util.stream.IntStream;
import java.util.stream.Stream;
import kiv.media.ffmpeg.exactness.Reference;
import kiv.media.ffmpeg.natives.ConverterPlace;
import kiv.media.ffmpeg.natives.PictureCall;
import kiv.media.ffmpeg.natives.c_pictureconverter_ffmpeg;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.CsvSource;
import org.junit.jupiter.params.provider.ValueSource;

class PictureTest {

    private static final Picture.Details DETAILS = details(new Rational(0, 1), 0, false);
    private static final int[] PALETTE_BEHIND = {0, 16, 0, 0};

    private static Picture.Details details(Rational pixelShape, int rotation, boolean mirrored) {
        return new Picture.Details(new PacketTimes.Times(3, 1), new Rational(1, 25), true, true, true, false,
                new Presentation(pixelShape, rotation, mirrored), 2, 2, 2, 0);
    }

    private static Picture picture(int width, int height, int... argb) {
        return picture(DETAILS, width, height, argb);
    }

    /** A picture of one colour after the other, row by row, in lines with padding. */
    private static Picture picture(Picture.Details details, int width, int height, int... argb) {
        int lineSize = width * Integer.BYTES + 12;
        ByteBuffer bytes = ByteBuffer.allocate(8 + lineSize * height).order(ByteOrder.LITTLE_ENDIAN);
        for (int i = 0; i < width * height; i++) {
            bytes.putInt(8 + i / width * lineSize + i % width * Integer.BYTES, argb[i % argb.length]);
        }
        return picture("bgra", width, height, bytes.array(), details, new int[] {8, 0, 0, 0}, lineSize);
    }

    private static Picture picture(String format, int width, int height, byte[] bytes, Picture.Details details,
            int[] offsets, int... lineSizes) {
        PictureMemory memory = new PictureMemoryPool().take(bytes.length);
        memory.buffer().duplicate().put(bytes);
        return new Picture(memory,
                new PlaneLayout(PixelFormat.named(format), width, height, offsets, Arrays.copyOf(lineSizes, 4)), details);
    }

    @Test
    void pixelsKeepTheirColoursAndDropTheirPadding() {
        int[] colours = {0xFFFF0000, 0xFF00FF00, 0xFF0000FF, 0x80FFFFFF};
        try (Picture picture = picture(2, 2, colours)) {
            assertThat(picture.toArgb()).containsExactly(colours);
            assertThat(picture.toBytes()).hasSize(16);
            assertThat(picture.toBufferedImage().getRGB(1, 1)).isEqualTo(0x80FFFFFF);
            assertThat(picture.time()).hasValueSatisfying(time -> assertThat(time.toMillis()).isEqualTo(120));
        }
    }

    /** One colour has nothing to lose in formats with fewer of them; libswscale itself does not survive some of the sizes. */
    @ParameterizedTest
    @ValueSource(strings = {"yuv420p", "yuv422p", "yuv444p", "yuv411p", "rgb24", "yuyv422", "yuv420p10le", "rgb565le",
        "nv12", "gray", "argb"})
    void everyFormatHoldsAGreyPictureOfAnySize(String name) {
        PixelFormat format = PixelFormat.named(name);
        for (int rows : new int[] {1, 2, 3, 4, 5, 6, 7, 8, 33}) {
            for (int width : new int[] {64, 65, 97}) {
                try (Picture grey = picture(width, rows, 0xFF848484); Picture converted = grey.convert(format)) {
                    assertThat(converted.format()).isSameAs(format);
                    for (int wanted : new int[] {1, 3, 5, 64}) {
                        Picture scaled = converted.convert(format, 2 * width, wanted);
                        assertThat(Arrays.stream(scaled.toArgb()).allMatch(pixel ->
                                Math.abs((pixel >> 8 & 0xFF) - 0x84) <= 8 && pixel >>> 24 == 0xFF)).isTrue();
                        assertThat(scaled.convert(format, width, rows).toBytes()).hasSameSizeAs(converted.toBytes());
                        assertThat(converted.toBufferedImage(64, wanted).getRGB(63, wanted - 1) >> 8 & 0xFF)
                                .isBetween(0x7C, 0x8C);
                    }
                }
            }
        }
    }

    /** Letters stand for pixels, row by row: abc above def are stored. */
    @ParameterizedTest
    @CsvSource({"0, false, abcdef, true, true", "90, false, daebfc, false, true", "180, false, fedcba, true, false",
        "270, false, cfbead, false, true", "0, true, cbafed, true, true", "90, true, fcebda, false, true",
        "180, true, defabc, true, false", "270, true, adbecf, false, true"})
    void picturesAreTurnedAsPlayersDo(int rotation, boolean mirrored, String expected, boolean interlaced,
            boolean topFirst) {
        int[] letters = {0xFF000061, 0xFF000062, 0xFF000063, 0xFF000064, 0xFF000065, 0xFF000066};
        int[] turned = expected.chars().map(letter -> 0xFF000000 | letter).toArray();
        try (Picture picture = picture(details(new Rational(0, 1), rotation, mirrored), 3, 2, letters);
                Picture upright = picture.toUpright()) {
            assertThat(upright.toArgb()).containsExactly(turned);
            BufferedImage shown = picture.toShownImage();
            assertThat(picture.toShownImage(shown)).isSameAs(shown);
            BufferedImage larger = new BufferedImage(shown.getWidth(), shown.getHeight() + 1, shown.getType());
            BufferedImage part = larger.getSubimage(0, 1, shown.getWidth(), shown.getHeight());
            BufferedImage blueFirst = new BufferedImage(shown.getWidth(), shown.getHeight(), BufferedImage.TYPE_INT_BGR);
            for (BufferedImage other : new BufferedImage[] {null, larger, part, blueFirst}) {
                BufferedImage made = picture.toShownImage(other);
                assertThat(made).isNotSameAs(other).returns(shown.getRGB(0, 0), image -> image.getRGB(0, 0));
            }
            assertThat(shown.getRGB(0, 0, shown.getWidth(), shown.getHeight(), null, 0, shown.getWidth()))
                    .containsExactly(turned);
            assertThat(List.of(upright.width(), upright.height(), upright.rotation()))
                    .containsExactly(picture.shownWidth(), picture.shownHeight(), 0);
            assertThat(List.of(upright.isInterlaced(), upright.isTopFieldFirst())).containsExactly(interlaced, topFirst);
            assertThat(picture.toArgb()).containsExactly(letters);
        }
    }

    /** Stretching shrinks neither side, and is left out where it would make an impossible picture. */
    @ParameterizedTest
    @CsvSource({"16, 15, 0, 32, 20", "8, 9, 0, 30, 23", "16, 15, 270, 20, 32", "1, 1, 0, 30, 20", "-16, 15, 0, 30, 20",
        "1, 100000, 0, 30, 20", "9223372036854775807, 1, 90, 20, 30"})
    void pixelsAreStretchedUntilTheyAreSquare(long above, long below, int rotation, int width, int height) {
        try (Picture picture = picture(details(new Rational(above, below), rotation, false), 30, 20, 0xFF848484);
                Picture upright = picture.toUpright(); Picture scaled = picture.convert(picture.format(), 60, 10)) {
            assertThat(List.of(picture.shownWidth(), picture.shownHeight())).containsExactly(width, height);
            assertThat(picture.toShownImage().getWidth()).isEqualTo(width);
            assertThat(picture.toShownImage(2 * width).getHeight()).isEqualTo(2 * height);
            refused(IllegalArgumentException.class, "no picture has 0x1", () -> picture.toShownImage(0));
            assertThat(List.of(upright.shownWidth(), upright.shownHeight())).as("turned").containsExactly(width, height);
            assertThat(scaled.pixelShape().toDouble() * 4).as("scaled")
                    .isCloseTo(picture.pixelShape().toDouble(), withinPercentage(1));
        }
    }

    @ParameterizedTest
    @CsvSource({"yuv420p, yuv420p", "yuv422p, yuv444p", "yuyv422, yuv444p", "yuv420p10le, yuv420p10le", "nv12, nv12",
        "gray, gray", "yuvj422p, yuvj444p", "monow, bgra", "rgb24, rgb24"})
    void everyFormatIsTurned(String name, String turned) {
        int[] pixels = IntStream.range(0, 64 * 32).map(i -> i % 64 < 32 ? 0xFF000000 : 0xFFFFFFFF).toArray();
        try (Picture picture = picture(details(new Rational(0, 1), 90, false), 64, 32, pixels);
                Picture upright = picture.convert(PixelFormat.named(name)).toUpright()) {
            assertThat(upright.format().name()).isEqualTo(turned);
            int[] argb = upright.toArgb();
            assertThat(IntStream.range(0, argb.length).filter(i -> (argb[i] & 0xFF) > 0x80 != i >= 32 * 32))
                    .hasSizeLessThan(64);
        }
    }

    @Test
    void whatAPictureDoesNotHaveIsRefused() {
        Picture picture = picture(4, 4, -1);
        refused(IllegalArgumentException.class, "", () -> picture.convert(picture.format(), 1 << 20, 4),
                () -> picture.plane(1));
        refused(UnsupportedOperationException.class, "", picture::palette);
        picture.close();
        refused(MediaStateException.class, "", () -> picture.plane(0));
        refused(DecodeException.class, "", () -> picture("bgra", 4, 4, new byte[63], DETAILS, new int[4], 16),
                () -> picture("pal8", 4, 4, new byte[1039], DETAILS, PALETTE_BEHIND, 4));
        picture("pal8", 4, 4, new byte[1040], DETAILS, PALETTE_BEHIND, 4).close();
    }

    /**
     * Closing while decoding reuses memory, and no picture that is still open may change by it, nor by a newer decoder at
     * work in between.
     */
    @ParameterizedTest
    @ValueSource(strings = {"h264_b_320x240.mp4", "cinepak_160x120.avi", "mpeg4_b_320x240.mp4", "dv_pal.avi"})
    void openPicturesDoNotChange(String file) throws IOException {
        try (MediaReader reader = MediaReader.open(TestMedia.stream(file));
                MediaReader other = MediaReader.open(TestMedia.stream("mpeg1_b_321x241.mpg"));
                VideoDecoder decoder = VideoDecoder.open(reader.firstVideo().orElseThrow());
                VideoDecoder newer = VideoDecoder.open(other.firstVideo().orElseThrow())) {
            Spliterator<Picture> others = newer.pictures(other).spliterator();
            List<Picture> pictures = new ArrayList<>();
            for (Picture picture : (Iterable<Picture>) decoder.pictures(reader)::iterator) {
                others.tryAdvance(unused -> { });
                if (pictures.size() % 3 != 0) {
                    picture.close();
                }
                pictures.add(picture);
            }
            List<Reference.Picture> expected = Reference.decode(TestMedia.stream(file)).pictures();
            for (int i = 0; i < pictures.size(); i += 3) {
                assertThat(Reference.md5(pictures.get(i).toBytes())).as("picture " + i).isEqualTo(expected.get(i).md5());
            }
        }
    }

    @Test
    void valuesOfTwoBytesAndLastColumnsAreReadAsTheyAre() {
        try (Picture red = picture(65, 2, 0xFFFF0000)) {
            assertThat(red.convert(PixelFormat.named("yuv420p10")).plane(0).bytes().getShort(6))
                    .isEqualTo(red.convert(PixelFormat.named("yuv420p10be")).plane(0).bytes().getShort(6))
                    .isBetween((short) 300, (short) 400);
            assertThat(red.convert(PixelFormat.named("monow")).plane(0).rowBytes()).isEqualTo(9);
            byte[] chroma = red.convert(PixelFormat.named("yuv420p")).plane(2).packed();
            assertThat(chroma).hasSize(33).containsOnly(chroma[0]);
        }
    }

    @Test
    void valuesBeyondTheirDepthAreCut() {
        byte[] values = new byte[2 * 64 * 2 * Short.BYTES];
        int[] pixels = new int[2];
        for (int i = 0; i < 2; i++) {
            for (int at = 0; at < values.length; at += Short.BYTES) {
                values[at + 1] = (byte) (i == 0 ? 0xFE : 2);
            }
            pixels[i] = picture("yuv420p10le", 64, 2, values, DETAILS, new int[] {0, 256, 320, 0}, 128, 64, 64).toArgb()[70];
        }
        assertThat(pixels[0]).isEqualTo(pixels[1]);
    }

    @Test
    void theRangeOfAllValuesIsToldOnce() {
        try (Picture grey = picture(16, 2, 0xFF848484); Picture full = grey.convert(PixelFormat.named("yuvj420p"))) {
            assertThat(full.isFullRange()).isTrue();
            assertThat(full.convert(PixelFormat.named("yuv420p")).isFullRange()).isFalse();
        }
    }

    @ParameterizedTest
    @CsvSource({"0, 0, 1923", "4, 4, 1934", "16, 0, 1938", "16, 17, 1938", "16, 16, 0"})
    void convertersStayWithinMemory(int lineSize, int palette, int line) {
        PixelFormat pal8 = PixelFormat.named("pal8");
        int[] place = new int[ConverterPlace.SIZE];
        place[ConverterPlace.PIXEL_FORMAT] = pal8.number();
        place[ConverterPlace.WIDTH] = lineSize == 0 ? 0 : 16;
        place[ConverterPlace.HEIGHT] = 1;
        place[ConverterPlace.LINE_SIZES] = lineSize;
        place[ConverterPlace.PLANE_OFFSETS + 1] = palette;
        ByteBuffer memory = ByteBuffer.allocateDirect(16 + 1024);
        long converter = c_pictureconverter_ffmpeg.n_create_converter(FfmpegLibrary.context());
        try {
            assertThatCode(() -> c_pictureconverter_ffmpeg.n_convert(converter, memory, place, memory.duplicate(), place, 0))
                    .matches(e -> line == 0 ? e == null : e.getMessage().endsWith(" in line " + line));
        } finally {
            c_pictureconverter_ffmpeg.n_delete_converter(converter);
        }
    }

    /** A red that tells standard from high definition, and a grey that tells the values of television from all. */
    @ParameterizedTest
    @CsvSource({"2, false, 81, 90, 240, 0xFF0000", "5, true, 76, 85, 255, 0xFF0000", "1, false, 63, 102, 240, 0xFF0000",
        "1, true, 54, 99, 255, 0xFF0000", "2, false, 60, 128, 128, 0x333333", "5, true, 60, 128, 128, 0x3C3C3C",
        "1, false, 60, 128, 128, 0x333333", "1, true, 60, 128, 128, 0x3C3C3C"})
    void coloursAreUnderstoodAsTheStreamSays(int space, boolean full, int luma, int blue, int red, int colour) {
        byte[] bytes = new byte[3 * 256];
        Arrays.fill(bytes, 0, 256, (byte) luma);
        Arrays.fill(bytes, 256, 512, (byte) blue);
        Arrays.fill(bytes, 512, 768, (byte) red);
        Picture.Details details = new Picture.Details(new PacketTimes.Times(0, 0), new Rational(1, 25), true, false, false,
                full, DETAILS.presentation(), space, 2, 2, 0);
        try (Picture picture = picture("yuv444p", 16, 16, bytes, details, new int[] {0, 256, 512, 0}, 16, 16, 16);
                Picture rgb = picture.convert(PixelFormat.named("rgb24"), 8, 8)) {
            assertThat(rgb.isFullRange()).isFalse();
            for (int pixel : new int[] {picture.toArgb()[99], rgb.toArgb()[9]}) {
                for (int shift : new int[] {0, 8, 16}) {
                    assertThat(pixel >> shift & 0xFF).isCloseTo(colour >> shift & 0xFF, within(4));
                }
            }
        }
    }

    @Test
    void memoryIsUsedAgainUntilItsPoolIsClosed() {
        PictureMemoryPool pool = new PictureMemoryPool();
        PictureMemory memory = pool.take(64);
        PictureMemory other = memory.another(99);
        ByteBuffer buffer = memory.buffer();
        memory.release();
        other.release();
        memory = pool.take(64);
        assertThat(memory.buffer()).isSameAs(buffer);
        List<PictureMemory> many = Stream.generate(() -> pool.take(9)).limit(10).toList();
        many.forEach(PictureMemory::release);
        List<ByteBuffer> old = many.stream().map(PictureMemory::buffer).toList();
        assertThat(Stream.generate(() -> pool.take(9).buffer()).limit(10).filter(taken -> old.stream()
                .anyMatch(one -> one == taken))).as("what is kept for the next pictures").hasSize(8);
        pool.close();
        memory.release();
        assertThat(pool.take(64).buffer()).isNotSameAs(buffer);
    }

    /** A process behind the wall may say so, and the lower halves of such numbers may be large. */
    @ParameterizedTest
    @ValueSource(longs = {-1, Long.MIN_VALUE + 20, -(1L << 32) + 20})
    void whoWantsLessThanNothingGetsNoMemory(long wanted) {
        long[] call = new long[PictureCall.SIZE];
        call[PictureCall.WANTED] = wanted;
        call[PictureCall.WANTED_BYTES] = 64;
        PictureMemoryPool pool = new PictureMemoryPool();
        pool.stock(call, false);
        assertThat(call).containsOnly(0, 64);
        pool.close();
    }
}
