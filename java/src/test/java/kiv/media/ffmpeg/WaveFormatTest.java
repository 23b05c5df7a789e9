package kiv.media.ffmpeg;

import static org.assertj.core.api.Assertions.assertThat;
import static org.assertj.core.api.Assertions.assertThatThrownBy;

import java.util.Arrays;
import java.util.HexFormat;
import java.util.List;
import org.junit.jupiter.api.Test;

class WaveFormatTest {

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
            assertThatThrownBy(() -> WaveFormat.parse(bad)).isInstanceOf(MediaFormatException.class);
        }
        for (int[] bad : new int[][] {{0, 1, 8000, 0, 0, 0, 0}, {1, 65, 8000, 0, 0, 0, 0}, {1, 1, 0, 0, 0, 0, 0},
            {1, 1, 1_000_001, 0, 0, 0, 0}, {1, 1, 8000, -1, 0, 0, 0}, {1, 1, 8000, 0, 65_536, 0, 0},
            {1, 1, 8000, 0, 0, -1, 0}, {1, 1, 8000, 0, 0, 0, 65_536}}) {
            assertThatThrownBy(() -> WaveFormat.of(bad[0], bad[1], bad[2], bad[3], bad[4], bad[5], new byte[bad[6]]))
                    .isInstanceOf(IllegalArgumentException.class);
        }
        assertThatThrownBy(() -> WaveFormat.pcm16(8000, Integer.MAX_VALUE))
                .isInstanceOf(IllegalArgumentException.class);
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
