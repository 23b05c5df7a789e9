package kiv.media.ffmpeg;

import static org.assertj.core.api.Assertions.assertThat;
import static org.assertj.core.api.Assertions.within;
import static org.assertj.core.api.Assumptions.assumeThat;
import static org.junit.jupiter.api.Assumptions.assumeTrue;

import java.io.IOException;
import java.nio.ByteBuffer;
import java.nio.ByteOrder;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.Arrays;
import java.util.Random;
import java.util.function.DoubleUnaryOperator;
import java.util.stream.IntStream;
import java.util.stream.Stream;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.CsvSource;
import org.junit.jupiter.params.provider.ValueSource;

/** Compared with the formulas of ITU-R BT.2100 and BT.2390, in double precision and for each pixel anew. */
class ScreenColoursTest {

    private static final double[][] FROM_BT2020 = {{1.660491, -0.587641, -0.072850}, {-0.124550, 1.132900, -0.008349},
        {-0.018151, -0.100579, 1.118730}};

    private static double pqToLight(double value) {
        double power = Math.pow(value, 32.0 / 2523);
        return 10000 * Math.pow(Math.max(power - 0.8359375, 0) / (18.8515625 - 18.6875 * power), 8192.0 / 1305);
    }

    private static double lightToPq(double light) {
        double power = Math.pow(light / 10000, 1305.0 / 8192);
        return Math.pow((0.8359375 + 18.8515625 * power) / (1 + 18.6875 * power), 2523.0 / 32);
    }

    private static double hlgToScene(double value) {
        return value <= 0.5 ? value * value / 3 : (Math.exp((value - 0.55991073) / 0.17883277) + 0.28466892) / 12;
    }

    private static double compress(double light, double brightest) {
        double peak = lightToPq(brightest);
        double most = lightToPq(203) / peak;
        double knee = 1.5 * most - 0.5;
        double value = Math.min(1, lightToPq(light) / peak);
        double t = (value - knee) / (1 - knee);
        double spline = (2 * t * t * t - 3 * t * t + 1) * knee + (t * t * t - 2 * t * t + t) * (1 - knee)
                + (-2 * t * t * t + 3 * t * t) * most;
        return most >= 1 ? Math.min(light, 203) : value < knee ? light : pqToLight(spline * peak);
    }

    private static int[] expected(double[] values, boolean hlg, double peak) {
        DoubleUnaryOperator curve = hlg ? ScreenColoursTest::hlgToScene : ScreenColoursTest::pqToLight;
        double[] light = Arrays.stream(values).map(curve).toArray();
        double system = hlg ? 1000 * Math.pow(0.2627 * light[0] + 0.6780 * light[1] + 0.0593 * light[2], 0.2) : 1;
        double largest = Arrays.stream(light).max().orElseThrow() * system;
        double gain = largest == 0 ? 0 : system * compress(largest, peak) / largest / 203;
        double[] shown = Arrays.stream(FROM_BT2020)
                .mapToDouble(row -> gain * (row[0] * light[0] + row[1] * light[1] + row[2] * light[2])).toArray();
        double grey = 0.2126 * shown[0] + 0.7152 * shown[1] + 0.0722 * shown[2];
        double saturation = Arrays.stream(shown).map(c -> c < 0 ? grey / (grey - c) : c > 1 ? (1 - grey) / (c - grey) : 1)
                .min().orElseThrow();
        return Arrays.stream(shown).map(c -> Math.max(0, Math.min(1, grey + saturation * (c - grey))))
                .mapToInt(c -> (int) Math.round(255 * (c <= 0.0031308 ? 12.92 * c : 1.055 * Math.pow(c, 1 / 2.4) - 0.055)))
                .toArray();
    }

    private static void compare(int pixel, boolean hlg, double... values) {
        compare(pixel, hlg, 1000, 2, values);
    }

    private static void compare(int pixel, boolean hlg, double peak, int tolerance, double... values) {
        double[] rgb = Arrays.stream(values).map(value -> Math.max(0, Math.min(1, value))).toArray();
        int[] expected = expected(rgb, hlg, peak);
        for (int i = 0; i < expected.length; i++) {
            assertThat(pixel >> 16 - 8 * i & 0xFF).as(Arrays.toString(rgb)).isCloseTo(expected[i], within(tolerance));
        }
    }

    @ParameterizedTest
    @ValueSource(ints = {16, 18})
    void highDynamicRangeIsCompressedAsThePublishedFormulasSay(int transfer) {
        Random random = new Random(1);
        for (int round = 0; round < 300; round++) {
            // A colour that is not far from grey, so that the values of television stand for it.
            double base = 0.05 + 0.8 * random.nextDouble();
            double[] rgb = random.doubles(3, base, base + 0.15).toArray();
            double luma = 0.2627 * rgb[0] + 0.6780 * rgb[1] + 0.0593 * rgb[2];
            int[] yuv = {(int) Math.round(64 + 876 * luma), (int) Math.round(512 + 896 * (rgb[2] - luma) / 1.8814),
                (int) Math.round(512 + 896 * (rgb[0] - luma) / 1.4746)};
            ByteBuffer planes = ByteBuffer.allocate(3 * 16 * 16 * 2).order(ByteOrder.LITTLE_ENDIAN);
            IntStream.range(0, 3 * 256).forEach(i -> planes.putShort((short) yuv[i / 256]));
            double y = (yuv[0] - 64) / 876.0;
            double red = y + 1.4746 * (yuv[2] - 512) / 896;
            double blue = y + 1.8814 * (yuv[1] - 512) / 896;
            try (Picture picture = picture("yuv444p10le", 16, planes.array(), 9, transfer, 512, 32, 0)) {
                compare(picture.toArgb()[99], transfer == 18, red, (y - 0.2627 * red - 0.0593 * blue) / 0.6780, blue);
            }
        }
    }

    /** Pictures of 16 bits, which libswscale does not change before. */
    @ParameterizedTest
    @CsvSource({"0, 1000", "400, 400", "4000, 4000", "100, 203", "20000, 10000"})
    void theBrightestLightIsWhatTheStreamStates(int stated, int peak) {
        ByteBuffer values = ByteBuffer.allocate(64 * 6).order(ByteOrder.LITTLE_ENDIAN);
        IntStream.range(0, 64 * 3).forEach(i -> values.putShort((short) (i / 3 * 1040 + i % 3)));
        try (Picture picture = picture("rgb48le", 64, values.array(), 9, 16, 0, 64 * 6, stated)) {
            int[] pixels = picture.toArgb();
            for (int i = 0; i < pixels.length; i++) {
                compare(pixels[i], false, peak, 1, i * 1040 / 65535.0, (i * 1040 + 1) / 65535.0, (i * 1040 + 2) / 65535.0);
            }
        }
    }

    @ParameterizedTest
    @CsvSource({"1000, 1000", "400, 400", "1, 203"})
    void theLightOfAFilmIsItsOwn(int stated, int peak, @TempDir Path directory) throws Exception {
        assumeThat(FfmpegLibrary.build().version()).matches("[78]\\..*"); // older programs lose it
        Path raw = directory.resolve("film.hevc");
        Path wrapped = directory.resolve("film.mkv");
        byte[] film = Files.readAllBytes(TestMedia.stream("hdr.hevc"));
        int at = new String(film, StandardCharsets.ISO_8859_1).indexOf("\u0003\u00E8\u0001\u0090");
        film[at] = (byte) (stated >> 8);
        film[at + 1] = (byte) stated;
        Files.write(raw, film);
        Programs.output(Stream.concat(TestMedia.ffmpegProgram().stream(),
                Stream.of("-nostdin", "-v", "error", "-i", raw.toString(),
                "-c:v", "ffv1", wrapped.toString())).toList());
        try (MediaReader reader = MediaReader.open(wrapped); VideoDecoder decoder = VideoDecoder.open(reader);
                Picture picture = decoder.each(reader).iterator().next();
                Picture wide = picture.convert(PixelFormat.named("rgb48le"))) {
            ByteBuffer values = ByteBuffer.wrap(wide.toBytes()).order(ByteOrder.LITTLE_ENDIAN);
            for (int pixel : picture.toArgb()) {
                compare(pixel, false, peak, 4, IntStream.range(0, 3).mapToDouble(i -> (values.getShort() & 0xFFFF) / 65280.0)
                        .toArray());
            }
        }
    }

    @ParameterizedTest
    @CsvSource({"hevc_pq.mkv, false", "hevc_hlg.mkv, true"})
    void filmsTellTheirColours(String file, boolean hlg) throws IOException {
        assumeTrue(TestMedia.isNewer(), "2.8 does not know these curves");
        try (MediaReader reader = MediaReader.open(TestMedia.stream(file));
                VideoDecoder decoder = VideoDecoder.open(reader.firstVideo().orElseThrow());
                Picture picture = decoder.pictures(reader).findFirst().orElseThrow();
                Picture wide = picture.convert(PixelFormat.named("rgb48le"), picture.width(), picture.height())) {
            ByteBuffer values = ByteBuffer.wrap(wide.toBytes()).order(ByteOrder.LITTLE_ENDIAN);
            for (int pixel : picture.toArgb()) {
                compare(pixel, hlg, IntStream.range(0, 3).mapToDouble(i -> (values.getShort() & 0xFFFF) / 65280.0).toArray());
            }
        }
    }

    @Test
    void aWideGamutKeepsItsGreys() {
        for (int grey : new int[] {0, 0x808080, 0xFFFFFF}) {
            // libswscale itself changes values by one when it widens them.
            assertThat(argb(9, grey)[0] & 0xFF).isCloseTo(grey & 0xFF, within(1));
        }
        assertThat(argb(9, 0x80C08040)[0]).as("more colourful in BT.709, and as opaque")
                .matches(pixel -> pixel >>> 24 == 0x80 && (pixel >> 16 & 0xFF) > 0xC4 && (pixel & 0xFF) < 0x3C);
        assertThat(argb(1, 0x80C08040)).as("of an ordinary gamut").containsExactly(0x80C08040);
    }

    private static int[] argb(int primaries, int... pixels) {
        ByteBuffer bytes = ByteBuffer.allocate(pixels.length * Integer.BYTES).order(ByteOrder.LITTLE_ENDIAN);
        bytes.asIntBuffer().put(pixels);
        try (Picture picture = picture("bgra", pixels.length, bytes.array(), primaries, 2, 0, bytes.capacity(), 0)) {
            return picture.toArgb();
        }
    }

    private static Picture picture(String format, int width, byte[] bytes, int primaries, int transfer, int plane, int line,
            int peak) {
        PictureMemory memory = new PictureMemoryPool().take(bytes.length);
        memory.buffer().duplicate().put(bytes);
        boolean several = plane > 0;
        return new Picture(memory, new PlaneLayout(PixelFormat.named(format), width, bytes.length / line / (several ? 3 : 1),
                new int[] {0, plane, 2 * plane, 0}, new int[] {line, several ? line : 0, several ? line : 0, 0}),
                new Picture.Details(new PacketTimes.Times(0, 0), new Rational(1, 25), true, false, false, false,
                        new Presentation(new Rational(0, 1), 0, false), 9, primaries, transfer, peak));
    }
}
