package kiv.media.ffmpeg;

import static org.assertj.core.api.Assertions.assertThat;
import static org.assertj.core.api.Assertions.assertThatThrownBy;

import java.io.IOException;
import java.util.Arrays;
import java.util.HexFormat;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.CsvSource;

class WaveFormatTest {

    private static final byte[] NONE = {};

    @Test
    void headersAreWrittenAndRead() {
        assertThat(WaveFormat.pcm16(48000, 2).toBytes())
                .isEqualTo(HexFormat.of().parseHex("0100020080bb000000ee02000400100000" + "00"));
        WaveFormat aac = WaveFormat.of(0xFF, 6, 96000, 40_000, 1, 0, new byte[] {0x10, 0x30});
        assertThat(WaveFormat.parse(aac.toBytes())).isEqualTo(aac).hasSameHashCodeAs(aac)
                .isNotEqualTo(WaveFormat.pcm16(96000, 6));
        assertThat(WaveFormat.parse(aac.toBytes()).specificHeader()).containsExactly(0x10, 0x30);
        byte[] pcm = WaveFormat.pcm16(8000, 1).toBytes();
        assertThat(WaveFormat.parse(Arrays.copyOf(pcm, 16))).isEqualTo(WaveFormat.pcm16(8000, 1));
        assertThat(WaveFormat.parse(Arrays.copyOf(pcm, 14)).bitsPerSample()).isZero();
    }

    @Test
    void impossibleHeadersAreRefused() {
        byte[] good = WaveFormat.of(0x55, 2, 44100, 16_000, 1, 0, new byte[12]).toBytes();
        for (byte[] bad : new byte[][] {NONE, new byte[13], new byte[18], Arrays.copyOf(good, 29)}) {
            assertThatThrownBy(() -> WaveFormat.parse(bad)).isInstanceOf(MediaFormatException.class);
        }
        for (int[] bad : new int[][] {{0, 1, 8000, 0, 0, 0}, {1, 65, 8000, 0, 0, 0}, {1, 1, 0, 0, 0, 0},
            {1, 1, 1_000_001, 0, 0, 0}, {1, 1, 8000, -1, 0, 0}, {1, 1, 8000, 0, 65_536, 0}, {1, 1, 8000, 0, 0, -1}}) {
            assertThatThrownBy(() -> WaveFormat.of(bad[0], bad[1], bad[2], bad[3], bad[4], bad[5], NONE))
                    .isInstanceOf(IllegalArgumentException.class);
        }
        assertThatThrownBy(() -> WaveFormat.of(1, 1, 8000, 0, 0, 0, new byte[65_536]))
                .isInstanceOf(IllegalArgumentException.class);
        assertThatThrownBy(() -> WaveFormat.pcm16(8000, Integer.MAX_VALUE))
                .isInstanceOf(IllegalArgumentException.class);
    }

    @ParameterizedTest
    @CsvSource({
        "65536, 0x1, 0x1",
        // What a container calls MP4's AAC is no tag.
        "86018, 0x6134706d, 0xff",
        "86018, 0x1600, 0x1600",
        // One decoder for the layers of MPEG audio, whichever FFmpeg's reader names.
        "86016, 0x50, 0x50",
        "86059, 0, 0x50",
        "86017, 0x55, 0x55",
        "69633, 0x69, 0x69",
        // A tag that belongs to another codec says nothing about this one.
        "86024, 0x160, 0x161",
    })
    void streamsAreNamedByTheirTagWhereItFitsAndByCodecElsewhere(int codec, String codecTag, String tag) {
        assertThat(WaveFormatTags.find(codec, Integer.decode(codecTag))).hasValue(Integer.decode(tag));
    }

    @Test
    void aStreamTellsItsFormat() throws IOException {
        try (MediaReader reader = MediaReader.open(TestMedia.stream("wma2.asf"))) {
            WaveFormat format = WaveFormat.of(reader.firstAudio().orElseThrow());
            assertThat(format.formatTag()).isEqualTo(WaveFormatTags.WMA2);
            assertThat(format.blockAlign()).isPositive();
            assertThat(format.bytesPerSecond()).isEqualTo(16_000);
            assertThat(format.specificHeader()).hasSize(10);
        }
        for (String name : new String[] {"vorbis.ogg", "flac.flac"}) {
            try (MediaReader reader = MediaReader.open(TestMedia.stream(name))) {
                assertThatThrownBy(() -> WaveFormat.of(reader.firstAudio().orElseThrow()))
                        .isInstanceOf(UnsupportedCodecException.class).hasMessageContaining("audio codec");
            }
        }
        assertThat(WaveFormatTags.find(0, 1)).isEmpty();
        assertThat(WaveFormatTags.all()).hasSize(34).doesNotHaveDuplicates();
    }
}
