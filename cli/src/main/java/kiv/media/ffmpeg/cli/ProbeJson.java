package kiv.media.ffmpeg.cli;

import com.fasterxml.jackson.core.JsonGenerator;
import java.io.IOException;
import java.util.List;
import java.util.Locale;
import java.util.Map;
import java.util.Optional;
import kiv.media.ffmpeg.Chapter;
import kiv.media.ffmpeg.ColorDescription;
import kiv.media.ffmpeg.Disposition;
import kiv.media.ffmpeg.FfmpegLibrary;
import kiv.media.ffmpeg.FieldOrder;
import kiv.media.ffmpeg.MediaFormats;
import kiv.media.ffmpeg.MediaKind;
import kiv.media.ffmpeg.MediaReader;
import kiv.media.ffmpeg.MediaStream;
import kiv.media.ffmpeg.Packet;
import kiv.media.ffmpeg.Program;
import kiv.media.ffmpeg.Rational;
import kiv.media.ffmpeg.Tags;

/**
 * Describes a medium as JSON, under the names and in the forms of {@code ffprobe -of json -show_format -show_streams
 * -show_chapters -show_programs}: many numbers are texts there, and what is unknown is left out. Of each stream it also
 * says what ffprobe does not: {@code supported}, and how players show its pictures.
 */
final class ProbeJson {

    private static final int BYTE = 0xFF;

    /** What ffprobe calls the parts of streams. */
    private static final List<Map.Entry<String, Disposition>> DISPOSITIONS = List.of(
            Map.entry("default", Disposition.DEFAULT), Map.entry("dub", Disposition.DUB),
            Map.entry("original", Disposition.ORIGINAL), Map.entry("comment", Disposition.COMMENT),
            Map.entry("lyrics", Disposition.LYRICS), Map.entry("karaoke", Disposition.KARAOKE),
            Map.entry("forced", Disposition.FORCED), Map.entry("hearing_impaired", Disposition.HEARING_IMPAIRED),
            Map.entry("visual_impaired", Disposition.VISUAL_IMPAIRED), Map.entry("clean_effects", Disposition.CLEAN_EFFECTS),
            Map.entry("attached_pic", Disposition.ATTACHED_PICTURE),
            Map.entry("timed_thumbnails", Disposition.TIMED_THUMBNAILS), Map.entry("non_diegetic", Disposition.NON_DIEGETIC),
            Map.entry("captions", Disposition.CAPTIONS), Map.entry("descriptions", Disposition.DESCRIPTIONS),
            Map.entry("metadata", Disposition.METADATA), Map.entry("dependent", Disposition.DEPENDENT),
            Map.entry("still_image", Disposition.STILL_IMAGE), Map.entry("multilayer", Disposition.MULTILAYER));

    private final JsonGenerator to;

    ProbeJson(JsonGenerator to) {
        this.to = to;
    }

    void write(MediaInput input, MediaReader reader) throws IOException {
        to.writeObjectFieldStart("program_version");
        to.writeStringField("version", FfmpegLibrary.build().version());
        to.writeEndObject();
        to.writeArrayFieldStart("programs");
        for (Program program : reader.programs()) {
            to.writeStartObject();
            write(program, reader.streams());
            to.writeEndObject();
        }
        to.writeEndArray();
        to.writeArrayFieldStart("streams");
        for (MediaStream stream : reader.streams()) {
            write(stream);
        }
        to.writeEndArray();
        to.writeArrayFieldStart("chapters");
        for (Chapter chapter : reader.chapters()) {
            write(chapter);
        }
        to.writeEndArray();
        to.writeObjectFieldStart("format");
        writeFormat(input, reader);
        to.writeEndObject();
    }

    private void write(Program program, List<MediaStream> streams) throws IOException {
        to.writeNumberField("program_id", program.id());
        to.writeNumberField("program_num", program.number());
        to.writeNumberField("nb_streams", program.streams().size());
        to.writeNumberField("pmt_pid", program.tablePid());
        to.writeNumberField("pcr_pid", program.clockPid());
        write(program.tags());
        to.writeArrayFieldStart("streams");
        for (int index : program.streams()) {
            if (index >= 0 && index < streams.size()) {
                write(streams.get(index));
            }
        }
        to.writeEndArray();
    }

    private void write(MediaStream stream) throws IOException {
        to.writeStartObject();
        to.writeNumberField("index", stream.index());
        // FFmpeg has titles for the codecs that it knows.
        text("codec_name", stream.codecTitle().map(title -> stream.codecName()));
        text("codec_long_name", stream.codecTitle());
        text("profile", stream.profileName().or(() -> Optional.of(stream.profile()).filter(number -> number >= 0)
                .map(String::valueOf)));
        if (stream.kind() != MediaKind.UNKNOWN) {
            to.writeStringField("codec_type", ConsoleText.kind(stream.kind()));
        }
        to.writeStringField("codec_tag_string", tag(stream.codecTag()));
        to.writeStringField("codec_tag", String.format("0x%04x", stream.codecTag()));
        if (stream.kind() == MediaKind.VIDEO) {
            writePictures(stream);
        } else if (stream.kind() == MediaKind.AUDIO) {
            writeSound(stream);
        }
        if (stream.number().isPresent()) {
            to.writeStringField("id", "0x" + Long.toHexString(stream.number().getAsLong()));
        }
        to.writeStringField("r_frame_rate", stream.realFrameRate().toString());
        to.writeStringField("avg_frame_rate", stream.frameRate().toString());
        to.writeStringField("time_base", stream.timeBase().toString());
        time("start_pts", "start_time", stream.startTicks(), stream.timeBase());
        time("duration_ts", "duration", stream.durationTicks(), stream.timeBase());
        positive("bit_rate", stream.bitRate());
        positive("bits_per_raw_sample", stream.bitsPerRawSample());
        positive("nb_frames", stream.frameCount());
        if (stream.extradata().length > 0) {
            to.writeNumberField("extradata_size", stream.extradata().length);
        }
        to.writeObjectFieldStart("disposition");
        for (Map.Entry<String, Disposition> part : DISPOSITIONS) {
            to.writeNumberField(part.getKey(), stream.dispositions().contains(part.getValue()) ? 1 : 0);
        }
        to.writeEndObject();
        write(stream.tags());
        writeSideData(stream);
        if (stream.kind() == MediaKind.VIDEO || stream.kind() == MediaKind.AUDIO) {
            to.writeBooleanField("supported", stream.isSupported());
        }
        to.writeEndObject();
    }

    private void writePictures(MediaStream stream) throws IOException {
        to.writeNumberField("width", stream.width());
        to.writeNumberField("height", stream.height());
        // Of newer FFmpegs only opened decoders know it.
        if (stream.codedWidth() > 0 && stream.codedHeight() > 0) {
            to.writeNumberField("coded_width", stream.codedWidth());
            to.writeNumberField("coded_height", stream.codedHeight());
        }
        to.writeNumberField("has_b_frames", stream.reorderedPictures());
        Rational shape = stream.pixelAspectRatio().reduced();
        if (shape.isKnown()) {
            ratio("sample_aspect_ratio", shape);
            ratio("display_aspect_ratio", stream.displayAspectRatio());
        }
        text("pix_fmt", stream.sampleFormatName());
        to.writeNumberField("level", stream.level());
        ColorDescription color = stream.color();
        text("color_range", color.range());
        text("color_space", color.matrix());
        text("color_transfer", color.transfer());
        text("color_primaries", color.primaries());
        text("chroma_location", color.chromaLocation());
        text("field_order", stream.fieldOrder().map(ProbeJson::name));
        to.writeNumberField("refs", stream.referencePictures());
        to.writeNumberField("shown_width", stream.shownWidth());
        to.writeNumberField("shown_height", stream.shownHeight());
        to.writeNumberField("rotation", stream.rotation());
        to.writeBooleanField("mirrored", stream.isMirrored());
    }

    private static String name(FieldOrder order) {
        return switch (order) {
            case PROGRESSIVE -> "progressive";
            case TOP_FIRST -> "tt";
            case BOTTOM_FIRST -> "bb";
            case TOP_CODED_FIRST -> "tb";
            case BOTTOM_CODED_FIRST -> "bt";
        };
    }

    private void writeSound(MediaStream stream) throws IOException {
        text("sample_fmt", stream.sampleFormatName());
        to.writeStringField("sample_rate", Integer.toString(stream.sampleRate()));
        to.writeNumberField("channels", stream.channels());
        text("channel_layout", stream.channelLayout());
        to.writeNumberField("bits_per_sample", stream.bitsPerSample());
        to.writeNumberField("initial_padding", stream.initialPadding());
    }

    private void writeSideData(MediaStream stream) throws IOException {
        ColorDescription color = stream.color();
        if (color.masteringDisplay().isPresent() || color.contentLight().isPresent()
                || !stream.sideData().equals(SideDataJson.NOTHING)) {
            to.writeArrayFieldStart("side_data_list");
            new SideDataJson(to).write(color, stream.sideData());
            to.writeEndArray();
        }
    }

    private void write(Chapter chapter) throws IOException {
        to.writeStartObject();
        to.writeNumberField("id", chapter.id());
        to.writeStringField("time_base", chapter.timeBase().toString());
        time("start", "start_time", chapter.startTicks(), chapter.timeBase());
        time("end", "end_time", chapter.endTicks(), chapter.timeBase());
        write(chapter.tags());
        to.writeEndObject();
    }

    private void writeFormat(MediaInput input, MediaReader reader) throws IOException {
        to.writeStringField("filename", input.name());
        to.writeNumberField("nb_streams", reader.streams().size());
        to.writeNumberField("nb_programs", reader.programs().size());
        to.writeStringField("format_name", reader.formatName());
        String first = reader.formatName().split(",")[0];
        text("format_long_name", MediaFormats.containers().stream()
                .filter(container -> container.name().equals(first)).map(MediaFormats.Container::title).findFirst());
        text("start_time", reader.startTime().map(ConsoleText::seconds));
        text("duration", reader.duration().map(ConsoleText::seconds));
        positive("size", input.size());
        positive("bit_rate", reader.bitRate().orElse(0));
        // Those of Ogg are a stream's, where they stand already.
        if (!reader.formatName().equals("ogg")) {
            write(reader.tags());
        }
    }

    private void write(Tags tags) throws IOException {
        if (!tags.isEmpty()) {
            to.writeObjectFieldStart("tags");
            for (Map.Entry<String, String> tag : tags.asMap().entrySet()) {
                to.writeStringField(tag.getKey(), tag.getValue());
            }
            to.writeEndObject();
        }
    }

    private void time(String ticksName, String secondsName, long ticks, Rational timeBase) throws IOException {
        if (ticks != Packet.NO_TIME) {
            to.writeNumberField(ticksName, ticks);
            to.writeStringField(secondsName, String.format(Locale.ROOT, "%.6f", ticks * timeBase.toDouble()));
        }
    }

    private void ratio(String name, Rational value) throws IOException {
        to.writeStringField(name, value.numerator() + ":" + value.denominator());
    }

    private void text(String name, Optional<String> value) throws IOException {
        if (value.isPresent()) {
            to.writeStringField(name, value.get());
        }
    }

    private void positive(String name, long value) throws IOException {
        if (value > 0) {
            to.writeStringField(name, Long.toString(value));
        }
    }

    /** The four characters of a code; those that are no letters, digits or a few signs as numbers in brackets. */
    private static String tag(int code) {
        StringBuilder text = new StringBuilder();
        for (int shift = 0; shift < Integer.SIZE; shift += Byte.SIZE) {
            int character = code >>> shift & BYTE;
            boolean plain = character < 0x80 && (Character.isLetterOrDigit(character) || ". -_".indexOf(character) >= 0);
            text.append(plain ? String.valueOf((char) character) : "[" + character + "]");
        }
        return text.toString();
    }
}
