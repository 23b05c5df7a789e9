package kiv.media.ffmpeg.cli;

import ar.com.hjg.pngj.FilterType;
import ar.com.hjg.pngj.ImageInfo;
import ar.com.hjg.pngj.ImageLineByte;
import ar.com.hjg.pngj.PngWriter;
import ar.com.hjg.pngj.chunks.PngChunk;
import ar.com.hjg.pngj.chunks.PngChunkPHYS;
import java.awt.image.BufferedImage;
import java.io.ByteArrayOutputStream;
import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.LinkOption;
import java.nio.file.Path;
import java.util.Locale;
import javax.imageio.IIOImage;
import javax.imageio.ImageIO;
import javax.imageio.ImageWriteParam;
import javax.imageio.ImageWriter;
import javax.imageio.stream.MemoryCacheImageOutputStream;
import kiv.media.ffmpeg.Picture;
import kiv.media.ffmpeg.Rational;

/** Makes files of pictures, and recognises the PNG files that it made. */
final class ImageFile {

    private static final int BITS = 8;
    /** Fast compression: the files are somewhat larger and take a fraction of the time. */
    private static final int LEVEL = 1;
    private static final float JPEG_QUALITY = 0.92F;
    private static final String MAKER_KEY = "Software";
    private static final String MAKER = "kivjniffmpeg";
    /** The maker stands in one of the first chunks, all of which are small. */
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
        ByteArrayOutputStream bytes = new ByteArrayOutputStream(1 << 20);
        PngWriter writer = new PngWriter(bytes, new ImageInfo(width, height, BITS, false));
        try {
            writer.setCompLevel(LEVEL);
            writer.setFilterType(FilterType.FILTER_SUB);
            PngChunk maker = writer.getMetadata().setText(MAKER_KEY, MAKER, true, false);
            maker.setPriority(true);
            if (pixelShape.toDouble() > 0 && pixelShape.toDouble() != 1) {
                // Pixels per unit of an unknown length: wider pixels are fewer.
                PngChunkPHYS shape = new PngChunkPHYS(writer.imgInfo);
                shape.setPixelsxUnitX(pixelShape.denominator());
                shape.setPixelsxUnitY(pixelShape.numerator());
                writer.getMetadata().queueChunk(shape);
            }
            int[] pixels = new int[width];
            ImageLineByte line = new ImageLineByte(writer.imgInfo);
            byte[] samples = line.getScanlineByte();
            for (int y = 0; y < height; y++) {
                image.getRaster().getDataElements(0, y, width, 1, pixels);
                for (int x = 0; x < width; x++) {
                    samples[3 * x] = (byte) (pixels[x] >> 16);
                    samples[3 * x + 1] = (byte) (pixels[x] >> 8);
                    samples[3 * x + 2] = (byte) pixels[x];
                }
                writer.writeRow(line);
            }
            writer.end();
            return bytes.toByteArray();
        } finally {
            writer.close();
        }
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
