package kiv.media.ffmpeg.cli;

import com.fasterxml.jackson.core.JsonGenerator;
import java.io.IOException;
import java.io.PrintWriter;
import java.math.BigDecimal;
import java.math.RoundingMode;
import java.time.Duration;
import java.util.Optional;
import java.util.concurrent.Callable;
import kiv.media.ffmpeg.FfmpegLibrary;
import kiv.media.ffmpeg.FourCharacterCode;
import kiv.media.ffmpeg.MediaKind;
import kiv.media.ffmpeg.MediaReader;
import kiv.media.ffmpeg.MediaStream;
import kiv.media.ffmpeg.MediaSubtypes;
import kiv.media.ffmpeg.Rational;
import kiv.media.ffmpeg.WaveFormatTags;
import picocli.CommandLine.Command;
import picocli.CommandLine.Mixin;
import picocli.CommandLine.Model.CommandSpec;
import picocli.CommandLine.Option;
import picocli.CommandLine.Spec;

/** Shows what a file holds. */
@Command(name = "info", mixinStandardHelpOptions = true, versionProvider = Version.class, sortOptions = false,
        header = "Tells what media files hold: their containers and their streams.")
final class InfoCommand implements Callable<Integer> {

    private static final int NANOS = 9;
    private static final int MICROS = 6;

    @Mixin
    private MediaInputs inputs;

    @Option(names = "--json", description = "Write JSON: an object, or an array of them for several files. Times are in"
            + " seconds, bit rates in bits a second; what a file does not tell is left out.")
    private boolean json;

    @Spec
    private CommandSpec spec;

    private boolean printed;

    @Override
    public Integer call() throws IOException {
        PrintWriter out = spec.commandLine().getOut();
        int status;
        if (json) {
            try (Json objects = new Json(out, inputs.areSeveral())) {
                status = inputs.each(spec.commandLine(), (input, name) -> look(input,
                        reader -> objects.write(to -> describe(input, reader, to))));
            }
        } else {
            status = inputs.each(spec.commandLine(), (input, name) -> look(input, reader -> print(input, reader, out)));
        }
        OutputFile.flushStandardOutput(out);
        return status;
    }

    /** Shows what a reader tells. */
    @FunctionalInterface
    private interface Display {
        void of(MediaReader reader) throws IOException;
    }

    private int look(MediaInput input, Display display) throws IOException {
        try (MediaReader reader = input.openForward()) {
            display.of(reader);
            OutputFile.flushStandardOutput(spec.commandLine().getOut());
            // Everything asked for is there, so the exit status is that of a whole file.
            input.missingEnd().ifPresent(missing -> FailureReport.warn(spec.commandLine(), input.about(missing)));
        }
        return ExitStatus.OK;
    }

    private void print(MediaInput input, MediaReader reader, PrintWriter out) {
        if (printed) {
            out.println();
        }
        printed = true;
        Table head = new Table();
        head.row("file", input.name());
        head.row("container", reader.formatName());
        head.row("duration", reader.duration().map(ConsoleText::clock).orElse("unknown"));
        reader.startTime().filter(start -> !start.isZero())
                .ifPresent(start -> head.row("start", ConsoleText.clock(start)));
        reader.bitRate().ifPresent(rate -> head.row("bit rate", ConsoleText.bitRate(rate)));
        head.row("read by", "FFmpeg " + FfmpegLibrary.build().version());
        head.print(out);
        out.println();
        Table table = new Table();
        table.row("stream", "kind", "codec", "bit rate", "length", "unit", "format");
        for (MediaStream stream : reader.streams()) {
            table.row(Integer.toString(stream.index()), ConsoleText.kind(stream.kind()), ConsoleText.codec(stream),
                    stream.bitRate() > 0 ? ConsoleText.bitRate(stream.bitRate()) : "-",
                    stream.duration().map(ConsoleText::clock).orElse("-"),
                    stream.timeBase().isKnown() ? stream.timeBase() + " s" : "-", format(stream));
        }
        table.print(out);
    }

    private static String format(MediaStream stream) {
        String text = switch (stream.kind()) {
            case VIDEO -> ConsoleText.pictures(stream);
            case AUDIO -> ConsoleText.sound(stream);
            default -> "";
        };
        return isMedia(stream) && !stream.isSupported() ? text + " (not supported)" : text;
    }

    private static boolean isMedia(MediaStream stream) {
        return stream.kind() == MediaKind.VIDEO || stream.kind() == MediaKind.AUDIO;
    }

    private static void describe(MediaInput input, MediaReader reader, JsonGenerator to) throws IOException {
        to.writeStringField("file", input.name());
        to.writeStringField("container", reader.formatName());
        seconds(to, "duration", reader.duration());
        seconds(to, "start", reader.startTime());
        if (reader.bitRate().isPresent()) {
            to.writeNumberField("bitRate", reader.bitRate().getAsLong());
        }
        to.writeStringField("ffmpeg", FfmpegLibrary.build().version());
        to.writeArrayFieldStart("streams");
        for (MediaStream stream : reader.streams()) {
            to.writeStartObject();
            describe(stream, to);
            to.writeEndObject();
        }
        to.writeEndArray();
    }

    private static void describe(MediaStream stream, JsonGenerator to) throws IOException {
        to.writeNumberField("index", stream.index());
        to.writeStringField("kind", ConsoleText.kind(stream.kind()));
        to.writeStringField("codec", stream.codecName());
        if (stream.codecTag() != 0) {
            to.writeNumberField("tag", stream.codecTag() & 0xFFFFFFFFL);
            to.writeStringField("tagText", FourCharacterCode.toText(stream.codecTag()));
        }
        if (isMedia(stream)) {
            to.writeBooleanField("supported", stream.isSupported());
        }
        number(to, "bitRate", stream.bitRate());
        fraction(to, "timeBase", stream.timeBase());
        seconds(to, "start", stream.startTime());
        seconds(to, "duration", stream.duration());
        if (stream.kind() == MediaKind.VIDEO) {
            describePictures(stream, to);
        } else if (stream.kind() == MediaKind.AUDIO) {
            describeSound(stream, to);
        }
        number(to, "extradataSize", stream.extradata().length);
    }

    private static void describePictures(MediaStream stream, JsonGenerator to) throws IOException {
        to.writeNumberField("width", stream.width());
        to.writeNumberField("height", stream.height());
        fraction(to, "frameRate", stream.frameRate());
        fraction(to, "pixelAspectRatio", stream.pixelAspectRatio());
        to.writeNumberField("rotation", stream.rotation());
        to.writeBooleanField("mirrored", stream.isMirrored());
        to.writeNumberField("shownWidth", stream.shownWidth());
        to.writeNumberField("shownHeight", stream.shownHeight());
        number(to, "pictures", stream.frameCount());
        number(to, "bitsPerPixel", stream.bitsPerCodedSample());
        to.writeBooleanField("attachedPicture", stream.isAttachedPicture());
        Optional<String> subtype = MediaSubtypes.find(stream);
        if (subtype.isPresent()) {
            to.writeStringField("subtype", subtype.get());
        }
    }

    private static void describeSound(MediaStream stream, JsonGenerator to) throws IOException {
        to.writeNumberField("sampleRate", stream.sampleRate());
        to.writeNumberField("channels", stream.channels());
        number(to, "bitsPerSample", stream.bitsPerCodedSample());
        number(to, "blockAlign", stream.blockAlign());
        if (WaveFormatTags.find(stream).isPresent()) {
            to.writeNumberField("formatTag", WaveFormatTags.find(stream).getAsInt());
        }
    }

    private static void number(JsonGenerator to, String name, long value) throws IOException {
        if (value > 0) {
            to.writeNumberField(name, value);
        }
    }

    private static void fraction(JsonGenerator to, String name, Rational value) throws IOException {
        if (value.isKnown()) {
            to.writeStringField(name, value.toString());
        }
    }

    private static void seconds(JsonGenerator to, String name, Optional<Duration> time) throws IOException {
        if (time.isPresent()) {
            to.writeNumberField(name, BigDecimal.valueOf(time.get().getSeconds())
                    .add(BigDecimal.valueOf(time.get().getNano(), NANOS)).setScale(MICROS, RoundingMode.HALF_UP));
        }
    }
}
