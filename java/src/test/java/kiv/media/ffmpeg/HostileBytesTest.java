package kiv.media.ffmpeg;

import static org.assertj.core.api.Assertions.assertThat;
import static org.assertj.core.api.Assertions.assertThatThrownBy;

import java.io.IOException;
import java.nio.ByteBuffer;
import java.nio.ByteOrder;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.time.Duration;
import java.util.Arrays;
import java.util.List;
import java.util.Random;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.CsvSource;

/** Bytes with which FFmpeg by itself would leave its memory or end the process. */
class HostileBytesTest {

    private static final int WIDTH = 8;
    private static final int HEIGHT = 4;
    private static final byte[] MARK = {(byte) 0x8C, 0x4D, (byte) 0x9D, 0x10, (byte) 0x8E, 0x25, (byte) 0xE9, (byte) 0xFE};

    private final ByteBuffer avi = ByteBuffer.allocate(9000).order(ByteOrder.LITTLE_ENDIAN);

    /** Samples that look like FFmpeg's own note on how many samples are superfluous: less than none. */
    @Test
    void theEndOfAPacketIsSound() {
        byte[] pcm = new byte[4096];
        new Random(2).nextBytes(pcm);
        ByteBuffer.wrap(pcm, pcm.length - 23, 23).order(ByteOrder.LITTLE_ENDIAN).putInt(0xFFFF_0000).putInt(0)
                .putShort((short) 0).order(ByteOrder.BIG_ENDIAN).putInt(10).put((byte) (0x80 | 70)).put(MARK);
        try (AudioDecoder decoder = AudioDecoder.open(WaveFormat.pcm16(8000, 1))) {
            assertThat(Sounds.join(decoder.decode(pcm))).isEqualTo(pcm);
        }
    }

    @ParameterizedTest
    @CsvSource({"1, 25, true", "1, 3000000000, false", "3000000000, 1, false", "1, 4294967295, false"})
    void placesAreSoughtInUnitsOfTimeThatArePossible(long scale, long rate, boolean possible) throws IOException {
        try (MediaReader reader = MediaReader.open(new HostileChannel(paletteFilm(scale, rate)))) {
            if (possible) {
                reader.seek(Duration.ZERO);
                assertThat(reader.packets().count()).isEqualTo(2);
            } else {
                assertThatThrownBy(() -> reader.seek(Duration.ZERO)).isInstanceOf(MediaFormatException.class);
            }
        }
    }

    @Test
    void coloursOfAPaletteChange() throws IOException {
        try (MediaReader reader = MediaReader.open(new HostileChannel(paletteFilm(1, 25)));
                VideoDecoder decoder = VideoDecoder.open(reader.firstVideo().orElseThrow())) {
            List<Picture> pictures = decoder.pictures(reader).toList();
            assertThat(pictures).extracting(picture -> picture.toArgb()[WIDTH * HEIGHT - 1])
                    .containsExactly(0xFF112233, 0xFF445566);
        }
    }

    /** FFmpeg's decoder would take a whole palette out of the 40 bytes that the packet claims to have of it. */
    @Test
    void anIncompletePaletteIsNone() {
        frame();
        int runs = 4 * HEIGHT + 2;
        byte[] packet = Arrays.copyOfRange(avi.array(), 8, 8 + runs + 40 + 5 + MARK.length);
        ByteBuffer.wrap(packet).order(ByteOrder.LITTLE_ENDIAN).putInt(runs + 4 * 7, 0x445566).position(runs + 40)
                .order(ByteOrder.BIG_ENDIAN).putInt(40).put((byte) 0x80).put(MARK);
        byte[] palette = new byte[1024];
        ByteBuffer.wrap(palette).order(ByteOrder.LITTLE_ENDIAN).putInt(4 * 7, 0x112233);
        VideoFormat format = VideoFormat.of("00000001-0000-0010-8000-00aa00389b71", WIDTH, HEIGHT, 8, palette,
                new Rational(1, 25));
        try (VideoDecoder decoder = VideoDecoder.open(format)) {
            assertThat(decoder.decode(Packet.of(packet, 0, 0, 0, true))).singleElement()
                    .extracting(picture -> picture.toArgb()[0]).isEqualTo(0xFF112233);
        }
    }

    /** An AVI's subtitles may be a file of their own, of any kind, which nobody has looked at. */
    @Test
    void subtitlesAreNoFileOfTheirOwn() throws IOException {
        int riff = list("RIFF", "AVI ");
        int headers = list("LIST", "hdrl");
        chunk("avih", 56).position(avi.position() + 56);
        int stream = list("LIST", "strl");
        chunk("strh", 56).put("txts".getBytes(StandardCharsets.US_ASCII)).position(avi.position() + 16);
        avi.putInt(1).putInt(25).position(avi.position() + 28);
        chunk("strf", 4).putInt(0);
        end(stream);
        end(headers);
        int movie = list("LIST", "movi");
        byte[] subtitles = "1\n00:00:00,000 --> 00:00:01,000\nnested\n\n2\n00:00:01,000 --> 00:00:02,000\nagain\n\n"
                .getBytes(StandardCharsets.US_ASCII);
        chunk("00tx", 17 + subtitles.length).put("GAB2\0".getBytes(StandardCharsets.US_ASCII)).putShort((short) 2).putInt(0)
                .putShort((short) 4).putInt(subtitles.length).put(subtitles);
        end(movie);
        end(riff);
        try (MediaReader reader = MediaReader.open(new HostileChannel(Arrays.copyOf(avi.array(), avi.position())))) {
            reader.packets().forEach(packet -> assertThat(packet.streamIndex()).isZero());
            assertThat(reader.streams().get(0).codecName()).isNotEqualTo("subrip");
        }
    }

    /** The frame's end says, where FFmpeg decodes one to know the stream, that far fewer samples than none are superfluous. */
    @Test
    void streamsAreExaminedWithoutHarm() throws IOException {
        byte[] aac = Files.readAllBytes(TestMedia.stream("aac.aac"));
        int frame = (aac[3] & 3) << 11 | (aac[4] & 0xFF) << 3 | (aac[5] & 0xFF) >> 5;
        int size = frame + 23;
        ByteBuffer bytes = ByteBuffer.allocate(aac.length + 23).put(aac, 0, frame).order(ByteOrder.LITTLE_ENDIAN)
                .putInt(-100_000_000).putInt(0).putShort((short) 0).order(ByteOrder.BIG_ENDIAN).putInt(10)
                .put((byte) (0x80 | 70)).put(MARK).put(aac, frame, aac.length - frame);
        bytes.put(3, (byte) (aac[3] & 0xFC | size >> 11)).put(4, (byte) (size >> 3)).put(5, (byte) (aac[5] & 31 | size << 5));
        try (MediaReader reader = MediaReader.open(new HostileChannel(bytes.array()))) {
            assertThat(reader.read().size()).isEqualTo(size);
        }
    }

    /** A track of a MOV may name the file that it is in, beside the MOV, which would be the working directory. */
    @Test
    void noOtherFileIsOpened() throws IOException {
        byte[] mov = Files.readAllBytes(TestMedia.stream("h264_aac.mov"));
        Path other = Files.write(Path.of("target", "other.mov").toAbsolutePath(), new byte[mov.length]);
        byte[] path = other.toString().getBytes(StandardCharsets.US_ASCII);
        String text = new String(mov, StandardCharsets.ISO_8859_1);
        int entry = text.indexOf("dref") + 12;
        int added = 162 + 4 + path.length - 12;
        ByteBuffer bytes = ByteBuffer.allocate(mov.length + added).put(mov).position(entry);
        bytes.putInt(12 + added).put("alis".getBytes(StandardCharsets.US_ASCII)).putInt(0).position(entry + 12 + 130);
        bytes.putShort((short) 1).putShort((short) 2).position(entry + 162);
        bytes.putShort((short) 2).putShort((short) path.length).put(path).put(mov, entry + 12, mov.length - entry - 12);
        for (String box : List.of("moov", "trak", "mdia", "minf", "dinf", "dref")) {
            int at = text.lastIndexOf(box, entry) - 4;
            bytes.putInt(at, bytes.getInt(at) + added);
        }
        try (MediaReader reader = MediaReader.open(new HostileChannel(bytes.array()))) {
            assertThat(reader.packets()).isNotEmpty().noneMatch(packet -> packet.streamIndex() == 0);
        }
    }

    /** Two pictures in runs of one colour; another palette is between them. */
    private byte[] paletteFilm(long scale, long rate) {
        int riff = list("RIFF", "AVI ");
        int headers = list("LIST", "hdrl");
        chunk("avih", 56).position(avi.position() + 56);
        int stream = list("LIST", "strl");
        chunk("strh", 56).put("vids".getBytes(StandardCharsets.US_ASCII)).position(avi.position() + 16);
        avi.putInt((int) scale).putInt((int) rate).putInt(0).putInt(2).position(avi.position() + 20);
        chunk("strf", 40 + 1024).putInt(40).putInt(WIDTH).putInt(HEIGHT).putShort((short) 1).putShort((short) 8).putInt(1)
                .position(avi.position() + 20);
        avi.putInt(avi.position() + 4 * 7, 0x112233).position(avi.position() + 1024);
        end(stream);
        end(headers);
        int movie = list("LIST", "movi");
        frame();
        chunk("00pc", 8).put((byte) 7).put((byte) 1).putShort((short) 0).put(new byte[] {0x44, 0x55, 0x66, 0});
        frame();
        end(movie);
        chunk("idx1", 32);
        for (int i = 0; i < 2; i++) {
            avi.put("00dc".getBytes(StandardCharsets.US_ASCII)).putInt(16).putInt(4 + i * (8 + 18 + 16)).putInt(18);
        }
        end(riff);
        return Arrays.copyOf(avi.array(), avi.position());
    }

    private void frame() {
        chunk("00dc", 4 * HEIGHT + 2);
        for (int line = 0; line < HEIGHT; line++) {
            avi.put(new byte[] {WIDTH, 7, 0, 0});
        }
        avi.put(new byte[] {0, 1});
    }

    private ByteBuffer chunk(String name, int size) {
        return avi.put(name.getBytes(StandardCharsets.US_ASCII)).putInt(size);
    }

    private int list(String name, String kind) {
        chunk(name, 0).put(kind.getBytes(StandardCharsets.US_ASCII));
        return avi.position();
    }

    private void end(int list) {
        avi.putInt(list - 8, avi.position() - list + 4);
    }
}
