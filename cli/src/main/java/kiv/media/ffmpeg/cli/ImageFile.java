package kiv.media.ffmpeg.cli;

import java.awt.image.BufferedImage;
import java.awt.image.DataBufferInt;
import java.io.ByteArrayOutputStream;
import java.io.IOException;
import java.nio.ByteBuffer;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.LinkOption;
import java.nio.file.Path;
import java.util.Arrays;
import java.util.Locale;
import java.util.zip.CRC32;
import javax.imageio.IIOImage;
import javax.imageio.ImageIO;
import javax.imageio.ImageWriteParam;
import javax.imageio.ImageWriter;
import javax.imageio.stream.MemoryCacheImageOutputStream;
import kiv.media.ffmpeg.Picture;
import kiv.media.ffmpeg.Rational;
import kiv.media.ffmpeg.natives.c_pictureconverter_ffmpeg;

/** Makes files of pictures, and recognises the PNG files that it made. */
final class ImageFile {

    private static final byte[] SIGNATURE = {(byte) 0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
    private static final int BITS = 8;
    private static final int RED_GREEN_BLUE = 2;
    private static final int KIND_LENGTH = 4;
    private static final float JPEG_QUALITY = 0.92F;
    private static final String MAKER_KEY = "Software";
    private static final String MAKER = "kivjniffmpeg";
    /** The maker stands in one of the first chunks, and all chunks but that of the pixels fit into this many bytes. */
    private static final int HEAD = 256;

    private ImageFile() {
    }

    /** Returns whether a file's name tells that it is a picture. */
    static boolean isNamed(String name) {
        return name.toLowerCase(Locale.ROOT).matches("(?s).*\\.(png|jpe?g)");
    }

    /** Returns the bytes of a file whose name tells its kind. */
    static byte[] encode(PictureView view, Picture picture, String name) {
        BufferedImage image = view.image(picture);
        return name.toLowerCase(Locale.ROOT).endsWith(".png")
                ? png(image, view.imagePixelShape(picture)) : jpeg(image);
    }

    /** Returns the bytes of a PNG of square pixels. */
    static byte[] png(BufferedImage image) {
        return png(image, new Rational(1, 1));
    }

    /** @param pixelShape width of a pixel divided by its height; with a 0 when unknown */
    private static byte[] png(BufferedImage image, Rational pixelShape) {
        int width = image.getWidth();
        int height = image.getHeight();
        byte[] data = c_pictureconverter_ffmpeg.n_png_data(((DataBufferInt) image.getRaster().getDataBuffer()).getData(),
                width, height);
        ByteBuffer file = ByteBuffer.allocate(HEAD + data.length).put(SIGNATURE);
        // The method of compression and that of filters are 0, and rows are not interlaced.
        chunk(file, "IHDR", ByteBuffer.allocate(13).putInt(width).putInt(height).put((byte) BITS)
                .put((byte) RED_GREEN_BLUE).array());
        chunk(file, "tEXt", (MAKER_KEY + "\0" + MAKER).getBytes(StandardCharsets.ISO_8859_1));
        if (pixelShape.toDouble() > 0 && pixelShape.toDouble() != 1) {
            // Pixels per unit of an unknown length: wider pixels are fewer.
            chunk(file, "pHYs", ByteBuffer.allocate(9).putInt((int) pixelShape.denominator())
                    .putInt((int) pixelShape.numerator()).array());
        }
        chunk(file, "IDAT", data);
        chunk(file, "IEND", new byte[0]);
        return Arrays.copyOf(file.array(), file.position());
    }

    private static void chunk(ByteBuffer file, String kind, byte[] data) {
        int start = file.putInt(data.length).position();
        file.put(kind.getBytes(StandardCharsets.ISO_8859_1)).put(data);
        CRC32 checksum = new CRC32();
        checksum.update(file.array(), start, KIND_LENGTH + data.length);
        file.putInt((int) checksum.getValue());
    }

    private static byte[] jpeg(BufferedImage image) {
        // JPEG has no transparency.
        BufferedImage opaque = new BufferedImage(image.getWidth(), image.getHeight(), BufferedImage.TYPE_INT_RGB);
        opaque.createGraphics().drawImage(image, 0, 0, null);
        ByteArrayOutputStream bytes = new ByteArrayOutputStream(1 << 20);
        ImageWriter writer = ImageIO.getImageWritersByFormatName("jpeg").next();
        try (var out = new MemoryCacheImageOutputStream(bytes)) {
            ImageWriteParam how = writer.getDefaultWriteParam();
            how.setCompressionMode(ImageWriteParam.MODE_EXPLICIT);
            how.setCompressionQuality(JPEG_QUALITY);
            writer.setOutput(out);
            writer.write(null, new IIOImage(opaque, null, null), how);
        } catch (IOException e) {
            throw new IllegalStateException("memory cannot be written", e);
        } finally {
            writer.dispose();
        }
        return bytes.toByteArray();
    }

    /** Returns whether a file is a PNG that this class made. */
    static boolean isOurs(Path file) throws IOException {
        if (!Files.isRegularFile(file, LinkOption.NOFOLLOW_LINKS)) {
            return false;
        }
        try (var in = Files.newInputStream(file)) {
            String head = new String(in.readNBytes(HEAD), StandardCharsets.ISO_8859_1);
            return head.startsWith("\u0089PNG") && head.contains("tEXt" + MAKER_KEY + "\0" + MAKER);
        }
    }
}
