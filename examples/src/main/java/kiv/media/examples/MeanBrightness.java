package kiv.media.examples;

import java.io.IOException;
import java.nio.file.Path;
import java.util.Locale;
import kiv.media.ffmpeg.MediaReader;
import kiv.media.ffmpeg.Picture;
import kiv.media.ffmpeg.PixelFormat;
import kiv.media.ffmpeg.VideoDecoder;

/** Prints how bright the pictures of a film are on average, from 0 to 255: {@code MeanBrightness FILM}. */
public final class MeanBrightness {

    private MeanBrightness() {
    }

    public static void main(String[] args) throws IOException {
        try (MediaReader reader = MediaReader.open(Path.of(args[0]));
                VideoDecoder decoder = VideoDecoder.open(reader)) {
            double mean = decoder.pictures(reader).mapToDouble(MeanBrightness::brightness).average().orElseThrow();
            System.out.println(String.format(Locale.ROOT, "%.1f", mean));
        }
    }

    private static double brightness(Picture picture) {
        try (picture; Picture gray = picture.convert(PixelFormat.named("gray"))) {
            long sum = 0;
            byte[] pixels = gray.toBytes();
            for (byte pixel : pixels) {
                sum += Byte.toUnsignedInt(pixel);
            }
            return (double) sum / pixels.length;
        }
    }
}
