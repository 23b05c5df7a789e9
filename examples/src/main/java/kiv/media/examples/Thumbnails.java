package kiv.media.examples;

import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;
import javax.imageio.ImageIO;
import kiv.media.ffmpeg.Film;
import kiv.media.ffmpeg.Isolation;
import kiv.media.ffmpeg.Picture;

/**
 * Writes ten pictures that are evenly spread over a film as JPEG files: {@code Thumbnails FILM DIRECTORY}.
 * The film may be a stranger's.
 */
public final class Thumbnails {

    private static final int COUNT = 10;
    private static final int WIDTH = 320;

    private Thumbnails() {
    }

    public static void main(String[] args) throws IOException {
        Path directory = Files.createDirectories(Path.of(args[1]));
        try (Film film = Film.open(Path.of(args[0]), Isolation.wall())) {
            int number = 0;
            for (Picture picture : film.spread(COUNT)) {
                try (picture) {
                    Path file = directory.resolve("%02d.jpg".formatted(++number));
                    ImageIO.write(picture.toShownImage(WIDTH), "jpg", file.toFile());
                }
            }
        }
    }
}
