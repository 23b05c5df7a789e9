package kiv.media.ffmpeg.cli;

import java.io.IOException;
import java.io.PrintWriter;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.Locale;
import java.util.concurrent.Callable;
import kiv.media.ffmpeg.DecodeException;
import kiv.media.ffmpeg.MediaFormatException;
import kiv.media.ffmpeg.MediaReader;
import kiv.media.ffmpeg.MediaStream;
import kiv.media.ffmpeg.Packet;
import kiv.media.ffmpeg.Picture;
import kiv.media.ffmpeg.UnsupportedCodecException;
import kiv.media.ffmpeg.VideoDecoder;
import picocli.CommandLine.Command;
import picocli.CommandLine.Mixin;
import picocli.CommandLine.Model.CommandSpec;
import picocli.CommandLine.Option;
import picocli.CommandLine.ParameterException;
import picocli.CommandLine.Spec;

/** Writes a file's pictures. */
@Command(name = "decode", mixinStandardHelpOptions = true, versionProvider = Main.Version.class, sortOptions = false,
        description = "Decodes the video of a media file into pictures.")
final class DecodeCommand implements Callable<Integer> {

    /** File formats of the pictures. */
    enum ImageFormat {
        PNG
    }

    @Mixin
    private CommonOptions common;

    @Option(names = "--out", paramLabel = "DIR", defaultValue = "out",
            description = "Where the pictures go (default: ${DEFAULT-VALUE}); made when it does not exist.")
    private Path out;

    @Option(names = "--every", paramLabel = "N", defaultValue = "1",
            description = "Write only every Nth picture, beginning with the first.")
    private long every;

    @Option(names = "--limit", paramLabel = "N", description = "Stop after writing N pictures.")
    private Long limit;

    @Option(names = "--format", paramLabel = "FORMAT", defaultValue = "png",
            description = "The pictures' file format: png.")
    private ImageFormat format;

    @Spec
    private CommandSpec spec;

    private long decoded;
    private long written;
    private long damaged;

    @Override
    public Integer call() throws IOException {
        if (every < 1 || limit != null && limit < 1) {
            throw new ParameterException(spec.commandLine(), "--every and --limit take a number from 1");
        }
        long start = System.nanoTime();
        try (MediaReader reader = common.open()) {
            MediaStream video = reader.firstVideo()
                    .orElseThrow(() -> new MediaFormatException(common.file + ": no video stream"));
            try (VideoDecoder decoder = openDecoder(video)) {
                Files.createDirectories(out);
                try (PictureWriter writer = new PictureWriter(out, baseName(common.file));
                        Progress progress = Progress.start(expectedPictures(reader, video))) {
                    decodeAll(reader, decoder, writer, progress);
                    writer.finish();
                }
            }
            if (decoded == 0) {
                throw new MediaFormatException(common.file + ": not one picture could be decoded");
            }
            summarise(reader, video, (System.nanoTime() - start) / 1e9);
        }
        return 0;
    }

    private VideoDecoder openDecoder(MediaStream video) {
        try {
            return VideoDecoder.open(video);
        } catch (UnsupportedCodecException e) {
            throw new UnsupportedCodecException(common.file + ": " + e.getMessage(), e);
        }
    }

    private void decodeAll(MediaReader reader, VideoDecoder decoder, PictureWriter writer, Progress progress)
            throws IOException {
        for (Packet packet = reader.read(); packet != null && !done(); packet = reader.read()) {
            if (!decoder.accepts(packet)) {
                continue;
            }
            try {
                for (Picture picture : decoder.decode(packet)) {
                    if (decoded++ % every == 0 && !done()) {
                        writer.write(picture, decoded);
                        written++;
                    }
                    progress.at(decoded);
                }
            } catch (DecodeException e) {
                damaged++;
            }
        }
    }

    private boolean done() {
        return limit != null && written >= limit;
    }

    /** How many pictures there will be, as far as the container knows; 0 when it does not. */
    private long expectedPictures(MediaReader reader, MediaStream video) {
        long all = video.frameCount();
        if (all <= 0) {
            double seconds = video.duration().or(reader::duration).map(d -> d.toMillis() / 1000.0).orElse(0.0);
            all = Math.round(seconds * video.frameRate().toDouble());
        }
        // In this order, because the product of what a user typed may be too large for a number.
        return limit != null && (limit - 1) < all / every ? Math.min(all, (limit - 1) * every + 1) : all;
    }

    private void summarise(MediaReader reader, MediaStream video, double seconds) {
        PrintWriter to = spec.commandLine().getOut();
        to.println("file       " + common.file);
        to.println("container  " + reader.formatName());
        to.println("codec      " + InfoCommand.codec(video));
        to.println("size       " + video.width() + "x" + video.height());
        to.println("pictures   " + decoded + " decoded, " + written + " written to " + out
                + (damaged == 0 ? "" : "; " + damaged + " damaged packets skipped"));
        to.println(String.format(Locale.ROOT, "time       %.1f s, %.0f pictures/s", seconds, decoded / seconds));
        to.flush();
    }

    private static String baseName(Path file) {
        String name = file.getFileName().toString();
        int dot = name.lastIndexOf('.');
        return dot > 0 ? name.substring(0, dot) : name;
    }
}
