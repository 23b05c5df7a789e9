package kiv.media.ffmpeg.cli;

import java.io.IOException;
import java.io.PrintWriter;
import java.time.Duration;
import java.util.Locale;
import java.util.concurrent.Callable;
import kiv.media.ffmpeg.FourCharacterCode;
import kiv.media.ffmpeg.MediaKind;
import kiv.media.ffmpeg.MediaReader;
import kiv.media.ffmpeg.MediaStream;
import kiv.media.ffmpeg.MediaSubtypes;
import kiv.media.ffmpeg.WaveFormatTags;
import picocli.CommandLine.Command;
import picocli.CommandLine.Mixin;
import picocli.CommandLine.Model.CommandSpec;
import picocli.CommandLine.Spec;

/** Tells what a file holds. */
@Command(name = "info", mixinStandardHelpOptions = true, versionProvider = Main.Version.class,
        description = "Tells what a media file holds.")
final class InfoCommand implements Callable<Integer> {

    @Mixin
    private CommonOptions common;

    @Spec
    private CommandSpec spec;

    @Override
    public Integer call() throws IOException {
        try (MediaReader reader = common.open()) {
            PrintWriter out = spec.commandLine().getOut();
            out.println("file       " + common.file);
            out.println("container  " + reader.formatName());
            out.println("duration   " + reader.duration().map(InfoCommand::clock).orElse("unknown"));
            reader.bitRate().ifPresent(rate -> out.println("bit rate   " + rate / 1000 + " kbit/s"));
            for (MediaStream stream : reader.streams()) {
                out.println("stream " + stream.index() + "   " + describe(stream));
            }
            out.flush();
        }
        return 0;
    }

    /** A stream in one line. */
    static String describe(MediaStream stream) {
        StringBuilder text = new StringBuilder(stream.kind().name().toLowerCase(Locale.ROOT)).append(' ')
                .append(codec(stream));
        if (stream.kind() == MediaKind.VIDEO) {
            text.append(", ").append(stream.width()).append('x').append(stream.height());
            if (stream.frameRate().isKnown()) {
                text.append(String.format(Locale.ROOT, ", %.4g pictures/s", stream.frameRate().toDouble()));
            }
            if (stream.frameCount() > 0) {
                text.append(", ").append(stream.frameCount()).append(" pictures");
            }
            if (stream.isAttachedPicture()) {
                text.append(", attached picture");
            }
        } else if (stream.kind() == MediaKind.AUDIO) {
            text.append(", ").append(sound(stream));
            if (stream.bitRate() > 0) {
                text.append(", ").append(Math.round(stream.bitRate() / 1000.0)).append(" kbit/s");
            }
        }
        stream.duration().ifPresent(duration -> text.append(", ").append(clock(duration)));
        if (!isSupported(stream)) {
            text.append(" (not supported)");
        }
        return text.toString();
    }

    /** Rate and channels. */
    static String sound(MediaStream stream) {
        return stream.sampleRate() + " Hz, " + stream.channels() + (stream.channels() == 1 ? " channel" : " channels");
    }

    private static boolean isSupported(MediaStream stream) {
        return switch (stream.kind()) {
            case VIDEO -> MediaSubtypes.find(stream).isPresent();
            case AUDIO -> stream.isDecodable() && WaveFormatTags.find(stream).isPresent();
            default -> true;
        };
    }

    /** The codec's name, with its four-character code when it has a readable one. */
    static String codec(MediaStream stream) {
        String code = FourCharacterCode.toText(stream.codecTag());
        return code.startsWith("0x") ? stream.codecName() : stream.codecName() + " (" + code + ")";
    }

    /** Hours, minutes, seconds and milliseconds. */
    static String clock(Duration duration) {
        return String.format(Locale.ROOT, "%d:%02d:%02d.%03d", duration.toHours(), duration.toMinutesPart(),
                duration.toSecondsPart(), duration.toMillisPart());
    }
}
