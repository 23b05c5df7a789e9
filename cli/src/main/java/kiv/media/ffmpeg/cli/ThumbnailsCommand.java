package kiv.media.ffmpeg.cli;

import java.awt.Graphics2D;
import java.awt.image.BufferedImage;
import java.io.IOException;
import java.io.PrintWriter;
import java.io.UncheckedIOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.Iterator;
import java.util.List;
import java.util.concurrent.Callable;
import kiv.media.ffmpeg.Film;
import kiv.media.ffmpeg.Picture;
import kiv.media.ffmpeg.WorkerException;
import picocli.CommandLine.Command;
import picocli.CommandLine.Mixin;
import picocli.CommandLine.Model.CommandSpec;
import picocli.CommandLine.Option;
import picocli.CommandLine.ParameterException;
import picocli.CommandLine.Spec;

/** Takes small pictures out of a film, at equal distances. */
@Command(name = "thumbnails", mixinStandardHelpOptions = true, versionProvider = Version.class, sortOptions = false,
        header = "Takes small pictures out of a film, at equal distances, and puts them on a sheet.",
        description = {"", "Decodes only what the pictures need.", ""})
final class ThumbnailsCommand implements Callable<Integer> {

    private static final int MOST = 1000;
    private static final int WIDEST = 16384;

    @Mixin
    private FilmInput films;

    @Option(names = "--count", paramLabel = "N", defaultValue = "10", description = "How many (default: 10).")
    private int count;

    @Option(names = "--width", paramLabel = "W", defaultValue = "320", description = "Their width in pixels (default: 320).")
    private int width;

    @Option(names = "--out", paramLabel = "DIR", defaultValue = "out", description = "Where they go (default: out); made when"
            + " it does not exist.")
    private Path out;

    @Spec
    private CommandSpec spec;

    @Override
    public Integer call() throws IOException {
        if (count < 1 || count > MOST || width < 1 || width > WIDEST) {
            throw new ParameterException(spec.commandLine(), "--count takes 1 to " + MOST + ", and --width 1 to " + WIDEST);
        }
        return films.use(this::make);
    }

    private int make(Film film) throws IOException {
        List<BufferedImage> images = new ArrayList<>();
        PictureView view = new PictureView(new PictureSize(width, PictureSize.KEEP), false);
        try {
            Files.createDirectories(out);
        } catch (IOException e) {
            throw OutputException.of(out, e);
        }
        String name = films.input().baseName();
        WorkerException death = null;
        try {
            // One after the other, because many large pictures do not fit into the memory at once.
            for (Iterator<Picture> all = film.spreadOneByOne(count).iterator(); all.hasNext();) {
                try (Picture picture = all.next()) {
                    images.add(view.image(picture));
                }
                write(images.get(images.size() - 1), out.resolve(PngPictures.name(name, images.size())));
            }
        } catch (UncheckedIOException e) {
            throw e.getCause();
        } catch (WorkerException e) {
            if (images.isEmpty()) {
                throw e;
            }
            death = e;
        }
        Path sheet = out.resolve(name + "-sheet.png");
        if (!images.isEmpty()) {
            write(sheet(images), sheet);
        }
        PrintWriter console = spec.commandLine().getOut();
        console.println(images.size() + " pictures in " + out + ", and all of them on " + sheet);
        OutputFile.flushStandardOutput(console);
        if (death == null) {
            return ExitStatus.OK;
        }
        FailureReport.warn(spec.commandLine(), films.input().about(KilledException.describe(death)));
        return ExitStatus.KILLED;
    }

    private static void write(BufferedImage image, Path file) throws IOException {
        try (OutputFile output = OutputFile.create(file)) {
            output.write(ImageFile.png(image));
            output.finish();
        }
    }

    /** Puts pictures into rows, about as many as each row has pictures. */
    private static BufferedImage sheet(List<BufferedImage> images) {
        int columns = (int) Math.ceil(Math.sqrt(images.size()));
        int rows = (images.size() + columns - 1) / columns;
        int cellWidth = images.stream().mapToInt(BufferedImage::getWidth).max().orElse(1);
        int cellHeight = images.stream().mapToInt(BufferedImage::getHeight).max().orElse(1);
        // A sheet of many large pictures is made smaller.
        double scale = Math.min(1, (double) WIDEST / Math.max(columns * cellWidth, rows * cellHeight));
        int stepX = (int) Math.max(1, cellWidth * scale);
        int stepY = (int) Math.max(1, cellHeight * scale);
        BufferedImage sheet = new BufferedImage(columns * stepX, rows * stepY, BufferedImage.TYPE_INT_RGB);
        Graphics2D graphics = sheet.createGraphics();
        for (int i = 0; i < images.size(); i++) {
            BufferedImage image = images.get(i);
            graphics.drawImage(image, i % columns * stepX, i / columns * stepY,
                    (int) Math.max(1, image.getWidth() * scale), (int) Math.max(1, image.getHeight() * scale), null);
        }
        graphics.dispose();
        return sheet;
    }
}
