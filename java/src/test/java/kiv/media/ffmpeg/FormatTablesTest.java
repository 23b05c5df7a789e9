package kiv.media.ffmpeg;

import static kiv.media.ffmpeg.Refusals.refused;
import static org.assertj.core.api.Assertions.assertThat;

import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.HexFormat;
import java.util.List;
import java.util.Map;
import java.util.stream.IntStream;
import kiv.media.ffmpeg.headers.WaveFileHeader;
import kiv.media.ffmpeg.natives.AudioFormatLayout;
import org.junit.jupiter.api.Test;

/** Headers of sound, and every row of the tables, of which native code has its own: the codec and its decoder. */
class FormatTablesTest {

    @Test
    void everyTagIsTheOneOfItsCodecAndNativeCodeKnowsNoOther() throws IOException {
        // Tags that FFmpeg's readers do not know, or mean otherwise: DTS, G.722, VoxWare, AAC.
        Map<Integer, Integer> own = Map.of(0x08, 86_020, 0x65, 69_660, 0x75, 86_048, 0x1602, 86_018, 0x1610, 86_018);
        for (int tag : WaveFormatTags.all()) {
            int codec = own.containsKey(tag) ? own.get(tag) : codecOfWave(tag);
            assertThat(WaveFormatTags.find(codec, tag)).as("0x%04x, codec %d", tag, codec).hasValue(tag);
        }
        assertThat(IntStream.rangeClosed(0, 0xFFFF).filter(FormatTablesTest::isKnown).boxed().toList())
                .isEqualTo(WaveFormatTags.all());
    }

    /** What FFmpeg's reader says of a file with the tag. */
    private static int codecOfWave(int tag) throws IOException {
        int bits = tag == WaveFormatTags.FLOAT ? Float.SIZE : Short.SIZE;
        WaveFormat format = WaveFormat.of(tag, 1, 8000, 8000, 32, bits, new byte[0]);
        byte[] header = new WaveFileHeader(format.toBytes()).toBytes(4096, 0);
        try (MediaReader reader = MediaReader.open(new HostileChannel(Arrays.copyOf(header, header.length + 4096)))) {
            return reader.streams().get(0).codecId();
        }
    }

    private static boolean isKnown(int tag) {
        int[] format = new int[AudioFormatLayout.SIZE];
        format[AudioFormatLayout.FORMAT_TAG] = tag;
        try {
            long codec = c_multimediaapi_ffmpeg.n_create_acodec_to_pcm(FfmpegLibrary.context(), format, null);
            if (codec != 0) {
                c_multimediaapi_ffmpeg.n_acodec_delete(codec);
            }
            return true;
        } catch (RuntimeException e) {
            return !e.getMessage().contains("no decoder found for id=0 ");
        }
    }

    private static String find(int codec, String code, String extradata) {
        byte[] bytes = extradata.getBytes(StandardCharsets.ISO_8859_1);
        return MediaSubtypes.find(codec, FourCharacterCode.of(code), bytes).orElse("none");
    }

    @Test
    void streamsAreNamedByCodeWhereItFitsAndByCodecElsewhere() {
        assertThat(find(13, "DX50", "")).isEqualTo("30355844-0000-0010-8000-00aa00389b71");
        assertThat(find(13, "XVID", "")).isEqualTo("5634504d-0000-0010-8000-00aa00389b71");
        assertThat(find(5, "s263", "")).isEqualTo("33363248-0000-0010-8000-00aa00389b71");
        // A code that belongs to another codec says nothing about this one.
        assertThat(find(18, "WMV3", "")).isEqualTo("31564d57-0000-0010-8000-00aa00389b71");
        assertThat(find(140, "VP80", "")).isEqualTo("none");
        // The other rows, by FFmpeg's numbers of the codecs. H.264 has three, MPEG-1 and H.263 have some without a code.
        List<String> found = new ArrayList<>(List.of(MediaSubtypes.H264_AVC1, MediaSubtypes.H264_ANNEX_B,
                MediaSubtypes.of(FourCharacterCode.of("VSSH")), "e436eb80-524f-11ce-9f53-0020af0ba770",
                "68323633-767a-494d-b478-f29d25dc9037", find(1, "none", ""), find(2, "none", "")));
        for (String row : List.of("1 MPG1", "5 H263", "13 MP4V", "13 M4S2", "13 DX50", "16 MP42", "17 MP43", "18 WMV1",
                "19 WMV2", "25 dvsd", "29 IV32", "44 cvid", "46 \1\0\0\0", "72 WMV3")) {
            String code = row.substring(row.indexOf(' ') + 1);
            found.add(find(Integer.parseInt(row.substring(0, row.indexOf(' '))), code, ""));
            assertThat(found.get(found.size() - 1)).isEqualTo(MediaSubtypes.of(FourCharacterCode.of(code)));
        }
        assertThat(MediaSubtypes.all()).containsExactlyInAnyOrderElementsOf(found);
        // H.264 goes by its extradata, whatever its code.
        assertThat(find(28, "H264", "\1M\0\36")).isEqualTo(MediaSubtypes.H264_AVC1);
        assertThat(find(28, "avc1", "\0\0\0\1g")).isEqualTo(MediaSubtypes.H264_ANNEX_B);
        assertThat(find(28, "avc1", "")).isEqualTo(MediaSubtypes.H264_ANNEX_B);
    }

    @Test
    void codesAreReadableWhereTheyCanBe() {
        assertThat(FourCharacterCode.toText(0x31637661)).isEqualTo("avc1");
        assertThat(FourCharacterCode.toText(0x55)).isEqualTo("0x00000055");
        refused(IllegalArgumentException.class, "", () -> FourCharacterCode.of("abc"),
                () -> FourCharacterCode.of("ab\u20acd"));
    }

    @Test
    void headersAreWrittenAndRead() {
        assertThat(WaveFormat.pcm16(48000, 2).toBytes())
                .isEqualTo(HexFormat.of().parseHex("0100020080bb000000ee02000400100000" + "00"));
        WaveFormat aac = WaveFormat.of(0xFF, 6, 96000, 40_000, 1, 0, new byte[] {0x10, 0x30});
        assertThat(WaveFormat.parse(aac.toBytes())).isEqualTo(aac).hasSameHashCodeAs(aac)
                .isNotEqualTo(WaveFormat.pcm16(96000, 6));
        WaveFormat large = WaveFormat.of(0xFFFE, 64, 8000, 0, 65_535, 65_535, new byte[40_000]);
        assertThat(WaveFormat.parse(large.toBytes())).isEqualTo(large);
        byte[] pcm = WaveFormat.pcm16(8000, 1).toBytes();
        assertThat(WaveFormat.parse(Arrays.copyOf(pcm, 16))).isEqualTo(WaveFormat.pcm16(8000, 1));
        assertThat(WaveFormat.parse(Arrays.copyOf(pcm, 14)).bitsPerSample()).isZero();
    }

    @Test
    void impossibleHeadersAreRefused() {
        byte[] good = WaveFormat.of(0x55, 2, 44100, 16_000, 1, 0, new byte[12]).toBytes();
        for (byte[] bad : List.of(new byte[0], new byte[13], new byte[18], Arrays.copyOf(good, 29))) {
            refused(MediaFormatException.class, "", () -> WaveFormat.parse(bad));
        }
        for (int[] bad : new int[][] {{0, 1, 8000, 0, 0, 0, 0}, {1, 65, 8000, 0, 0, 0, 0}, {1, 1, 0, 0, 0, 0, 0},
            {1, 1, 1_000_001, 0, 0, 0, 0}, {1, 1, 8000, -1, 0, 0, 0}, {1, 1, 8000, 0, 65_536, 0, 0},
            {1, 1, 8000, 0, 0, -1, 0}, {1, 1, 8000, 0, 0, 0, 65_536}}) {
            refused(IllegalArgumentException.class, "",
                    () -> WaveFormat.of(bad[0], bad[1], bad[2], bad[3], bad[4], bad[5], new byte[bad[6]]));
        }
        refused(IllegalArgumentException.class, "", () -> WaveFormat.pcm16(8000, Integer.MAX_VALUE));
    }

    /** A tag that belongs to another codec says nothing about this one, nor does what MP4 calls AAC. */
    @Test
    void codecsHaveTheirOwnTags() {
        assertThat(WaveFormatTags.find(86024, WaveFormatTags.WMA1)).hasValue(WaveFormatTags.WMA2);
        assertThat(WaveFormatTags.find(86018, 0x6134706d)).hasValue(WaveFormatTags.AAC);
        assertThat(WaveFormatTags.find(86018, WaveFormatTags.AAC_ADTS)).hasValue(WaveFormatTags.AAC_ADTS);
        assertThat(WaveFormatTags.find(0, 1)).isEmpty();
    }
}
