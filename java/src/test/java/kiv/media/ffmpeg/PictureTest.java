package kiv.media.ffmpeg;

import static org.assertj.core.api.Assertions.assertThat;
import static org.assertj.core.api.Assertions.assertThatThrownBy;

import java.awt.image.BufferedImage;
import java.io.IOException;
import java.nio.ByteBuffer;
import java.nio.ByteOrder;
import java.util.ArrayList;
import java.util.List;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.CsvSource;
import org.junit.jupiter.params.provider.ValueSource;

class PictureTest {

    private static final Picture.Details DETAILS = new Picture.Details(new PacketTimes.Times(3, 1),
            new Rational(1, 25), true, false, false, false, new Rational(0, 1));

    /** A picture of one colour after the other, row by row, in lines with padding. */
    private static Picture picture(int width, int height, int... argb) {
        PixelFormat format = PixelFormat.named("bgra");
        int lineSize = width * Integer.BYTES + 12;
        PictureMemory memory = new PicturePool().take(8 + lineSize * height);
        for (int i = 0; i < width * height; i++) {
            memory.buffer().order(ByteOrder.LITTLE_ENDIAN).putInt(
                    8 + i / width * lineSize + i % width * Integer.BYTES, argb[i % argb.length]);
        }
        return new Picture(memory, format, width, height, new int[] {8, 0, 0, 0}, new int[] {lineSize, 0, 0, 0}, DETAILS);
    }

    @Test
    void pixelsKeepTheirColoursAndDropTheirPadding() {
        int[] colours = {0xFFFF0000, 0xFF00FF00, 0xFF0000FF, 0x80FFFFFF};
        try (Picture picture = picture(2, 2, colours)) {
            assertThat(picture.toArgb()).containsExactly(colours);
            assertThat(picture.toBytes()).hasSize(16);
            BufferedImage image = picture.toBufferedImage();
            assertThat(image.getRGB(1, 1)).isEqualTo(0x80FFFFFF);
            assertThat(picture.time()).hasValueSatisfying(time -> assertThat(time.toMillis()).isEqualTo(120));
        }
    }

    /** There and back again; one colour has nothing to lose in formats with fewer of them. */
    @ParameterizedTest
    @ValueSource(strings = {"yuv420p", "yuv422p", "yuv444p", "yuv411p", "rgb24", "yuyv422", "yuv420p10le", "rgb565le",
        "nv12", "gray"})
    void everyFormatHoldsAGreyPicture(String name) {
        PixelFormat format = PixelFormat.named(name);
        for (int width : new int[] {64, 65, 97}) {
            try (Picture grey = picture(width, 33, 0xFF848484);
                    Picture converted = grey.convert(format);
                    Picture larger = converted.convert(format, 2 * width, 50)) {
                assertThat(converted.format()).isSameAs(format);
                assertThat(converted.toBytes().length).isEqualTo(larger.convert(format, width, 33).toBytes().length);
                for (int pixel : larger.toArgb()) {
                    assertThat(pixel >> 8 & 0xFF).isBetween(0x7C, 0x8C);
                    assertThat(pixel >>> 24).isEqualTo(0xFF);
                }
            }
        }
    }

    /** libswscale itself does not survive some of these. */
    @ParameterizedTest
    @ValueSource(strings = {"yuv422p", "yuv444p", "argb"})
    void picturesOfFewRowsAreScaled(String name) {
        for (int rows = 1; rows <= 8; rows++) {
            try (Picture picture = picture(64, rows, 0xFF848484); Picture other = picture.convert(PixelFormat.named(name))) {
                for (int wanted : new int[] {1, 3, 5, 64}) {
                    assertThat(other.toBufferedImage(64, wanted).getRGB(63, wanted - 1) >> 8 & 0xFF).isBetween(0x7C, 0x8C);
                    assertThat(other.convert(PixelFormat.named("rgb24"), 60, wanted).toBytes()).hasSize(180 * wanted);
                }
            }
        }
    }

    @Test
    void closedPicturesAndImpossibleOnesAreRefused() {
        Picture picture = picture(4, 4, -1);
        PixelFormat format = picture.format();
        for (int[] size : new int[][] {{0, 4}, {4, -1}, {1 << 20, 4}, {Integer.MAX_VALUE, Integer.MAX_VALUE}}) {
            assertThatThrownBy(() -> picture.toBufferedImage(size[0], size[1])).isInstanceOf(IllegalArgumentException.class);
            assertThatThrownBy(() -> picture.convert(format, size[0], size[1])).isInstanceOf(IllegalArgumentException.class);
        }
        assertThatThrownBy(() -> picture.convert(null)).isInstanceOf(NullPointerException.class);
        assertThatThrownBy(() -> picture.plane(1)).isInstanceOf(IllegalArgumentException.class);
        assertThatThrownBy(picture::palette).isInstanceOf(UnsupportedOperationException.class);
        assertThatThrownBy(() -> PixelFormat.named("mauve")).isInstanceOf(IllegalArgumentException.class);
        picture.close();
        picture.close();
        assertThatThrownBy(picture::toArgb).isInstanceOf(MediaStateException.class);
        assertThatThrownBy(() -> picture.plane(0)).isInstanceOf(MediaStateException.class);
        assertThatThrownBy(() -> new Picture(new PicturePool().take(63), format, 4, 4, new int[4],
                new int[] {16, 0, 0, 0}, DETAILS)).isInstanceOf(DecodeException.class);
    }

    /** Closing while decoding reuses memory, and no picture that is still open may change by it. */
    @ParameterizedTest
    @ValueSource(strings = {"h264_b_320x240.mp4", "cinepak_160x120.avi", "mpeg4_b_320x240.mp4", "dv_pal.avi"})
    void openPicturesDoNotChange(String file) throws IOException {
        try (MediaReader reader = MediaReader.open(TestMedia.stream(file));
                VideoDecoder decoder = VideoDecoder.open(reader.firstVideo().orElseThrow())) {
            List<byte[]> expected;
            try (MediaReader other = MediaReader.open(TestMedia.stream(file));
                    VideoDecoder first = VideoDecoder.open(other.firstVideo().orElseThrow())) {
                expected = first.pictures(other).map(Picture::toBytes).toList();
            }
            List<Picture> kept = new ArrayList<>();
            int[] number = {0};
            decoder.pictures(reader).forEach(picture -> {
                assertThat(picture.toBytes()).isEqualTo(expected.get(number[0]));
                if (number[0]++ % 3 == 0) {
                    kept.add(picture);
                } else {
                    picture.close();
                }
            });
            for (int i = 0; i < kept.size(); i++) {
                assertThat(kept.get(i).toBytes()).as("picture " + 3 * i).isEqualTo(expected.get(3 * i));
            }
        }
    }

    @ParameterizedTest
    @CsvSource({"YV12, byte[]", "I420, byte[]", "RGB8, byte[]", "YUY2, short[]", "UYVY, short[]", "RGB15, short[]",
        "RGB16, short[]", "RGB32, int[]"})
    void arraysFollowThePixelStep(PictureFormat format, String type) {
        int[] layout = new int[16];
        layout[8] = format.fourcc();
        layout[9] = format.bitsPerPixel();
        assertThat(PictureArrays.allocate(layout, new int[] {1, 4099, 32, 64, 32}).getClass().getSimpleName())
                .isEqualTo(type);
        layout[8] = FourCharacterCode.of("NV12");
        assertThatThrownBy(() -> PictureArrays.allocate(layout, new int[5])).hasMessageContaining("NV12");
    }

    @Test
    void valuesOfTwoBytesAreReadAsTheyAre() {
        try (Picture grey = picture(64, 2, 0xFF848484);
                Picture little = grey.convert(PixelFormat.named("yuv420p10le"));
                Picture big = grey.convert(PixelFormat.named("yuv420p10be"))) {
            assertThat(little.plane(0).bytes().getShort(6)).isEqualTo(big.plane(0).bytes().getShort(6))
                    .isBetween((short) 400, (short) 600);
        }
    }

    @Test
    void memoryIsUsedAgainUntilItsPoolIsClosed() {
        PicturePool pool = new PicturePool();
        PictureMemory memory = pool.take(64);
        PictureMemory other = memory.another(99);
        ByteBuffer buffer = memory.buffer();
        memory.release();
        other.release();
        memory = pool.take(64);
        assertThat(memory.buffer()).isSameAs(buffer);
        pool.close();
        memory.release();
        assertThat(pool.take(64).buffer()).isNotSameAs(buffer);
    }

    @Test
    void aFormatIsOneObjectWhoeverAsks() {
        assertThat(PixelFormat.all()).allMatch(format -> PixelFormat.named(format.name()) == format);
    }
}
