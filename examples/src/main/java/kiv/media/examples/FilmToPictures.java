package kiv.media.examples;

import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;
import javax.imageio.ImageIO;
import kiv.media.ffmpeg.MediaReader;
import kiv.media.ffmpeg.Picture;
import kiv.media.ffmpeg.VideoDecoder;

/** Writes every picture of a film as a PNG file: {@code FilmToPictures FILM DIRECTORY}. */
public final class FilmToPictures {

    private FilmToPictures() {
    }

    public static void main(String[] args) throws IOException {
        Path directory = Files.createDirectories(Path.of(args[1]));
        try (MediaReader reader = MediaReader.open(Path.of(args[0]));
                VideoDecoder decoder = VideoDecoder.open(reader)) {
            int number = 0;
            for (Picture picture : decoder.each(reader)) {
                try (picture) {
                    Path file = directory.resolve("%04d.png".formatted(++number));
                    ImageIO.write(picture.toBufferedImage(), "png", file.toFile());
                }
            }
        }
    }
}
