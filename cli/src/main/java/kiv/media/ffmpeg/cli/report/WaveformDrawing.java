package kiv.media.ffmpeg.cli.report;

import static j2html.TagCreator.tag;

import j2html.tags.ContainerTag;
import java.time.Duration;
import java.util.ArrayList;
import java.util.List;
import java.util.Locale;
import java.util.stream.IntStream;

/**
 * Draws a waveform as SVG that stretches to the width of the page: one lane for each channel, and the time below them.
 * Units of what stretches are pieces and samples; units of what must keep its form, such as text, are per cent and
 * pixels.
 */
final class WaveformDrawing {

    /** Half of a lane's height in its own units, small enough for short numbers. */
    private static final int HALF = 500;
    private static final int MOST_ZOOM = 64;
    private static final int CLIP_MARK = 90;
    private static final int GAP = 8;
    private static final int AXIS = 26;
    private static final int MOST_TICKS = 6;
    private static final double LONGEST_CLOCK = 1e9;
    private static final double RIGHT_EDGE = 0.95;
    private static final int[] MILLISECONDS = {1, 2, 5, 10, 20, 50, 100, 200, 500, 1000, 2000, 5000, 10_000, 15_000,
        30_000, 60_000, 120_000, 300_000, 600_000, 900_000, 1_800_000, 3_600_000, 7_200_000, 14_400_000, 43_200_000};

    private final Waveform waveform;
    private final double begins;
    private final int laneHeight;
    private final int zoom;

    private WaveformDrawing(Waveform waveform, double begins) {
        this.waveform = waveform;
        this.begins = Math.abs(begins) < LONGEST_CLOCK ? begins : 0;
        this.zoom = zoom(waveform);
        this.laneHeight = waveform.channels() == 1 ? 140 : waveform.channels() == 2 ? 104
                : waveform.channels() <= 8 ? 60 : 32;
    }

    /** Returns how many times the drawing enlarges the sound, so that soft sound can be seen too: a power of two. */
    static int zoom(Waveform waveform) {
        int peak = IntStream.range(0, waveform.channels()).map(i -> waveform.channel(i).peak()).max().orElse(0);
        int zoom = 1;
        while (peak > 0 && zoom < MOST_ZOOM && 2 * zoom * peak <= Waveform.FULL_SCALE) {
            zoom *= 2;
        }
        return zoom;
    }

    /**
     * Draws a waveform.
     *
     * @param begins when the waveform begins, in seconds
     * @param label a description for those who do not see the drawing
     */
    static ContainerTag<?> draw(Waveform waveform, double begins, String label) {
        return new WaveformDrawing(waveform, begins).draw(label);
    }

    private ContainerTag<?> draw(String label) {
        int lanes = waveform.channels() * (laneHeight + GAP);
        ContainerTag<?> svg = tag("svg").withClass("waveform").attr("width", "100%").attr("height", lanes + AXIS)
                .attr("role", "img").attr("aria-label", label);
        List<Tick> ticks = ticks();
        for (int i = 0; i < waveform.channels(); i++) {
            addLane(svg, i, ticks);
        }
        for (int i = 0; i < ticks.size(); i++) {
            Tick tick = ticks.get(i);
            // A narrow screen has room for every second mark only.
            svg.with(tag("text").withCondClass(i % 2 != 0, "second").attr("x", percent(tick.place))
                    .attr("y", lanes + 14).attr("text-anchor", anchor(tick.place)).withText(tick.text));
        }
        return svg;
    }

    private static String anchor(double place) {
        return place < 1 - RIGHT_EDGE ? "start" : place > RIGHT_EDGE ? "end" : "middle";
    }

    private void addLane(ContainerTag<?> svg, int index, List<Tick> ticks) {
        int top = index * (laneHeight + GAP);
        svg.with(tag("rect").withClass("lane").attr("y", top).attr("width", "100%").attr("height", laneHeight)
                .attr("rx", 4));
        for (Tick tick : ticks) {
            svg.with(tag("line").withClass("tick").attr("x1", percent(tick.place)).attr("x2", percent(tick.place))
                    .attr("y1", top).attr("y2", top + laneHeight));
        }
        Waveform.Channel channel = waveform.channel(index);
        svg.with(tag("svg").attr("y", top).attr("width", "100%").attr("height", laneHeight)
                .attr("viewBox", String.format(Locale.ROOT, "0 %d %.3f %d", -HALF, waveform.length(), 2 * HALF))
                .attr("preserveAspectRatio", "none").with(path("peaks", extremes(channel)),
                        path("power", power(channel)), path("clipping", clipping(channel))));
        svg.with(tag("text").withClass("channel").attr("x", 8).attr("y", top + 15)
                .withText(PageText.channel(index, waveform.channels())));
    }

    private static ContainerTag<?> path(String kind, String outline) {
        return tag("path").withClass(kind).attr("d", outline);
    }

    private String extremes(Waveform.Channel channel) {
        return outline(piece -> -scaled(channel.high(piece)), piece -> -scaled(channel.low(piece)));
    }

    private String power(Waveform.Channel channel) {
        // Limited by the extremes, because with an offset one of them is smaller than the root mean square.
        return outline(piece -> -scaled(Math.min(waveform.rms(channel, piece), Math.max(0, channel.high(piece)))),
                piece -> -scaled(Math.max(-waveform.rms(channel, piece), Math.min(0, channel.low(piece)))));
    }

    private String clipping(Waveform.Channel channel) {
        StringBuilder marks = new StringBuilder();
        for (int piece = 0; piece < waveform.pieces(); piece++) {
            if (channel.isClipped(piece)) {
                marks.append('M').append(piece).append(".5 ").append(-HALF).append('v').append(CLIP_MARK);
            }
        }
        return marks.toString();
    }

    /** The height of an outline at a piece. */
    private interface Height {
        long of(int piece);
    }

    /** Returns a path along the upper edge and back along the lower one. */
    private String outline(Height upper, Height lower) {
        int pieces = waveform.pieces();
        StringBuilder path = new StringBuilder("M0 ").append(upper.of(0));
        for (int piece = 0; piece < pieces; piece++) {
            path.append('L').append(piece).append(".5 ").append(upper.of(piece));
        }
        path.append('L').append(pieces).append(' ').append(upper.of(pieces - 1))
                .append('V').append(lower.of(pieces - 1));
        for (int piece = pieces - 1; piece >= 0; piece--) {
            path.append('L').append(piece).append(".5 ").append(lower.of(piece));
        }
        return path.append("L0 ").append(lower.of(0)).append('Z').toString();
    }

    private long scaled(double sample) {
        return Math.round(sample * zoom * HALF / Waveform.FULL_SCALE);
    }

    /**
     * A mark on the time axis.
     *
     * @param place from 0 at the beginning to 1 at the end
     */
    private record Tick(double place, String text) {
    }

    private List<Tick> ticks() {
        double seconds = waveform.seconds();
        long step = MILLISECONDS[MILLISECONDS.length - 1];
        for (int i = MILLISECONDS.length - 1; i >= 0 && seconds * 1000 / MILLISECONDS[i] <= MOST_TICKS; i--) {
            step = MILLISECONDS[i];
        }
        step *= (long) Math.max(1, Math.ceil(seconds * 1000 / step / MOST_TICKS));
        List<Tick> ticks = new ArrayList<>();
        for (long at = (long) Math.ceil(begins * 1000 / step) * step; at <= (begins + seconds) * 1000; at += step) {
            Duration time = Duration.ofMillis(at);
            ticks.add(new Tick((at / 1000.0 - begins) / seconds, step % 1000 == 0 ? PageText.seconds(time)
                    : PageText.clock(time)));
        }
        return ticks;
    }

    private static String percent(double part) {
        return String.format(Locale.ROOT, "%.3f%%", 100 * part);
    }
}
