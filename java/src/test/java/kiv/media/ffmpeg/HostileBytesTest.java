package kiv.media.ffmpeg;

import static org.assertj.core.api.Assertions.assertThat;
import static org.assertj.core.api.Assertions.assertThatThrownBy;

import java.io.IOException;
import java.nio.ByteBuffer;
import java.nio.ByteOrder;
import java.nio.charset.StandardCharsets;
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
