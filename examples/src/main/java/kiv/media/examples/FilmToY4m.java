package kiv.media.examples;

import java.io.BufferedOutputStream;
import java.io.IOException;
import java.io.OutputStream;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.Locale;
import kiv.media.ffmpeg.MediaReader;
import kiv.media.ffmpeg.MediaStream;
import kiv.media.ffmpeg.Picture;
import kiv.media.ffmpeg.PixelFormat;
import kiv.media.ffmpeg.VideoDecoder;

/**
 * Scales a film, whatever its pixels are, and writes it as raw YUV with the headers that players and encoders read:
 * {@code FilmToY4m FILM FILE.y4m WIDTH HEIGHT}.
 */
public final class FilmToY4m {

    private FilmToY4m() {
    }

    public static void main(String[] args) throws IOException {
        int width = Integer.parseInt(args[2]);
        int height = Integer.parseInt(args[3]);
        PixelFormat planar = PixelFormat.named("yuv420p");
        try (MediaReader reader = MediaReader.open(Path.of(args[0]));
                OutputStream out = new BufferedOutputStream(Files.newOutputStream(Path.of(args[1])))) {
            MediaStream video = reader.firstVideo().orElseThrow();
            out.write(ascii(String.format(Locale.ROOT, "YUV4MPEG2 W%d H%d F%d:%d Ip A0:0 C420\n", width, height,
                    video.frameRate().numerator(), video.frameRate().denominator())));
            try (VideoDecoder decoder = VideoDecoder.open(video)) {
                for (Picture picture : decoder.each(reader)) {
                    try (picture; Picture scaled = picture.convert(planar, width, height)) {
                        out.write(ascii("FRAME\n"));
                        out.write(scaled.toBytes());
                    }
                }
            }
        }
    }

    private static byte[] ascii(String text) {
        return text.getBytes(StandardCharsets.US_ASCII);
    }
}
