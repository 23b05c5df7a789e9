package kiv.media.ffmpeg.cli;

import java.io.IOException;
import java.nio.ByteBuffer;
import java.nio.charset.StandardCharsets;
import java.nio.file.Path;
import java.time.Duration;
import java.util.List;
import java.util.Optional;
import kiv.media.ffmpeg.Picture;
import kiv.media.ffmpeg.cli.report.DecodeReport;

/** Writes the page {@code index.html} that shows what lies in its directory. */
final class DecodePage implements DecodeObserver {

    static final String NAME = "index.html";
    private static final double NANOS = 1e9;

    private final DecodeReport report;
    private final Path directory;
    private final String baseName;
    private final List<String> warnings;

    /**
     * Begins a page.
     *
     * @param baseName of the pictures' files; null when a picture has no file of its own
     * @param warnings the list of warnings, read when everything is written
     */
    DecodePage(DecodeReport report, Path directory, String baseName, List<String> warnings) {
        this.report = report;
        this.directory = directory;
        this.baseName = baseName;
        this.warnings = warnings;
    }

    /** {@return the way from a page to a file, as browsers take it; empty when the file's name is no text} */
    static Optional<String> link(Path directory, Path file) {
        String way = directory.toAbsolutePath().normalize().relativize(file.toAbsolutePath().normalize()).toString();
        return way.indexOf('\uFFFD') < 0 ? Optional.of(way) : Optional.empty();
    }

    @Override
    public void picture(Picture picture, long number, boolean written) {
        report.picture(picture, baseName == null || !written ? null : PngPictures.name(baseName, number));
    }

    @Override
    public void sound(double seconds, int sampleRate, int channels, ByteBuffer pcm) {
        report.sound(seconds, sampleRate, channels, pcm);
    }

    @Override
    public void finished(Summary summary) throws IOException {
        StringBuilder page = new StringBuilder();
        report.write(page, new DecodeReport.Outcome(
                List.of(new DecodeReport.Timing("Decoding and writing",
                        Duration.ofNanos(Math.round(summary.seconds() * NANOS)))),
                summary.damagedPictures(), summary.damagedSound(), warnings));
        try (OutputFile file = OutputFile.create(directory.resolve(NAME))) {
            file.write(page.toString().getBytes(StandardCharsets.UTF_8));
            file.finish();
        }
    }
}
