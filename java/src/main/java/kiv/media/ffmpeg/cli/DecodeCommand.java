package kiv.media.ffmpeg.cli;

import java.io.IOException;
import java.io.PrintWriter;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.List;
import java.util.Locale;
import java.util.concurrent.Callable;
import kiv.media.ffmpeg.AudioDecoder;
import kiv.media.ffmpeg.DecodeException;
import kiv.media.ffmpeg.MediaException;
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

/** Writes a file's pictures and its sound. */
@Command(name = "decode", mixinStandardHelpOptions = true, versionProvider = Main.Version.class, sortOptions = false,
        description = "Decodes a media file into pictures and a WAV file.")
final class DecodeCommand implements Callable<Integer> {

    /** File formats of the pictures. */
    enum ImageFormat {
        PNG
    }

    @Mixin
    private CommonOptions common;

    @Option(names = "--out", paramLabel = "DIR", defaultValue = "out",
            description = "Where pictures and sound go (default: ${DEFAULT-VALUE}); made when it does not exist.")
    private Path out;

    @Option(names = "--every", paramLabel = "N", defaultValue = "1",
            description = "Write only every Nth picture, beginning with the first.")
    private long every;

    @Option(names = "--limit", paramLabel = "N",
            description = "Stop after writing N pictures; the sound stops there too.")
    private Long limit;

    @Option(names = "--format", paramLabel = "FORMAT", defaultValue = "png",
            description = "The pictures' file format: png.")
    private ImageFormat format;

    @Option(names = "--no-video", description = "Leave the pictures out.")
    private boolean noVideo;

    @Option(names = "--no-audio", description = "Leave the sound out.")
    private boolean noAudio;

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
        if (noVideo && noAudio) {
            throw new ParameterException(spec.commandLine(), "--no-video and --no-audio leave nothing to decode");
        }
        long start = System.nanoTime();
        try (MediaReader reader = common.open()) {
            MediaStream video = noVideo ? null : reader.firstVideo().orElse(null);
            MediaStream audio = noAudio ? null : reader.firstAudio().orElse(null);
            if (video == null && audio == null) {
                throw new MediaFormatException(common.file + ": no "
                        + (noVideo ? "audio stream" : noAudio ? "video stream" : "video and no audio stream"));
            }
            try (VideoDecoder decoder = video == null ? null : openDecoder(video);
                    SoundWriter sound = openSound(audio, video != null)) {
                Files.createDirectories(out);
                try (PictureWriter writer = video == null ? null : new PictureWriter(out, baseName(common.file));
                        Progress progress = startProgress(reader, video, audio)) {
                    decodeAll(reader, decoder, writer, sound, progress);
                    if (writer != null) {
                        writer.finish();
                    }
                }
                if (sound != null) {
                    sound.finish();
                }
                check(video, sound);
                summarise(reader, video, sound, (System.nanoTime() - start) / 1e9);
            }
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

    /** Null when there is no sound, or none that can be decoded beside the pictures. */
    private SoundWriter openSound(MediaStream audio, boolean optional) throws IOException {
        if (audio == null) {
            return null;
        }
        AudioDecoder decoder;
        try {
            decoder = AudioDecoder.open(audio);
        } catch (UnsupportedCodecException | MediaFormatException e) {
            if (!optional) {
                throw new UnsupportedCodecException(common.file + ": " + e.getMessage(), e);
            }
            spec.commandLine().getErr().println("warning: the sound is left out: " + e.getMessage());
            return null;
        }
        Path file = out.resolve(baseName(common.file) + ".wav");
        if (Files.exists(file) && Files.isSameFile(file, common.file)) {
            decoder.close();
            throw new MediaException(file + ": is the input itself; name another directory with --out");
        }
        Files.createDirectories(out);
        return new SoundWriter(audio, decoder, file);
    }

    private void decodeAll(MediaReader reader, VideoDecoder decoder, PictureWriter writer, SoundWriter sound,
            Progress progress) throws IOException {
        for (Packet packet = reader.read(); packet != null && !done(); packet = reader.read()) {
            if (decoder != null && decoder.accepts(packet)) {
                decodePicture(packet, decoder, writer, progress);
            } else if (sound != null && sound.accepts(packet)) {
                sound.write(packet);
                if (decoder == null) {
                    progress.at((long) sound.seconds());
                }
            }
        }
        if (decoder != null && !done()) {
            take(decoder.finish(), writer, progress);
        }
    }

    private void decodePicture(Packet packet, VideoDecoder decoder, PictureWriter writer, Progress progress)
            throws IOException {
        try {
            take(decoder.decode(packet), writer, progress);
        } catch (DecodeException e) {
            damaged++;
        }
    }

    private void take(List<Picture> pictures, PictureWriter writer, Progress progress) throws IOException {
        for (Picture picture : pictures) {
            if (decoded++ % every == 0 && !done()) {
                writer.write(picture, decoded);
                written++;
            } else {
                picture.close();
            }
            progress.at(decoded);
        }
    }

    private boolean done() {
        return limit != null && written >= limit;
    }

    private Progress startProgress(MediaReader reader, MediaStream video, MediaStream audio) {
        return video != null ? Progress.start("decoding", "pictures", expectedPictures(reader, video))
                : Progress.start("decoding", "seconds", (long) seconds(reader, audio));
    }

    /** How many pictures there will be, as far as the container knows; 0 when it does not. */
    private long expectedPictures(MediaReader reader, MediaStream video) {
        long all = video.frameCount();
        if (all <= 0) {
            all = Math.round(seconds(reader, video) * video.frameRate().toDouble());
        }
        // In this order, because the product of what a user typed may be too large for a number.
        return limit != null && (limit - 1) < all / every ? Math.min(all, (limit - 1) * every + 1) : all;
    }

    /** How long a stream is, as far as the container knows; 0 when it does not. */
    static double seconds(MediaReader reader, MediaStream stream) {
        return stream.duration().or(reader::duration).map(d -> d.toMillis() / 1000.0).orElse(0.0);
    }

    private void check(MediaStream video, SoundWriter sound) {
        if (video != null && decoded == 0) {
            throw new MediaFormatException(common.file + ": not one picture could be decoded");
        }
        if (video == null && sound.frames() == 0) {
            throw new MediaFormatException(common.file + ": no sound could be decoded");
        }
    }

    private void summarise(MediaReader reader, MediaStream video, SoundWriter sound, double seconds) {
        PrintWriter to = spec.commandLine().getOut();
        to.println("file       " + common.file);
        to.println("container  " + reader.formatName());
        if (video != null) {
            to.println("codec      " + InfoCommand.codec(video));
            to.println("size       " + video.width() + "x" + video.height());
            to.println("pictures   " + decoded + " decoded, " + written + " written to " + out
                    + (damaged == 0 ? "" : "; " + damaged + " damaged packets skipped"));
        }
        if (sound != null) {
            to.println("sound      " + sound.summary());
        }
        to.println(String.format(Locale.ROOT, "time       %.1f s, ", seconds) + (video != null
                ? String.format(Locale.ROOT, "%.0f pictures/s", decoded / seconds)
                : String.format(Locale.ROOT, "%.0f times as fast as it plays", sound.seconds() / seconds)));
        to.flush();
    }

    private static String baseName(Path file) {
        String name = file.getFileName().toString();
        int dot = name.lastIndexOf('.');
        return dot > 0 ? name.substring(0, dot) : name;
    }
}
