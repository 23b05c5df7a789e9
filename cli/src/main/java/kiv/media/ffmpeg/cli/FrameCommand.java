package kiv.media.ffmpeg.cli;

import java.io.IOException;
import java.io.PrintWriter;
import java.nio.file.Path;
import java.time.Duration;
import java.util.concurrent.Callable;
import kiv.media.ffmpeg.Film;
import kiv.media.ffmpeg.Picture;
import picocli.CommandLine.ArgGroup;
import picocli.CommandLine.Command;
import picocli.CommandLine.Mixin;
import picocli.CommandLine.Model.CommandSpec;
import picocli.CommandLine.Option;
import picocli.CommandLine.ParameterException;
import picocli.CommandLine.Spec;

/** Takes one picture out of a film. */
@Command(name = "frame", mixinStandardHelpOptions = true, versionProvider = Version.class, sortOptions = false,
        header = "Takes one picture out of a film.",
        description = {"", "Decodes only what the picture needs. It is the one that decoding the whole film gives.",
            "Numbers of pictures of AV1, Theora, ProRes, DNxHD, JPEG 2000, Ut Video, HuffYUV and WebP take decoding all before,"
                + " unless --index names an index.", ""},
        footer = {"", "Examples:",
            "  kivjniffmpeg frame film.mp4 --at 1:30 -o picture.jpg",
            "  kivjniffmpeg frame film.mp4 --number 250 --md5"})
final class FrameCommand implements Callable<Integer> {

    /** Which picture. */
    private static final class Which {
        @Option(names = "--at", paramLabel = "TIME", converter = TimeRange.Converter.class, description = "The picture that"
                + " is shown at this time from the file's beginning, in seconds or as h:mm:ss.mmm.")
        private Duration at;

        @Option(names = "--number", paramLabel = "N", description = "The picture with this number; the first is 0.")
        private Long number;
    }

    /** What becomes of it. */
    private static final class Target {
        @Option(names = {"-o", "--output"}, paramLabel = "FILE", description = "Write it into this file, whose name ends in"
                + " .png or .jpg (default: the film's name with the picture's number, as PNG).")
        private Path file;

        @Option(names = "--md5", description = "Print its row of the table of frames-md5 instead.")
        private boolean md5;
    }

    @Mixin
    private FilmInput films;

    @ArgGroup(multiplicity = "1")
    private Which which;

    @ArgGroup
    private Target target;

    @Option(names = "--size", paramLabel = "WxH", converter = PictureSize.Converter.class,
            description = "Scale it to this size; -1 for a side that keeps the shape, as in 320x-1.")
    private PictureSize size;

    @Option(names = "--as-stored", description = "Write the pixels as the file stores them. Otherwise the picture is turned"
            + " as the file asks for, and stretched until its pixels are square.")
    private boolean asStored;

    @Spec
    private CommandSpec spec;

    @Override
    public Integer call() throws IOException {
        Path file = target == null ? null : target.file;
        if (file != null && (!ImageFile.isNamed(file.toString()) || films.input().isInput(file))) {
            throw new ParameterException(spec.commandLine(), "-o " + file + ": a picture's file ends in .png or .jpg, and is"
                    + " not the film");
        }
        if (which.number != null && which.number < 0) {
            throw new ParameterException(spec.commandLine(), "--number: the first picture is 0");
        }
        PrintWriter out = spec.commandLine().getOut();
        return films.use(film -> {
            boolean hashed = target != null && target.md5;
            boolean numbered = which.number != null || !hashed && (file == null || !film.numbersTakeDecoding());
            long number = which.number != null ? which.number
                    : numbered ? film.numberAt(FilmInput.time(film, which.at)) : -1;
            try (Picture picture = find(film, number)) {
                if (hashed) {
                    out.println(PictureHashes.row(picture));
                } else {
                    Path written = file != null ? file : Path.of(PngPictures.name(films.input().baseName(), number));
                    write(picture, written);
                    out.println((numbered ? "picture " + number : "picture") + " at "
                            + picture.time().map(time -> ConsoleText.clock(time.minus(film.beginning()))).orElse("?") + " in "
                            + written);
                }
            }
            OutputFile.flushStandardOutput(out);
            return ExitStatus.OK;
        });
    }

    private Picture find(Film film, long number) throws IOException {
        return which.number != null || film.isExact() && number >= 0 ? film.picture(number)
                : film.pictureAt(FilmInput.time(film, which.at));
    }

    private void write(Picture picture, Path file) throws IOException {
        try (OutputFile output = OutputFile.create(file)) {
            output.write(ImageFile.encode(new PictureView(size, asStored), picture, file.toString()));
            output.finish();
        }
    }
}
