package kiv.media.ffmpeg;

import static org.assertj.core.api.Assertions.assertThat;
import static org.assertj.core.api.Assertions.assertThatThrownBy;

import java.time.Duration;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.CsvSource;
import org.junit.jupiter.params.provider.EnumSource;

class PictureTest {

    private static final PacketTimes.Times TIMES = new PacketTimes.Times(3, 1, true);

    private static Picture picture(PictureFormat format, int width, int height, Object array, int offset,
            int... lineSizes) {
        int[] layout = new int[16];
        layout[0] = width;
        layout[1] = height;
        System.arraycopy(lineSizes, 0, layout, 2, lineSizes.length);
        layout[8] = format.fourcc();
        layout[9] = format.bitsPerPixel();
        int[] offsets = {offset, offset + lineSizes[0] * height, offset + lineSizes[0] * height
                + (lineSizes.length > 1 ? lineSizes[1] * ((height + 1) / 2) : 0), 0};
        return new Picture(new PictureMemory(array, layout), width, height, offsets, TIMES, new Rational(1, 25));
    }

    @ParameterizedTest
    @CsvSource({"YV12, byte[]", "I420, byte[]", "RGB8, byte[]", "YUY2, short[]", "UYVY, short[]", "RGB15, short[]",
        "RGB16, short[]", "RGB32, int[]"})
    void arraysFollowThePixelStepAndHoldEveryByte(PictureFormat format, String type) {
        int[] layout = new int[16];
        layout[8] = format.fourcc();
        layout[9] = format.bitsPerPixel();
        for (int size : new int[] {4096, 4097, 4099}) {
            Object array = PictureArrays.allocate(layout, new int[] {1, size, 32, 64, 32});
            assertThat(array.getClass().getSimpleName()).isEqualTo(type);
            assertThat(new PictureMemory(array, layout).sizeInBytes()).isBetween((long) size, size + 3L);
        }
    }

    @Test
    void formatsWithoutAnArrayAreRefused() {
        int[] layout = new int[16];
        int[] buffer = {1, 100, 32, 10, 10};
        layout[9] = 24;
        assertThatThrownBy(() -> PictureArrays.allocate(layout, buffer)).isInstanceOf(IllegalArgumentException.class);
        layout[8] = FourCharacterCode.of("NV12");
        assertThatThrownBy(() -> PictureArrays.allocate(layout, buffer)).hasMessageContaining("NV12");
    }

    @ParameterizedTest
    @EnumSource(names = {"RGB8", "RGB15", "RGB16", "RGB32"})
    void rgbPicturesKeepTheirColoursAndDropTheirPadding(PictureFormat format) {
        int[] primaries = {format.redMask(), format.greenMask(), format.blueMask(),
            format.redMask() | format.greenMask() | format.blueMask()};
        // Two rows of two pixels in lines of four, behind a whole unused line.
        int[] places = {4, 5, 8, 9};
        int size = format.elementSize();
        Object array = PictureArrays.allocate(new int[] {0, 0, 0, 0, 0, 0, 0, 0, 0, format.bitsPerPixel(), 0, 0, 0, 0,
            0, 0}, new int[] {1, 12 * size, 1, 2, 2});
        for (int i = 0; i < places.length; i++) {
            if (array instanceof byte[] bytes) {
                bytes[places[i]] = (byte) primaries[i];
            } else if (array instanceof short[] shorts) {
                shorts[places[i]] = Short.reverseBytes((short) primaries[i]);
            } else {
                ((int[]) array)[places[i]] = 0xFF000000 | primaries[i];
            }
        }
        Picture picture = picture(format, 2, 2, array, 4 * size, 4 * size);
        assertThat(picture.toArgb()).containsExactly(0xFFFF0000, 0xFF00FF00, 0xFF0000FF, 0xFFFFFFFF);
        assertThat(picture.toBufferedImage().getRGB(1, 1)).isEqualTo(0xFFFFFFFF);
        assertThat(picture.plane(0).packed()).hasSize(4 * size);
        assertThat(picture.time()).contains(Duration.ofMillis(120));
    }

    @Test
    void planarPicturesWithOddSizesHaveWholeChromaSamples() {
        byte[] bytes = new byte[8 * 3 + 2 * 4 * 2 + 5];
        for (int i = 0; i < bytes.length; i++) {
            bytes[i] = (byte) i;
        }
        Picture picture = picture(PictureFormat.I420, 3, 3, bytes, 5, 8, 4, 4);
        assertThat(picture.plane(0).packed()).containsExactly(5, 6, 7, 13, 14, 15, 21, 22, 23);
        assertThat(picture.plane(1).packed()).containsExactly(29, 30, 33, 34);
        assertThat(picture.plane(2).packed()).containsExactly(37, 38, 41, 42);
        assertThat(picture.plane(1).bytes().isReadOnly()).isTrue();
        assertThatThrownBy(() -> picture.plane(3)).isInstanceOf(IllegalArgumentException.class);
        assertThatThrownBy(picture::toBufferedImage).hasMessageContaining("RGB32");
    }

    @Test
    void planesOutsideTheirArrayAreNotShown() {
        assertThatThrownBy(() -> picture(PictureFormat.RGB32, 4, 2, new int[8], 4, 16))
                .isInstanceOf(DecodeException.class);
        assertThatThrownBy(() -> picture(PictureFormat.RGB32, 4, 2, new int[8], -4, 16))
                .isInstanceOf(DecodeException.class);
        assertThatThrownBy(() -> picture(PictureFormat.RGB32, 4, 2, new int[8], 0, 12))
                .isInstanceOf(DecodeException.class);
    }
}
