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
import java.util.concurrent.TimeUnit;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.Timeout;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.CsvSource;

/** Bytes with which FFmpeg by itself would leave its memory or end the process. */
class HostileBytesTest {

    private static final int WIDTH = 8;
    private static final int HEIGHT = 4;
    private static final String MARK = "\u008cM\u009d\u0010\u008e%\u00e9\u00fe";
    /** Runs of one colour. */
    private static final String FRAME = "\10\7\0\0".repeat(HEIGHT) + "\0\1";

    /** FFmpeg's own note, behind a packet, on how many samples are superfluous. */
    private static byte[] superfluous(int samples) {
        return bytes(samples, 0, "\0\0\0\0\0\12\u00c6", MARK);
    }

    /** Samples that look like a note: less than none. */
    @Test
    void theEndOfAPacketIsSound() {
        byte[] pcm = bytes(new byte[4073], superfluous(0xFFFF_0000));
        try (AudioDecoder decoder = AudioDecoder.open(WaveFormat.pcm16(8000, 1))) {
            assertThat(Sounds.join(decoder.decode(pcm))).isEqualTo(pcm);
        }
    }

    /** FFmpeg would wait for ever for the end of the list of Nikon tags. */
    @Test
    @Timeout(value = 1, unit = TimeUnit.MINUTES, threadMode = Timeout.ThreadMode.SEPARATE_THREAD)
    void openingEndsWhereAListDoesNot() {
        byte[] avi = bytes("RIFF", 0x10000, "AVI LIST", 0x10000, "ncdt");
        assertThatThrownBy(() -> MediaReader.open(new HostileChannel(avi))).isInstanceOf(MediaFormatException.class);
    }

    /** FFmpeg 8.0 would follow a null pointer to the length of the picture. */
    @Test
    void aPictureWithoutBytesDoesNoHarm() throws IOException {
        byte[] avif = Files.readAllBytes(TestMedia.stream("picture.avif"));
        int length = new String(avif, StandardCharsets.ISO_8859_1).indexOf("iloc") + 22;
        Arrays.fill(avif, length, length + 4, (byte) 0);
        try (MediaReader reader = MediaReader.open(new HostileChannel(avif))) {
            assertThat(reader.packets().mapToInt(Packet::size).sum()).isLessThan(2);
        } catch (MediaFormatException e) {
            assertThat(TestMedia.isNewer()).as("FFmpeg 2.8 does not know AVIF").isFalse();
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
        byte[] packet = bytes(FRAME, new byte[28], 0x445566, new byte[8], "\0\0\0\50\u0080", MARK);
        VideoFormat format = VideoFormat.of("00000001-0000-0010-8000-00aa00389b71", WIDTH, HEIGHT, 8,
                bytes(new byte[28], 0x112233, new byte[992]), new Rational(1, 25));
        try (VideoDecoder decoder = VideoDecoder.open(format)) {
            assertThat(decoder.decode(Packet.of(packet, 0, 0, 0, true))).singleElement()
                    .extracting(picture -> picture.toArgb()[0]).isEqualTo(0xFF112233);
        }
    }

    /** An AVI's subtitles may be a file of their own, of any kind, which nobody has looked at. */
    @Test
    void subtitlesAreNoFileOfTheirOwn() throws IOException {
        String subtitles = "1\n00:00:00,000 --> 00:00:01,000\nnested\n\n2\n00:00:01,000 --> 00:00:02,000\nagain\n\n";
        byte[] avi = avi(bytes("txts", new byte[16], 1, 25, new byte[28]), bytes(0), chunk("LIST", "movi",
                chunk("00tx", "GAB2\0\2\0", 0, "\4\0", subtitles.length(), subtitles)));
        try (MediaReader reader = MediaReader.open(new HostileChannel(avi))) {
            reader.packets().forEach(packet -> assertThat(packet.streamIndex()).isZero());
            assertThat(reader.streams().get(0).codecName()).isNotEqualTo("subrip");
        }
    }

    /** Sound within DV pictures, which has no header of the AVI's: FFmpeg seeks in such files in another way. */
    @Test
    void dvWithSoundCanBeSought() throws IOException {
        byte[] frame = Arrays.copyOf(Files.readAllBytes(TestMedia.stream("dv_pal.dv")), 144_000);
        ByteBuffer.wrap(frame).put(4323, new byte[] {0x50, 0, 0, 0, 0}); // what a frame says of its sound
        byte[] avi = avi(bytes("iavsdvsd", new byte[12], 1, 25, new byte[28]), new byte[32],
                chunk("LIST", "movi", chunk("00dc", frame), chunk("00dc", frame)));
        try (MediaReader reader = MediaReader.open(new HostileChannel(avi))) {
            assertThat(reader.streams()).hasSize(2);
            reader.seek(Duration.ZERO);
            assertThat(reader.read()).isNotNull();
        }
    }

    /** The frame's end says, where FFmpeg decodes one to know the stream, that far fewer samples than none are superfluous. */
    @Test
    void streamsAreExaminedWithoutHarm() throws IOException {
        byte[] aac = Files.readAllBytes(TestMedia.stream("aac.aac"));
        int frame = (aac[3] & 3) << 11 | (aac[4] & 0xFF) << 3 | (aac[5] & 0xFF) >> 5;
        int size = frame + 23;
        byte[] bytes = bytes(Arrays.copyOf(aac, frame), superfluous(-100_000_000), Arrays.copyOfRange(aac, frame, aac.length));
        ByteBuffer.wrap(bytes).put(3, (byte) (aac[3] & 0xFC | size >> 11)).put(4, (byte) (size >> 3))
                .put(5, (byte) (aac[5] & 31 | size << 5));
        try (MediaReader reader = MediaReader.open(new HostileChannel(bytes))) {
            assertThat(reader.read().size()).isEqualTo(size);
        }
    }

    /** The same in a FLV that does not say which streams it has. */
    @Test
    void streamsThatShowUpLateAreExaminedWithoutHarm() throws IOException {
        try (MediaReader song = MediaReader.open(TestMedia.stream("aac.m4a"))) {
            byte[] flv = bytes("FLV\1\0\0\0\0\11", new byte[4], tag("\u00af\0", song.streams().get(0).extradata()));
            for (Packet packet : song.packets().limit(4).toList()) {
                flv = bytes(flv, tag("\u00af\1", packet.bytes(), superfluous(-100_000_000)));
            }
            try (MediaReader reader = MediaReader.open(new HostileChannel(flv))) {
                assertThat(reader.streams()).singleElement().extracting(MediaStream::codecName).isEqualTo("aac");
                assertThat(reader.packets().count()).isEqualTo(4);
            }
        }
    }

    private static byte[] tag(Object... parts) {
        byte[] content = bytes(parts);
        return bytes("\10\0" + (char) (content.length >> 8) + (char) (content.length & 0xFF), new byte[7], content,
                Integer.reverseBytes(content.length + 11));
    }

    /** A parser that never returns, an index that is sought where there is none, a buffer that is too small. */
    @ParameterizedTest
    @CsvSource({"S_DVBSUB, 1, 66000, true", ", 17, 9, false", "A_REAL/28_8, 2, 66000, true"})
    void tracksOfMatroskaDoNoHarm(String codec, int type, int size, boolean seekable) throws IOException {
        byte[] codecId = codec == null ? new byte[0] : element(0x86, codec);
        byte[] real = bytes(new byte[24], "\0\0\17\u00a0", new byte[12], "\0\2\0\20\0\20", new byte[150]);
        byte[] sound = element(0xE1, element(0x9F, "\2"), element(0x6264, "\20"));
        byte[] film = bytes(element(0x1A45DFA3, element(0x4282, "matroska")), element(0x18538067, element(0x1654AE6B,
                element(0xAE, element(0xD7, "\1"), element(0x83, "\2"), element(0x86, "A_PCM/INT/LIT"), sound),
                element(0xAE, element(0xD7, "\2"), element(0x83, "" + (char) type), codecId, element(0x63A2, real))),
                element(0x1C53BB6B, element(0xBB, element(0xB3, "\0"), element(0xB7, element(0xF7, "\1"), element(0xF1, "\0")))),
                element(0x1F43B675, element(0xE7, "\0"), element(0xA3, "\u0081\0\0\u0080", new byte[400]),
                        element(0xA3, "\u0082\0\0\u0080 ", new byte[size]))));
        if (TestMedia.isNewer() && codec != null && codec.startsWith("A_REAL")) {
            assertThatThrownBy(() -> MediaReader.open(new HostileChannel(film))).isInstanceOf(MediaFormatException.class);
            return;
        }
        try (MediaReader reader = MediaReader.open(new HostileChannel(film))) {
            MediaStream pcm = reader.firstAudio().orElseThrow();
            assertThat(reader.packets().filter(packet -> packet.streamIndex() == pcm.index())).hasSize(1);
            if (seekable || TestMedia.isNewer()) {
                reader.seek(pcm, 0);
            } else {
                assertThatThrownBy(() -> reader.seek(pcm, 0)).hasMessageContaining("a track of subtitles has no codec");
            }
        }
    }

    /** A track of an MP4 that claims to have many samples. */
    @Test
    void announcedSamplesNeedMemoryWithinTheLimit() throws IOException {
        byte[] film = Files.readAllBytes(TestMedia.stream("h264_aac.mp4"));
        int samples = new String(film, StandardCharsets.ISO_8859_1).indexOf("stsz") + 8;
        ByteBuffer.wrap(film).putInt(samples, 1).putInt(samples + 4, 100_000);
        FfmpegLibrary.limitAllocations(1 << 20);
        try (MediaReader reader = MediaReader.open(new HostileChannel(film))) {
            assertThat(reader.packets()).isNotEmpty().noneMatch(packet -> packet.streamIndex() == 0);
        } finally {
            FfmpegLibrary.limitAllocations(FfmpegLibrary.USUAL_ALLOCATION_LIMIT);
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
        } catch (WorkerException e) {
            // FFmpeg 2.8 tries to, and a worker ends with the attempt.
            assertThat(e.reason()).isEqualTo(WorkerException.Reason.FORBIDDEN);
            assertThat(TestMedia.isNewer()).isFalse();
        }
    }

    /** Two pictures in runs of one colour; another palette is between them. */
    private static byte[] paletteFilm(long scale, long rate) {
        byte[] frame = chunk("00dc", FRAME);
        return avi(bytes("vids", new byte[16], (int) scale, (int) rate, 0, 2, new byte[20]),
                bytes(40, WIDTH, HEIGHT, "\1\0\10\0", 1, new byte[20 + 28], 0x112233, new byte[992]),
                chunk("LIST", "movi", frame, chunk("00pc", "\7\1\0\0", 0x665544), frame),
                chunk("idx1", "00dc", 16, 4, 18, "00dc", 16, 46, 18));
    }

    private static byte[] avi(byte[] header, byte[] format, byte[]... rest) {
        return chunk("RIFF", "AVI ", chunk("LIST", "hdrl", chunk("avih", new byte[56]),
                chunk("LIST", "strl", chunk("strh", header), chunk("strf", format))), bytes((Object[]) rest));
    }

    /** Numbers, whose low bytes come first, texts of a byte for each character, and bytes. */
    private static byte[] bytes(Object... parts) {
        ByteBuffer all = ByteBuffer.allocate(1 << 20).order(ByteOrder.LITTLE_ENDIAN);
        for (Object part : parts) {
            if (part instanceof Integer number) {
                all.putInt(number);
            } else {
                all.put(part instanceof String text ? text.getBytes(StandardCharsets.ISO_8859_1) : (byte[]) part);
            }
        }
        return Arrays.copyOf(all.array(), all.position());
    }

    /** A chunk; one that holds others begins with what it is a list of. */
    private static byte[] chunk(String name, Object... parts) {
        byte[] content = bytes(parts);
        return bytes(name, content.length, content);
    }

    /** An element of a Matroska file. */
    private static byte[] element(int id, Object... parts) {
        byte[] content = bytes(parts);
        ByteBuffer head = ByteBuffer.allocate(12).putInt(id).putLong(1L << 56 | content.length);
        return bytes(Arrays.copyOfRange(head.array(), Integer.numberOfLeadingZeros(id) / 8, 12), content);
    }
}
