package kiv.media.ffmpeg.cli;

import java.io.PrintWriter;
import java.util.ArrayList;
import java.util.LinkedHashMap;
import java.util.List;
import java.util.Locale;
import java.util.Map;
import java.util.Optional;
import java.util.stream.Collectors;
import java.util.stream.Stream;
import kiv.media.ffmpeg.AttachedPicture;
import kiv.media.ffmpeg.Chapter;
import kiv.media.ffmpeg.ColorDescription;
import kiv.media.ffmpeg.Disposition;
import kiv.media.ffmpeg.FfmpegLibrary;
import kiv.media.ffmpeg.FieldOrder;
import kiv.media.ffmpeg.MediaKind;
import kiv.media.ffmpeg.MediaReader;
import kiv.media.ffmpeg.MediaStream;
import kiv.media.ffmpeg.Program;
import kiv.media.ffmpeg.Tags;

/** Shows a medium to people: what it is called, its streams, chapters, programs and pictures. */
final class InfoText {

    private static final int LONGEST = 120;

    /** The tags that people look for, and what they are called here. */
    private static final Map<String, String> TAGS = new LinkedHashMap<>();

    static {
        Stream.of("title", "artist", "album", "album_artist=album artist", "track", "disc", "date", "genre", "composer",
                "comment", "description", "copyright", "encoder", "creation_time=made")
                .forEach(tag -> TAGS.put(tag.replaceFirst("=.*", ""), tag.replaceFirst(".*=", "")));
    }

    private final PrintWriter out;

    InfoText(PrintWriter out) {
        this.out = out;
    }

    void print(MediaInput input, MediaReader reader) {
        Table head = new Table();
        head.row("file", input.name());
        head.row("container", reader.formatName());
        head.row("duration", reader.duration().map(ConsoleText::clock).orElse("unknown"));
        reader.startTime().filter(start -> !start.isZero())
                .ifPresent(start -> head.row("start", ConsoleText.clock(start)));
        reader.bitRate().ifPresent(rate -> head.row("bit rate", ConsoleText.bitRate(rate)));
        Tags tags = reader.tags();
        TAGS.forEach((tag, name) -> tags.get(tag).ifPresent(value -> head.row(name, shortened(value))));
        for (AttachedPicture picture : reader.attachedPictures()) {
            head.row("picture", picture.mimeType() + ", " + ConsoleText.size(picture.stream()) + ", "
                    + ConsoleText.size((double) picture.bytes().length)
                    + picture.role().or(picture::title).map(text -> ", " + shortened(text)).orElse(""));
        }
        head.row("read by", "FFmpeg " + FfmpegLibrary.build().version());
        head.print(out);
        out.println();
        printStreams(reader);
        printChapters(reader.chapters());
        printPrograms(reader.programs());
    }

    private void printStreams(MediaReader reader) {
        Table table = new Table();
        table.row("stream", "kind", "codec", "bit rate", "length", "unit", "format");
        for (MediaStream stream : reader.streams()) {
            table.row(Integer.toString(stream.index()), ConsoleText.kind(stream.kind()), ConsoleText.codec(stream),
                    stream.bitRate() > 0 ? ConsoleText.bitRate(stream.bitRate()) : "-",
                    stream.duration().map(ConsoleText::clock).orElse("-"),
                    stream.timeBase().isKnown() ? stream.timeBase() + " s" : "-", format(stream));
            String details = details(stream);
            if (!details.isEmpty()) {
                table.row("", "", "", "", "", "", details);
            }
        }
        table.print(out);
    }

    private static String format(MediaStream stream) {
        String text = switch (stream.kind()) {
            case VIDEO -> ConsoleText.pictures(stream);
            case AUDIO -> ConsoleText.sound(stream);
            default -> "";
        };
        boolean isMedia = stream.kind() == MediaKind.VIDEO || stream.kind() == MediaKind.AUDIO;
        return isMedia && !stream.isSupported() ? text + " (not supported)" : text;
    }

    /** Language, parts, title, profile, samples and colours, of which the unknown ones are left out. */
    private static String details(MediaStream stream) {
        List<String> details = new ArrayList<>();
        stream.language().ifPresent(details::add);
        stream.dispositions().stream().filter(part -> part != Disposition.ATTACHED_PICTURE)
                .map(part -> part.name().toLowerCase(Locale.ROOT).replace('_', ' ')).forEach(details::add);
        stream.tags().title().map(title -> "\"" + shortened(title) + "\"").ifPresent(details::add);
        stream.profileName().map(profile -> "profile " + profile
                + stream.levelName().map(level -> " at level " + level).orElse("")).ifPresent(details::add);
        stream.sampleFormatName().ifPresent(details::add);
        stream.channelLayout().ifPresent(details::add);
        stream.fieldOrder().filter(FieldOrder::isInterlaced).map(order -> "interlaced, "
                + (order == FieldOrder.TOP_FIRST || order == FieldOrder.BOTTOM_CODED_FIRST ? "even" : "odd")
                + " lines first").ifPresent(details::add);
        colors(stream.color()).ifPresent(details::add);
        return String.join(", ", details);
    }

    private static Optional<String> colors(ColorDescription color) {
        String names = Stream.of(color.range(), color.matrix(), color.primaries(), color.transfer())
                .flatMap(Optional::stream).distinct().collect(Collectors.joining("/"));
        StringBuilder text = new StringBuilder(names.isEmpty() ? "" : "colours " + names);
        if (color.isHighDynamicRange()) {
            text.append(" (HDR)");
        }
        color.masteringDisplay().filter(screen -> screen.maximum().isKnown())
                .ifPresent(screen -> text.append(String.format(Locale.ROOT, ", made on a screen of %.4g to %.0f cd/m2",
                        screen.minimum().toDouble(), screen.maximum().toDouble())));
        color.contentLight().filter(light -> light.maximum() > 0)
                .ifPresent(light -> text.append(", up to ").append(light.maximum()).append(" cd/m2, on average ")
                        .append(light.average()));
        return text.isEmpty() ? Optional.empty() : Optional.of(text.toString().replaceFirst("^, ", ""));
    }

    private void printChapters(List<Chapter> chapters) {
        if (!chapters.isEmpty()) {
            Table table = new Table();
            table.row("chapter", "from", "to", "title");
            for (int i = 0; i < chapters.size(); i++) {
                Chapter chapter = chapters.get(i);
                table.row(Integer.toString(i + 1), chapter.start().map(ConsoleText::clock).orElse("-"),
                        chapter.end().map(ConsoleText::clock).orElse("-"), shortened(chapter.title().orElse("")));
            }
            out.println();
            table.print(out);
        }
    }

    private void printPrograms(List<Program> programs) {
        if (!programs.isEmpty()) {
            Table table = new Table();
            table.row("program", "streams", "name");
            for (Program program : programs) {
                table.row(Integer.toString(program.id()), program.streams().stream().map(String::valueOf)
                        .collect(Collectors.joining(", ")), shortened(program.name().orElse("")));
            }
            out.println();
            table.print(out);
        }
    }

    private static String shortened(String text) {
        return text.codePointCount(0, text.length()) <= LONGEST ? text
                : text.substring(0, text.offsetByCodePoints(0, LONGEST - 1)) + "\u2026";
    }
}
