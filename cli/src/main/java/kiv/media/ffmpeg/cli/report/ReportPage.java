package kiv.media.ffmpeg.cli.report;

import static j2html.TagCreator.a;
import static j2html.TagCreator.bdi;
import static j2html.TagCreator.body;
import static j2html.TagCreator.caption;
import static j2html.TagCreator.dd;
import static j2html.TagCreator.div;
import static j2html.TagCreator.dl;
import static j2html.TagCreator.dt;
import static j2html.TagCreator.each;
import static j2html.TagCreator.figcaption;
import static j2html.TagCreator.figure;
import static j2html.TagCreator.footer;
import static j2html.TagCreator.h1;
import static j2html.TagCreator.h2;
import static j2html.TagCreator.head;
import static j2html.TagCreator.header;
import static j2html.TagCreator.html;
import static j2html.TagCreator.img;
import static j2html.TagCreator.li;
import static j2html.TagCreator.link;
import static j2html.TagCreator.main;
import static j2html.TagCreator.meta;
import static j2html.TagCreator.ol;
import static j2html.TagCreator.p;
import static j2html.TagCreator.rawHtml;
import static j2html.TagCreator.section;
import static j2html.TagCreator.span;
import static j2html.TagCreator.style;
import static j2html.TagCreator.table;
import static j2html.TagCreator.tag;
import static j2html.TagCreator.tbody;
import static j2html.TagCreator.td;
import static j2html.TagCreator.th;
import static j2html.TagCreator.thead;
import static j2html.TagCreator.title;
import static j2html.TagCreator.tr;
import static j2html.TagCreator.ul;

import j2html.rendering.FlatHtml;
import j2html.tags.ContainerTag;
import j2html.tags.DomContent;
import j2html.tags.specialized.SectionTag;
import j2html.tags.specialized.TableTag;
import java.io.IOException;
import java.io.InputStream;
import java.io.UncheckedIOException;
import java.nio.charset.StandardCharsets;
import java.util.ArrayList;
import java.util.List;
import java.util.Locale;
import java.util.Optional;
import java.util.stream.IntStream;
import kiv.media.ffmpeg.MediaStream;
import kiv.media.ffmpeg.cli.report.ContactSheet.Thumbnail;
import kiv.media.ffmpeg.cli.report.DecodeReport.Outcome;
import kiv.media.ffmpeg.cli.report.DecodeReport.Timing;

/** Renders a report as HTML. */
final class ReportPage {

    /**
     * The page runs and sends nothing. It may use only styles and images that it contains, and play files from where it
     * lies itself.
     */
    private static final String POLICY = "default-src 'none'; style-src 'unsafe-inline'; img-src data:; "
            + "media-src 'self'; base-uri 'none'; form-action 'none'";
    /** The ends of names that browsers play as a film and as a sound. */
    private static final String FILMS = "(?is).*\\.(mp4|m4v|mov|webm|mkv|ogv)";
    private static final String SOUNDS = "(?is).*\\.(mp3|m4a|wav|ogg|oga|opus|flac|aac)";
    private static final String DASH = "\u2013";

    private final DecodeReport report;
    private final Outcome outcome;
    private final List<Thumbnail> thumbnails;
    /** Also absent when there are no samples. */
    private final Optional<Waveform> waveform;

    ReportPage(DecodeReport report, Outcome outcome) {
        this.report = report;
        this.outcome = outcome;
        this.thumbnails = report.sheet().thumbnails();
        this.waveform = report.waveform().filter(sound -> sound.frames() > 0);
    }

    void render(Appendable to) throws IOException {
        String name = VisibleText.of(report.name());
        to.append("<!DOCTYPE html>\n");
        html(head(
                meta().withCharset("utf-8"),
                meta().attr("http-equiv", "Content-Security-Policy").withContent(POLICY),
                meta().withName("viewport").withContent("width=device-width, initial-scale=1"),
                meta().withName("color-scheme").withContent("light dark"),
                meta().withName("referrer").withContent("no-referrer"),
                title(name + " \u2013 decoded"),
                // Without an icon of its own, the browser would ask the page's server for one.
                link().withRel("icon").withHref("data:,"),
                style().with(rawHtml(stylesheet()))),
                body(main(
                        header(p("Decode report").withClass("kind"), h1(bdi(name)), p(about()).withClass("about")),
                        keyFigures(), notes(), contactSheet(), sound(), source(), streams(), timings()),
                        footer(p("Made by kivjniffmpeg. This page is complete in itself: it runs nothing, and loads"
                                + " nothing but what you play or follow.")))
        ).withLang("en").render(FlatHtml.into(to));
        to.append('\n');
    }

    private static String stylesheet() {
        try (InputStream in = ReportPage.class.getResourceAsStream("report.css")) {
            return new String(in.readAllBytes(), StandardCharsets.UTF_8);
        } catch (IOException e) {
            throw new UncheckedIOException(e);
        }
    }

    private String about() {
        List<String> facts = new ArrayList<>();
        facts.add(report.reader().formatName() + " container");
        report.reader().duration().ifPresent(length -> facts.add(PageText.clock(length)));
        report.reader().bitRate().ifPresent(rate -> facts.add(PageText.bitRate(rate)));
        facts.add(PageText.count(report.reader().streams().size(), "stream"));
        return VisibleText.of(String.join(" \u00b7 ", facts));
    }

    private DomContent keyFigures() {
        List<DomContent> figures = new ArrayList<>();
        report.video().ifPresent(video -> {
            figures.add(keyFigure(PageText.count(report.pictures()), "pictures decoded"));
            figures.add(keyFigure(video.width() + "\u00d7" + video.height(), "pixels, " + video.codecName()));
        });
        report.audio().ifPresent(audio -> {
            figures.add(keyFigure(PageText.count(waveform.map(Waveform::frames).orElse(0L)), "samples decoded"));
            figures.add(keyFigure(PageText.figure(audio.sampleRate() / 1000.0) + " kHz", audio.codecName() + ", "
                    + PageText.count(audio.channels(), "channel")));
        });
        outcome.timings().stream().findFirst().filter(timing -> speed(timing) > 0).ifPresent(timing ->
                figures.add(keyFigure(PageText.figure(speed(timing)) + "\u00d7", "as fast as it plays")));
        return dl(each(figures, f -> f)).withClass("figures");
    }

    private static DomContent keyFigure(String figure, String what) {
        // A list of terms demands this order; the style sheet shows the figure first.
        return div(dt(VisibleText.of(what)), dd(figure));
    }

    private DomContent notes() {
        List<String> notes = new ArrayList<>();
        if (outcome.damagedPictures() > 0) {
            notes.add(damaged(outcome.damagedPictures(), "video"));
        }
        if (outcome.damagedSound() > 0) {
            notes.add(damaged(outcome.damagedSound(), "sound"));
        }
        if (thumbnails.stream().anyMatch(thumbnail -> thumbnail.image() == null)) {
            notes.add("Some pictures are in a pixel format that cannot be shown here.");
        }
        long fullScale = waveform.stream().flatMap(sound -> IntStream.range(0, sound.channels())
                .mapToObj(sound::channel)).mapToLong(Waveform.Channel::fullScale).sum();
        if (fullScale > 0) {
            notes.add(PageText.count(fullScale, "sample") + (fullScale == 1 ? " is" : " are")
                    + " at full scale, where sound is probably cut off; red marks show where.");
        }
        notes.addAll(outcome.warnings());
        return notes.isEmpty() ? rawHtml("") : section(h2("Warnings").withId("warnings"),
                ul(each(notes, note -> li(VisibleText.of(note))))).withClass("warnings")
                .attr("aria-labelledby", "warnings");
    }

    private static String damaged(long packets, String of) {
        return PageText.count(packets, "damaged packet") + " of " + of + " could not be decoded and "
                + (packets == 1 ? "was" : "were") + " left out.";
    }

    private DomContent contactSheet() {
        if (thumbnails.isEmpty()) {
            return rawHtml("");
        }
        long pictures = report.sheet().pictures();
        boolean written = pictures == report.linkedPictures();
        String of = PageText.count(pictures, written ? "written picture" : "decoded picture");
        String text = thumbnails.size() == pictures ? of + "." : thumbnails.size() + " of " + of + ", evenly spread.";
        boolean tall = thumbnails.stream().map(Thumbnail::image)
                .allMatch(image -> image != null && image.getHeight() > image.getWidth());
        return part("sheet", "Contact sheet", written ? text + " Each leads to its file." : text,
                ol(each(thumbnails, thumbnail -> li(shown(thumbnail)))).withClass(tall ? "sheet tall" : "sheet"));
    }

    private static DomContent shown(Thumbnail thumbnail) {
        String number = "#" + thumbnail.number();
        String time = thumbnail.time().map(PageText::clock).orElse(DASH);
        String alternative = "Picture " + thumbnail.number()
                + thumbnail.time().map(t -> " at " + PageText.clock(t)).orElse("");
        DomContent picture = thumbnail.image() == null
                ? div("not shown").withClass("missing").attr("role", "img").attr("aria-label", alternative)
                : img().withSrc(thumbnail.toDataUri()).withAlt(alternative)
                        .withWidth(Integer.toString(thumbnail.image().getWidth()))
                        .withHeight(Integer.toString(thumbnail.image().getHeight()));
        return figure(thumbnail.link() == null ? picture : a(picture).withHref(PageText.reference(thumbnail.link())),
                figcaption(span(time), span(number).withClass("number")));
    }

    private DomContent sound() {
        return waveform.map(this::sound).orElse(rawHtml(""));
    }

    private DomContent sound(Waveform sound) {
        int zoom = WaveformDrawing.zoom(sound);
        String text = PageText.count(sound.channels(), "channel") + ", " + PageText.figure(sound.seconds())
                + " seconds. The outer band shows the extremes, the inner one the power"
                + (zoom > 1 ? "; drawn " + zoom + " times as large, because the sound is soft." : ".");
        String label = "Waveform of " + PageText.count(sound.channels(), "channel") + " over "
                + PageText.figure(sound.seconds()) + " seconds; the table below tells the levels";
        return part("sound", "Sound", text,
                report.soundLink().<DomContent>map(link -> player("audio", link, "The decoded sound")).orElse(rawHtml("")),
                WaveformDrawing.draw(sound, report.soundBegins(), label),
                grid("Levels of the channels", List.of("Channel", "Peak", "Power (RMS)", "Samples at full scale"),
                        IntStream.range(0, sound.channels()).mapToObj(index -> {
                            Waveform.Channel channel = sound.channel(index);
                            return List.of(PageText.channel(index, sound.channels()), PageText.level(channel.peak()),
                                    PageText.level(sound.rms(channel)), PageText.count(channel.fullScale()));
                        }).toList()));
    }

    private DomContent source() {
        return report.sourceLink().map(link -> {
            DomContent player = rawHtml("");
            if (link.matches(FILMS) && report.video().isPresent()) {
                player = film(link);
            } else if (link.matches(FILMS + "|" + SOUNDS)) {
                player = player("audio", link, "The source");
            }
            return (DomContent) part("source", "Source", "What was decoded, as far as this browser plays it.", player,
                    p(a(bdi(VisibleText.of(report.name()))).withHref(PageText.reference(link))).withClass("link"));
        }).orElse(rawHtml(""));
    }

    /** Makes a player in the form of the pictures, which it shows one of. */
    private DomContent film(String link) {
        ContainerTag<?> player = player("video", link, "The source");
        thumbnails.stream().filter(thumbnail -> thumbnail.image() != null).skip(thumbnails.size() / 2).findFirst()
                .ifPresent(thumbnail -> player.attr("poster", thumbnail.toDataUri())
                        .attr("width", thumbnail.image().getWidth()).attr("height", thumbnail.image().getHeight()));
        return player;
    }

    /** Makes an element that loads its file only when it is played. */
    private static ContainerTag<?> player(String kind, String link, String label) {
        return tag(kind).attr("controls").attr("preload", "none").attr("src", PageText.reference(link))
                .attr("aria-label", label);
    }

    private DomContent streams() {
        List<List<String>> rows = report.reader().streams().stream().map(stream -> List.of(
                Integer.toString(stream.index()), stream.kind().name().toLowerCase(Locale.ROOT)
                        + (stream.isAttachedPicture() ? " (attached picture)" : ""),
                PageText.codec(stream), PageText.format(stream), PageText.bitRate(stream.bitRate()),
                stream.duration().map(PageText::clock).orElse(DASH), decoded(stream))).toList();
        return part("streams", "Streams", "What the container holds, and what was decoded of it.",
                grid("Streams", List.of("Stream", "Kind", "Codec", "Format", "Bit rate", "Duration", "Decoded"), rows));
    }

    private String decoded(MediaStream stream) {
        if (report.video().filter(video -> video.index() == stream.index()).isPresent()) {
            return PageText.count(report.pictures(), "picture") + (report.linkedPictures() > 0
                    ? ", " + PageText.count(report.linkedPictures()) + " written" : "");
        }
        return report.audio().filter(audio -> audio.index() == stream.index()).isPresent()
                ? PageText.count(waveform.map(Waveform::frames).orElse(0L), "sample") : "no";
    }

    private DomContent timings() {
        if (outcome.timings().isEmpty()) {
            return rawHtml("");
        }
        long pictures = report.pictures();
        List<List<String>> rows = outcome.timings().stream().map(timing -> List.of(timing.what(),
                PageText.took(timing.time()),
                pictures == 0 || timing.time().isZero() ? DASH
                        : PageText.figure(pictures / PageText.inSeconds(timing.time())),
                speed(timing) > 0 ? PageText.figure(speed(timing)) + "\u00d7" : DASH)).toList();
        return part("timings", "Timings", report.played() > 0
                ? PageText.figure(report.played()) + " seconds of film or sound were decoded."
                : "How long the work took.",
                grid("Timings", List.of("Part", "Time", "Pictures a second", "Times real time"), rows));
    }

    /** Returns how many times faster than real time the decoding was; 0 when that is unknown. */
    private double speed(Timing timing) {
        return timing.time().isZero() ? 0 : report.played() / PageText.inSeconds(timing.time());
    }

    private static SectionTag part(String id, String heading, String text, DomContent... contents) {
        return section(h2(heading).withId(id), p(text).withClass("text"), each(List.of(contents), c -> c))
                .attr("aria-labelledby", id);
    }

    /** Makes a table whose cells carry their columns' names, because a narrow screen shows each row by itself. */
    private static TableTag grid(String name, List<String> columns, List<List<String>> rows) {
        return table(caption(name), thead(tr(each(columns, column -> th(column).attr("scope", "col")))),
                tbody(each(rows, row -> tr(each(IntStream.range(0, row.size()).boxed().toList(), i -> i == 0
                        ? th(bdi(VisibleText.of(row.get(0)))).attr("scope", "row").attr("data-column", columns.get(0))
                        : td(VisibleText.of(row.get(i))).attr("data-column", columns.get(i)))))));
    }
}
