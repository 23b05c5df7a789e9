package kiv.media.ffmpeg.cli;

import java.math.BigInteger;
import java.util.Locale;
import java.util.Map;
import java.util.Optional;
import java.util.regex.Matcher;
import java.util.regex.Pattern;
import kiv.media.ffmpeg.Picture;
import kiv.media.ffmpeg.PixelFormat;
import kiv.media.ffmpeg.Rational;

/** The lines of text in a YUV4MPEG2 file. */
final class Y4mHeader {

    /** The line in front of each picture. */
    static final String FRAME = "FRAME\n";

    /**
     * What the header says of the stream.
     *
     * @param codec FFmpeg's name of the codec
     * @param rate written pictures a second
     */
    record Stream(String codec, Rational rate) {
    }

    private static final Rational USUAL_RATE = new Rational(25, 1);
    private static final Map<String, String> OF_8_BITS = Map.of("yuv411p", "411", "yuv422p", "422", "yuvj422p", "422",
            "yuv444p", "444", "yuvj444p", "444", "gray", "mono");
    private static final Pattern OF_MORE_BITS = Pattern.compile("yuv(420|422|444)p(9|10|12|14|16)le");

    private Y4mHeader() {
    }

    /**
     * Returns the header's name of a pixel format.
     *
     * @param codec decides at which places 4:2:0 samples the colours
     * @return the name, or empty when there is none
     */
    static Optional<String> colourSpace(PixelFormat format, String codec) {
        String name = format.name();
        if (name.equals("yuv420p") || name.equals("yuvj420p")) {
            return Optional.of(switch (codec) {
                case "mpeg2video", "mpeg4", "h264" -> "420mpeg2";
                case "dvvideo" -> "420paldv";
                default -> "420jpeg";
            });
        }
        Matcher deep = OF_MORE_BITS.matcher(name);
        if (deep.matches()) {
            return Optional.of(deep.group(1) + "p" + deep.group(2));
        }
        return Optional.ofNullable(name.equals("gray16le") ? "mono16" : OF_8_BITS.get(name));
    }

    /** Returns the format with a name in which a picture loses least. */
    static PixelFormat nearest(PixelFormat format) {
        String name = format.name();
        if (name.startsWith("yuv4") && name.endsWith("be")) {
            PixelFormat littleEndian = PixelFormat.named(name.replaceAll("be$", "le"));
            if (colourSpace(littleEndian, "").isPresent()) {
                return littleEndian;
            }
        }
        if (format.isRgb() || name.contains("444") || name.contains("440")) {
            return PixelFormat.named(format.depth() > Byte.SIZE ? "yuv444p16le" : "yuv444p");
        }
        if (name.contains("422") || name.equals("uyvy422") || name.equals("yvyu422")) {
            return PixelFormat.named(format.depth() > Byte.SIZE ? "yuv422p16le" : "yuv422p");
        }
        return PixelFormat.named(format.depth() > Byte.SIZE ? "yuv420p16le" : "yuv420p");
    }

    /**
     * Returns the file's first line.
     *
     * @param format the format of the written pixels, which must have a name
     * @param first the first picture, as decoded
     * @param shape width of a written pixel to its height
     */
    static String of(int width, int height, PixelFormat format, Picture first, Rational shape, Stream stream) {
        String colours = colourSpace(format, stream.codec()).orElseThrow();
        Rational rate = stream.rate().isKnown() ? stream.rate() : USUAL_RATE;
        String interlaced = !first.isInterlaced() || height != first.height() ? "p"
                : first.isTopFieldFirst() ? "t" : "b";
        boolean full = first.format() == format ? first.isFullRange() : format.name().startsWith("yuvj");
        return "YUV4MPEG2 W" + width + " H" + height + " F" + reduced(rate) + " I" + interlaced + " A"
                + (shape.isKnown() ? reduced(shape) : "0:0") + " C" + colours
                + (colours.startsWith("mono") ? "" : " XYSCSS=" + colours.toUpperCase(Locale.ROOT))
                + (full ? " XCOLORRANGE=FULL" : "") + "\n";
    }

    private static String reduced(Rational value) {
        BigInteger numerator = BigInteger.valueOf(value.numerator());
        BigInteger denominator = BigInteger.valueOf(value.denominator());
        BigInteger common = numerator.gcd(denominator);
        return numerator.divide(common) + ":" + denominator.divide(common);
    }
}
