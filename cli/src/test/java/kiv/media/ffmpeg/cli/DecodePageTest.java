package kiv.media.ffmpeg.cli;

import static org.assertj.core.api.Assertions.assertThat;

import java.io.IOException;
import java.net.URI;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.time.Duration;
import java.util.List;
import java.util.Map;
import java.util.stream.Collectors;
import java.util.stream.IntStream;
import kiv.media.ffmpeg.MediaReader;
import kiv.media.ffmpeg.Programs;
import kiv.media.ffmpeg.TestMedia;
import kiv.media.ffmpeg.VideoDecoder;
import kiv.media.ffmpeg.WaveFormat;
import kiv.media.ffmpeg.cli.report.DecodeReport;
import kiv.media.ffmpeg.cli.report.DecodeReport.Outcome;
import kiv.media.ffmpeg.cli.report.DecodeReport.Timing;
import org.junit.jupiter.api.BeforeAll;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;

/** Four pages side by side in frames of one page, which Chromium shows once: what it sees is told by a script there. */
class DecodePageTest {

    private static final String HOSTILE = "<img src=x onerror=alert(1)>&amp;\"'\u202e\u0007\ud800\u00e9\u65e5.mp4";
    private static final String LINK = "javascript:alert(1)#x?%41 \"'<b>\u00e9\n.png";

    @TempDir
    private static Path directory;
    private static Map<String, String> seen;

    @BeforeAll
    static void showThePages() throws Exception {
        // Half of it is silent, half of it clipped.
        MainTest.writeWave(directory.resolve("sound.wav"), WaveFormat.pcm16(8000, 1),
                ("\0\0".repeat(40_000) + ("\u00ff\u007f".repeat(10) + "\0\u0080".repeat(10)).repeat(2000))
                        .getBytes(StandardCharsets.ISO_8859_1));
        for (String line : List.of("decode media/balle-jbart.mp4 -q --out tmp/film --size 72x58",
                "decode tmp/sound.wav -q --out tmp/sound", "decode streams/pcm_s16_5.1.wav -q --out tmp/six")) {
            assertThat(Main.run(MainTest.words(line, directory))).isZero();
        }
        writeHostile(Files.createDirectory(directory.resolve("hostile")).resolve("index.html"));
        Path frames = directory.resolve("frames.html");
        Files.copy(Path.of(DecodePageTest.class.getResource("/frames.html").toURI()), frames);
        String dom = new String(Programs.output(List.of("timeout", "300", "chromium", "--headless", "--no-sandbox",
                "--disable-gpu", "--disable-dev-shm-usage", "--hide-scrollbars", "--allow-file-access-from-files",
                "--host-resolver-rules=MAP * ~NOTFOUND", "--user-data-dir=" + directory.resolve("profile"),
                "--window-size=2960,2600", "--virtual-time-budget=10000000", "--dump-dom",
                frames.toUri().toString())), StandardCharsets.UTF_8);
        seen = dom.substring(dom.indexOf("<pre"), dom.indexOf("</pre>")).replace("&lt;", "<").replace("&gt;", ">")
                .replace("&amp;", "&").lines().skip(1).map(line -> line.split("=", 2))
                .collect(Collectors.toMap(line -> line[0], line -> line[1], (first, other) -> first));
    }

    /** What somebody else who makes reports may say: any name, any link. */
    private static void writeHostile(Path page) throws IOException {
        try (MediaReader reader = MediaReader.open(TestMedia.stream("dv_pal.dv"));
                VideoDecoder decoder = VideoDecoder.open(reader.firstVideo().orElseThrow())) {
            DecodeReport report = new DecodeReport(HOSTILE, reader, reader.firstVideo().orElseThrow(), null);
            decoder.pictures(reader).forEach(picture -> report.picture(picture, LINK));
            StringBuilder html = new StringBuilder();
            report.write(html, new Outcome(List.of(new Timing("Decoding", Duration.ofSeconds(2))), 3, 0, List.of()));
            Files.writeString(page, html);
        }
    }

    @Test
    void theFilmIsSeenOnABroadAndOnANarrowScreen() {
        for (String page : List.of("film", "phone")) {
            assertThat(seen).containsEntry(page + ".images", "32/32").containsEntry(page + ".size", "288x216")
                    .containsEntry(page + ".wide", "false").containsEntry(page + ".heading", "balle-jbart.mp4")
                    .containsEntry(page + ".link", directory.toUri() + "film/balle-jbart-00001.png")
                    .containsEntry(page + ".parts", "Contact sheet,Sound,Source,Streams,Timings")
                    // What is beside the page plays, under its own policy.
                    .containsEntry(page + ".audio", "10.2").containsEntry(page + ".video", "10.2");
        }
        assertThat(seen.get("film.text")).contains("255 pictures, 255 written", "490,496 samples", "h264 (avc1)",
                "720\u00d7576, shown as 768\u00d7576, 25.00 pictures/s", "48000 Hz, 2 channels", "Decoding and writing");
        // Evenly spread over the film.
        assertThat(seen.get("film.numbers")).isEqualTo(
                IntStream.range(0, 32).mapToObj(i -> Integer.toString(1 + 8 * i)).collect(Collectors.joining(",")));
    }

    @Test
    void noNameOfAFileBecomesAnythingElseAndNothingIsLoaded() {
        assertThat(seen.get("hostile.heading"))
                .isEqualTo(HOSTILE.replace('\u202e', '\ufffd').replace('\u0007', '\u2407').replace('\ud800', '\ufffd'));
        assertThat(URI.create(seen.get("hostile.link")).getPath())
                .isEqualTo(directory.toUri().getPath() + "hostile/" + LINK);
        assertThat(seen).containsEntry("hostile.parts", "Warnings,Contact sheet,Streams,Timings");
        assertThat(seen.get("hostile.text")).contains("3 damaged packets of video could not be decoded",
                "Decoding 2.00 s 4.00 0.16");
        assertThat(seen).containsEntry("film.loaded", "").containsEntry("sound.loaded", "");
        assertThat(directory.resolve("film/index.html")).content().contains("default-src &#x27;none&#x27;")
                .doesNotContain("<script", "://", "url(", "@import");
    }

    @Test
    void theSoundIsSeen() {
        assertThat(seen).containsEntry("sound.parts", "Warnings,Sound,Source,Streams,Timings")
                .containsEntry("sound.images", "0/0");
        assertThat(seen.get("sound.text")).contains("40,000 samples are at full scale", "Mono 0.0 dBFS \u22123.0 dBFS 40,000");
        assertThat(directory.resolve("six/index.html")).content().contains(">LFE<", ">Back right<");
        // The loud half is marked, and it alone has a height.
        assertThat(seen).containsEntry("sound.peaks", "0,-500,1250,1000").containsEntry("sound.clipping", "626,-500,624,90")
                .containsEntry("sound.first", "M0 0L0.5 0L1.5 0");
    }
}
