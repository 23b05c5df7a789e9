package kiv.media.ffmpeg.cli;

import com.fasterxml.jackson.core.JsonGenerator;
import java.io.IOException;
import java.io.PrintWriter;
import java.util.List;
import java.util.Locale;
import java.util.concurrent.Callable;
import kiv.media.ffmpeg.AudioCodec;
import kiv.media.ffmpeg.AudioContainer;
import kiv.media.ffmpeg.FfmpegBuild;
import kiv.media.ffmpeg.FfmpegLibrary;
import kiv.media.ffmpeg.FourCharacterCode;
import kiv.media.ffmpeg.MediaFormats;
import kiv.media.ffmpeg.cli.report.VisibleText;
import picocli.CommandLine.Command;
import picocli.CommandLine.Mixin;
import picocli.CommandLine.Model.CommandSpec;
import picocli.CommandLine.Option;
import picocli.CommandLine.Spec;

/** Lists what can be decoded and encoded. */
@Command(name = "formats", mixinStandardHelpOptions = true, versionProvider = Version.class, sortOptions = false,
        header = "Tells what can be decoded and encoded.",
        description = {"", "These are the formats that the library knows. Whether the FFmpeg in use can decode and"
            + " encode them is found out by opening each decoder and encoder.", ""})
final class FormatsCommand implements Callable<Integer> {

    @Mixin
    private LibraryOptions library;

    @Option(names = "--json", description = "Write JSON.")
    private boolean json;

    @Spec
    private CommandSpec spec;

    @Override
    public Integer call() throws IOException {
        library.apply();
        FfmpegBuild ffmpeg = FfmpegLibrary.build();
        PrintWriter out = spec.commandLine().getOut();
        if (json) {
            try (Json objects = new Json(out, false)) {
                objects.write(to -> {
                    describe(ffmpeg, to);
                    describe(to);
                    describeEncoders(to);
                });
            }
        } else {
            out.println(VisibleText.of(ffmpeg.toString()));
            out.println();
            print(out);
        }
        OutputFile.flushStandardOutput(out);
        return ExitStatus.OK;
    }

    private static void print(PrintWriter out) {
        Table video = new Table();
        video.row("video", "code", "subtype", "decode");
        for (KnownFormats.Video format : KnownFormats.video()) {
            video.row(format.codec(), format.code(), format.subtype(), yes(format.isDecodable()));
        }
        video.print(out);
        out.println();
        Table audio = new Table();
        audio.row("audio", "tag", "decode", "encode", "--format");
        for (KnownFormats.Audio format : KnownFormats.audio()) {
            audio.row(format.codec(), tag(format.tag()), yes(format.isDecodable()), yes(format.isEncodable()),
                    format.encoder().map(AudioCodec::toString).orElse(""));
        }
        audio.print(out);
        out.println();
        printEncoders(out);
        out.println();
        Table codecs = new Table();
        codecs.row("codec", "kind", "decode", "FFmpeg's name for people");
        for (MediaFormats.Codec codec : MediaFormats.codecs()) {
            codecs.row(codec.name(), codec.isDecodable() ? ConsoleText.kind(codec.kind()) : "-",
                    yes(codec.isDecodable()), codec.title());
        }
        codecs.print(out);
        out.println();
        Table containers = new Table();
        containers.row("container", "read", "FFmpeg's name for people");
        for (MediaFormats.Container container : MediaFormats.containers()) {
            containers.row(container.name(), yes(container.isReadable()), container.title());
        }
        containers.print(out);
    }

    private static void printEncoders(PrintWriter out) {
        Table encoders = new Table();
        encoders.row("--format", "encode", "files");
        for (AudioCodec codec : AudioCodec.values()) {
            encoders.row(codec.toString(), yes(KnownFormats.opens(codec)), String.join(" ", extensions(codec)));
        }
        encoders.print(out);
    }

    private static List<String> extensions(AudioCodec codec) {
        return AudioContainer.extensions(codec).stream().map(extension -> "." + extension).toList();
    }

    private static void describeEncoders(JsonGenerator to) throws IOException {
        to.writeArrayFieldStart("encoders");
        for (AudioCodec codec : AudioCodec.values()) {
            to.writeStartObject();
            to.writeStringField("encoder", codec.toString());
            to.writeBooleanField("encode", KnownFormats.opens(codec));
            to.writeArrayFieldStart("files");
            for (String extension : extensions(codec)) {
                to.writeString(extension);
            }
            to.writeEndArray();
            to.writeEndObject();
        }
        to.writeEndArray();
    }

    private static String yes(boolean value) {
        return value ? "yes" : "no";
    }

    private static String tag(int tag) {
        return String.format(Locale.ROOT, "0x%04x", tag);
    }

    private static void describe(FfmpegBuild ffmpeg, JsonGenerator to) throws IOException {
        to.writeObjectFieldStart("ffmpeg");
        to.writeStringField("version", ffmpeg.version());
        to.writeStringField("licence", ffmpeg.licence());
        to.writeStringField("directory", ffmpeg.directory().toString());
        to.writeBooleanField("bridged", ffmpeg.isBridged());
        to.writeEndObject();
    }

    private static void describe(JsonGenerator to) throws IOException {
        to.writeArrayFieldStart("video");
        for (KnownFormats.Video format : KnownFormats.video()) {
            to.writeStartObject();
            to.writeStringField("codec", format.codec());
            if (format.fourcc() != 0) {
                to.writeStringField("code", FourCharacterCode.toText(format.fourcc()));
            }
            to.writeStringField("subtype", format.subtype());
            to.writeBooleanField("decode", format.isDecodable());
            to.writeEndObject();
        }
        to.writeEndArray();
        to.writeArrayFieldStart("audio");
        for (KnownFormats.Audio format : KnownFormats.audio()) {
            to.writeStartObject();
            to.writeStringField("codec", format.codec());
            to.writeNumberField("tag", format.tag());
            to.writeBooleanField("decode", format.isDecodable());
            to.writeBooleanField("encode", format.isEncodable());
            if (format.encoder().isPresent()) {
                to.writeStringField("encoder", format.encoder().get().toString());
            }
            to.writeEndObject();
        }
        to.writeEndArray();
        to.writeArrayFieldStart("codecs");
        for (MediaFormats.Codec codec : MediaFormats.codecs()) {
            to.writeStartObject();
            to.writeStringField("codec", codec.name());
            to.writeStringField("title", codec.title());
            to.writeStringField("kind", ConsoleText.kind(codec.kind()));
            to.writeBooleanField("decodable", codec.isDecodable());
            to.writeEndObject();
        }
        to.writeEndArray();
        to.writeArrayFieldStart("containers");
        for (MediaFormats.Container container : MediaFormats.containers()) {
            to.writeStartObject();
            to.writeStringField("container", container.name());
            to.writeStringField("title", container.title());
            to.writeBooleanField("readable", container.isReadable());
            to.writeEndObject();
        }
        to.writeEndArray();
    }
}
