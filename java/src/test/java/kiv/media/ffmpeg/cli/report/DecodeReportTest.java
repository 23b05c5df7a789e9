package kiv.media.ffmpeg.cli.report;

import static org.assertj.core.api.Assertions.assertThat;

import java.awt.image.BufferedImage;
import java.io.IOException;
import java.net.URI;
import java.nio.ByteBuffer;
import java.nio.ByteOrder;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.time.Duration;
import java.util.Arrays;
import java.util.List;
import java.util.Map;
import java.util.concurrent.TimeUnit;
import java.util.stream.Collectors;
import java.util.stream.IntStream;
import java.util.stream.LongStream;
import javax.imageio.ImageIO;
import kiv.media.ffmpeg.AudioContainer;
import kiv.media.ffmpeg.AudioDecoder;
import kiv.media.ffmpeg.AudioFileWriter;
import kiv.media.ffmpeg.MediaReader;
import kiv.media.ffmpeg.MediaStream;
import kiv.media.ffmpeg.Packet;
import kiv.media.ffmpeg.Picture;
import kiv.media.ffmpeg.TestMedia;
import kiv.media.ffmpeg.VideoDecoder;
import kiv.media.ffmpeg.WaveFormat;
import kiv.media.ffmpeg.cli.report.DecodeReport.Outcome;
import kiv.media.ffmpeg.cli.report.DecodeReport.Timing;
import org.junit.jupiter.api.BeforeAll;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;

/** Four pages side by side in frames of one page, which Chromium shows once: what it sees is told by a script there. */
class DecodeReportTest {

    private static final String HOSTILE = "<img src=x onerror=alert(1)>&amp;\"'\u202e\u0007\ud800\u00e9\u65e5.mp4";
    private static final String LINK = "javascript:alert(1)#x?%41 \"'<b>\u00e9\n.png";
    private static final int HEIGHT = 2600;

    @TempDir
    private static Path directory;
    private static BufferedImage screen;
    private static Map<String, String> seen;
    private static double[] filmColour;

    @BeforeAll
    static void showThePages() throws Exception {
        write("film", HOSTILE, TestMedia.film(), 1);
        write("video", "video", TestMedia.stream("dv_pal.dv"), 100);
        write("sound", "sound", halfSilentHalfClipped(), 1);
        Files.writeString(directory.resolve("frames.html"), """
                <!DOCTYPE html><meta charset=utf-8><style>body{margin:0;display:flex}iframe{border:0;flex:none;height:%dpx}</style>
                <iframe id=film width=1200 src=film.html></iframe><iframe id=phone width=360 src=film.html></iframe>
                <iframe id=video width=700 src=video.html></iframe><iframe id=sound width=700 src=sound.html></iframe>
                <script>onload = () => {
                  const lines = [''], place = e => { const r = e.getBoundingClientRect();
                    return [r.x + e.ownerDocument.defaultView.frameElement.offsetLeft, r.y, r.width, r.height].map(Math.floor); };
                  for (const frame of document.querySelectorAll('iframe')) {
                    const page = frame.contentDocument, images = [...page.images];
                    const tell = (name, value) => lines.push(frame.id + '.' + name + '=' + value);
                    tell('images', images.filter(i => i.naturalWidth > 0 && i.alt).length + '/' + images.length);
                    tell('numbers', [...page.querySelectorAll('.number')].map(n => n.textContent.slice(1)));
                    tell('size', images.length && images[0].naturalWidth + 'x' + images[0].naturalHeight);
                    tell('loaded', frame.contentWindow.performance.getEntriesByType('resource').map(e => e.name.slice(0, 5)));
                    tell('wide', page.documentElement.scrollWidth > page.documentElement.clientWidth);
                    tell('heading', page.querySelector('h1').textContent);
                    tell('parts', [...page.querySelectorAll('h2')].map(h => h.textContent));
                    tell('text', page.body.innerText.replace(/\\s+/g, ' '));
                    tell('link', page.querySelector('.sheet a')?.href);
                    for (const e of page.querySelectorAll('img, .waveform')) tell(e.tagName.toLowerCase(), place(e));
                  }
                  document.body.append(Object.assign(document.createElement('pre'), {hidden: true, textContent: lines.join('\\n')}));
                }</script>""".formatted(HEIGHT));
        String dom = chromium();
        seen = dom.substring(dom.indexOf("<pre"), dom.indexOf("</pre>")).replace("&lt;", "<").replace("&gt;", ">")
                .replace("&amp;", "&").lines().skip(1).map(line -> line.split("=", 2))
                .collect(Collectors.toMap(line -> line[0], line -> line[1], (first, other) -> first));
        screen = ImageIO.read(directory.resolve("screen.png").toFile());
    }

    /** Every picture comes as often as asked for; of the film, each has a file. */
    private static void write(String page, String name, Path file, int times) throws IOException {
        try (MediaReader reader = MediaReader.open(file)) {
            MediaStream video = reader.firstVideo().orElse(null);
            MediaStream audio = page.equals("video") ? null : reader.firstAudio().orElse(null);
            DecodeReport report = new DecodeReport(name, reader, video, audio);
            try (VideoDecoder pictures = video == null ? null : VideoDecoder.open(video);
                    AudioDecoder sound = audio == null ? null : AudioDecoder.open(audio)) {
                for (Packet packet; (packet = reader.read()) != null;) {
                    if (video != null && pictures.accepts(packet)) {
                        pictures.decode(packet).forEach(picture -> take(picture, report, page, times));
                    } else if (audio != null && sound.accepts(packet)) {
                        sound.decode(packet).forEach(block -> report.sound(block.time().map(Duration::toMillis).orElse(0L) / 1000.0,
                                block.sampleRate(), block.channels(), block.data()));
                    }
                }
                if (video != null) {
                    pictures.finish().forEach(picture -> take(picture, report, page, times));
                }
            }
            StringBuilder html = new StringBuilder();
            report.write(html, new Outcome(List.of(new Timing("Decoding", Duration.ofSeconds(2))),
                    page.equals("video") ? 3 : 0, 0, List.of()));
            Files.writeString(directory.resolve(page + ".html"), html);
        }
    }

    private static void take(Picture picture, DecodeReport report, String page, int times) {
        if (page.equals("film") && filmColour == null) {
            filmColour = colour(picture.toBufferedImage(), 0, 0, picture.width(), picture.height());
        }
        for (int i = 0; i < times; i++) {
            report.picture(picture, page.equals("film") ? LINK : null);
        }
        picture.close();
    }

    private static Path halfSilentHalfClipped() throws IOException {
        Path file = directory.resolve("sound.wav");
        ByteBuffer samples = ByteBuffer.allocate(160_000).order(ByteOrder.LITTLE_ENDIAN).position(80_000);
        while (samples.hasRemaining()) {
            samples.putShort(samples.position() / 2 % 20 < 10 ? Short.MAX_VALUE : Short.MIN_VALUE);
        }
        try (AudioFileWriter writer = AudioFileWriter.create(file, WaveFormat.pcm16(8000, 1), AudioContainer.WAV)) {
            writer.write(List.of(Packet.of(samples.array(), 0, 0, 0, true)));
            writer.finish(0);
        }
        return file;
    }

    private static String chromium() throws IOException, InterruptedException {
        ProcessBuilder browser = new ProcessBuilder("chromium", "--headless", "--no-sandbox", "--disable-gpu",
                "--disable-dev-shm-usage", "--hide-scrollbars", "--allow-file-access-from-files",
                "--host-resolver-rules=MAP * ~NOTFOUND", "--user-data-dir=" + directory.resolve("profile"),
                "--window-size=2960," + HEIGHT, "--screenshot=" + directory.resolve("screen.png"), "--dump-dom",
                directory.resolve("frames.html").toUri().toString());
        // What a sanitizer puts into this process is not for the browser.
        browser.environment().remove("LD_PRELOAD");
        Path dom = directory.resolve("dom.html");
        Process process = browser.redirectOutput(dom.toFile()).redirectError(directory.resolve("log").toFile()).start();
        try {
            assertThat(process.waitFor(5, TimeUnit.MINUTES)).isTrue();
            assertThat(process.exitValue()).as(Files.readString(directory.resolve("log"))).isZero();
        } finally {
            process.destroyForcibly();
        }
        return Files.readString(dom, StandardCharsets.UTF_8);
    }

    /** The mean red, green and blue. */
    private static double[] colour(BufferedImage image, int x, int y, int width, int height) {
        int[] pixels = image.getRGB(x, y, width, height, null, 0, width);
        return IntStream.of(16, 8, 0).mapToDouble(shift -> Arrays.stream(pixels).map(p -> p >> shift & 0xFF).average()
                .orElseThrow()).toArray();
    }

    /** Left, top, width and height of the first such element of a page, on the screen. */
    private static int[] place(String element) {
        return Arrays.stream(seen.get(element).split(",")).mapToInt(Integer::parseInt).toArray();
    }

    private static int distinctColours(int x, int y, int width, int height) {
        return (int) Arrays.stream(screen.getRGB(x, y, width, height, null, 0, width)).distinct().count();
    }

    @Test
    void theFilmIsSeenOnABroadAndOnANarrowScreen() {
        for (String page : List.of("film", "phone")) {
            assertThat(seen).containsEntry(page + ".images", "32/32").containsEntry(page + ".size", "288x216")
                    .containsEntry(page + ".wide", "false")
                    .containsEntry(page + ".parts", "Contact sheet,Sound,Streams,Timings");
            int[] image = place(page + ".img");
            assertThat(colour(screen, image[0] + 8, image[1] + 8, image[2] - 16, image[3] - 16))
                    .usingComparatorWithPrecision(8.0).containsExactly(filmColour);
            assertThat(distinctColours(image[0], image[1], image[2], image[3])).isGreaterThan(100);
        }
        assertThat(seen.get("film.text")).contains("255 pictures, 255 written", "490,496 samples", "h264 (avc1)",
                "720\u00d7576, 25.00 pictures/s", "48000 Hz, 2 channels", "Decoding 2.00 s 128 5.1");
    }

    @Test
    void noNameOfAFileBecomesAnythingElse() {
        assertThat(seen.get("film.heading"))
                .isEqualTo(HOSTILE.replace('\u202e', '\ufffd').replace('\u0007', '\u2407').replace('\ud800', '\ufffd'));
        assertThat(URI.create(seen.get("film.link")).getPath()).isEqualTo(directory.toUri().getPath() + LINK);
    }

    @Test
    void nothingIsLoaded() throws IOException {
        assertThat(seen).containsEntry("film.loaded", "").containsEntry("sound.loaded", "");
        assertThat(Files.readString(directory.resolve("video.html"))).contains("default-src &#x27;none&#x27;")
                .doesNotContain("<script", "://", "url(", "@import");
    }

    @Test
    void aLongFilmHasAsManyThumbnailsEvenlySpread() {
        assertThat(seen).containsEntry("video.parts", "Warnings,Contact sheet,Streams,Timings");
        assertThat(seen.get("video.text")).contains("3 damaged packets of video could not be decoded");
        long[] numbers = Arrays.stream(seen.get("video.numbers").split(",")).mapToLong(Long::parseLong).toArray();
        assertThat(numbers).hasSizeBetween(24, 48)
                .isEqualTo(LongStream.range(0, numbers.length).map(i -> 1 + i * (numbers[1] - 1)).toArray());
    }

    @Test
    void theSoundIsSeen() {
        assertThat(seen).containsEntry("sound.parts", "Warnings,Sound,Streams,Timings").containsEntry("sound.images", "0/0");
        assertThat(seen.get("sound.text")).contains("40,000 samples are at full scale", "Mono 0.0 dBFS \u22123.0 dBFS 40,000");
        int[] drawing = place("sound.svg");
        int half = drawing[2] / 2;
        int row = drawing[1] + 40;
        assertThat(distinctColours(drawing[0] + half / 2, row, half / 4, 1)).isLessThan(4);
        double[] silent = colour(screen, drawing[0] + half / 2, row, half / 4, 1);
        double[] loud = colour(screen, drawing[0] + half + half / 2, row, half / 4, 1);
        double[] mark = colour(screen, drawing[0] + half + half / 2, drawing[1] + 4, half / 4, 1);
        assertThat(silent[0]).isGreaterThan(loud[0] + 50);
        assertThat(mark[0]).isGreaterThan(mark[2] + 50);
    }
}
