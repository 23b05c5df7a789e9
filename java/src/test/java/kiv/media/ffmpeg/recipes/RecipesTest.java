package kiv.media.ffmpeg.recipes;

import static org.assertj.core.api.Assertions.assertThat;

import java.awt.image.BufferedImage;
import java.io.ByteArrayOutputStream;
import java.io.IOException;
import java.io.UncheckedIOException;
import java.lang.reflect.Proxy;
import java.nio.file.Files;
import java.nio.file.Path;
import java.time.Duration;
import java.util.ArrayList;
import java.util.List;
import java.util.Map;
import java.util.function.Consumer;
import java.util.regex.Pattern;
import java.util.stream.Collectors;
import javax.imageio.ImageIO;
import javax.sound.sampled.AudioInputStream;
import javax.sound.sampled.LineUnavailableException;
import javax.sound.sampled.SourceDataLine;
import kiv.media.ffmpeg.AudioBlock;
import kiv.media.ffmpeg.AudioContainer;
import kiv.media.ffmpeg.AudioDecoder;
import kiv.media.ffmpeg.AudioFileWriter;
import kiv.media.ffmpeg.MediaAudio;
import kiv.media.ffmpeg.MediaReader;
import kiv.media.ffmpeg.MediaSubtypes;
import kiv.media.ffmpeg.Packet;
import kiv.media.ffmpeg.Picture;
import kiv.media.ffmpeg.Rational;
import kiv.media.ffmpeg.TestMedia;
import kiv.media.ffmpeg.VideoDecoder;
import kiv.media.ffmpeg.VideoFormat;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;

/** The recipes of the API's package page: that they work, and that the page shows them as they are here. */
class RecipesTest {

    @TempDir
    private Path directory;

    static void thumbnails(Path film, Path directory, int count) throws IOException {
        try (MediaReader reader = MediaReader.open(film);
                VideoDecoder decoder = VideoDecoder.open(reader.firstVideo().orElseThrow())) {
            Duration step = reader.duration().orElseThrow().dividedBy(count);
            for (int i = 0; i < count; i++) {
                reader.seek(step.multipliedBy(i));
                decoder.reset();
                try (Picture picture = decoder.pictures(reader).findFirst().orElseThrow()) {
                    ImageIO.write(picture.toBufferedImage(160, 120), "png", directory.resolve(i + ".png").toFile());
                }
            }
        }
    }

    static void soundToWav(Path medium, Path wav) throws IOException {
        try (MediaReader reader = MediaReader.open(medium);
                AudioDecoder decoder = AudioDecoder.open(reader.firstAudio().orElseThrow());
                AudioFileWriter file = AudioFileWriter.create(wav, decoder.pcmFormat(), AudioContainer.WAV)) {
            for (AudioBlock block : (Iterable<AudioBlock>) decoder.blocks(reader)::iterator) {
                file.write(block);
            }
            file.finish();
        }
    }

    static void rawH264(Iterable<byte[]> units, Consumer<BufferedImage> screen) {
        VideoFormat format = VideoFormat.of(MediaSubtypes.H264_ANNEX_B, 320, 240, 0, new byte[0], new Rational(1, 25));
        try (VideoDecoder decoder = VideoDecoder.open(format)) {
            for (byte[] unit : units) {
                Packet packet = Packet.of(unit, 0, Packet.NO_TIME, Packet.NO_TIME, false);
                decoder.decode(packet).forEach(picture -> show(picture, screen));
            }
            decoder.finish().forEach(picture -> show(picture, screen));
        }
    }

    static void show(Picture picture, Consumer<BufferedImage> screen) {
        try (picture) {
            screen.accept(picture.toBufferedImage());
        }
    }

    static void play(Path song, SourceDataLine line) throws IOException, LineUnavailableException {
        try (line; AudioInputStream sound = MediaAudio.open(song)) {
            line.open(sound.getFormat());
            line.start();
            byte[] piece = new byte[1 << 16];
            for (int size = sound.read(piece); size > 0; size = sound.read(piece)) {
                line.write(piece, 0, size);
            }
            line.drain();
        }
    }

    static Map<Path, Duration> lengths(List<Path> files) {
        return files.parallelStream().collect(Collectors.toConcurrentMap(file -> file, file -> {
            try (MediaReader reader = MediaReader.open(file);
                    AudioDecoder decoder = AudioDecoder.open(reader.firstAudio().orElseThrow())) {
                return decoder.blocks(reader).map(AudioBlock::duration).reduce(Duration.ZERO, Duration::plus);
            } catch (IOException e) {
                throw new UncheckedIOException(e);
            }
        }));
    }

    @Test
    void picturesAreMade() throws IOException {
        thumbnails(TestMedia.film(), directory, 3);
        assertThat(directory.toFile().list()).containsExactlyInAnyOrder("0.png", "1.png", "2.png");
        assertThat(Files.readAllBytes(directory.resolve("2.png")))
                .isNotEqualTo(Files.readAllBytes(directory.resolve("0.png")));
        List<BufferedImage> shown = new ArrayList<>();
        try (MediaReader reader = MediaReader.open(TestMedia.stream("h264_320x240.h264"))) {
            rawH264(reader.packets().map(Packet::data).map(data -> {
                byte[] unit = new byte[data.remaining()];
                data.get(unit);
                return unit;
            }).toList(), shown::add);
            assertThat(shown).isNotEmpty().allMatch(image -> image.getWidth() == 320);
        }
    }

    @Test
    void soundIsWrittenPlayedAndMeasured() throws Exception {
        Path song = TestMedia.stream("mp3.mp3");
        Path wav = directory.resolve("song.wav");
        soundToWav(song, wav);
        ByteArrayOutputStream heard = new ByteArrayOutputStream();
        play(song, (SourceDataLine) Proxy.newProxyInstance(null, new Class<?>[] {SourceDataLine.class},
                (line, method, arguments) -> {
                    if (method.getName().equals("write")) {
                        heard.write((byte[]) arguments[0], (int) arguments[1], (int) arguments[2]);
                        return arguments[2];
                    }
                    return null;
                }));
        assertThat(Files.size(wav)).isEqualTo(44 + heard.size()).isGreaterThan(100_000);
        assertThat(lengths(List.of(song, wav)).values()).hasSize(2)
                .allMatch(length -> length.toMillis() == heard.size() / 4 * 1000L / 44100);
    }

    @Test
    void thePageShowsTheRecipesAsTheyAreHere() throws IOException {
        String sources = "java/kiv/media/ffmpeg/";
        String page = withoutIndent(Files.readString(Path.of("src/main", sources, "package-info.java")));
        String here = withoutIndent(Files.readString(Path.of("src/test", sources, "recipes/RecipesTest.java")));
        List<String> recipes = Pattern.compile("<pre>\\{@code\\n(.*?\\n)}</pre>", Pattern.DOTALL).matcher(page)
                .results().map(recipe -> recipe.group(1)).toList();
        assertThat(recipes).hasSize(5).allMatch(here::contains);
    }

    private static String withoutIndent(String source) {
        return source.lines().map(line -> line.replaceFirst("^( \\*)? *", "")).collect(Collectors.joining("\n"));
    }
}
