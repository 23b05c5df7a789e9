package kiv.media.ffmpeg;

import static org.assertj.core.api.Assertions.assertThat;
import static org.assertj.core.api.Assertions.assertThatThrownBy;

import java.nio.charset.StandardCharsets;
import org.junit.jupiter.api.Test;

class MediaSubtypesTest {

    private static String find(int codec, String code, String extradata) {
        byte[] bytes = extradata.getBytes(StandardCharsets.ISO_8859_1);
        return MediaSubtypes.find(codec, FourCharacterCode.of(code), bytes).orElse("none");
    }

    @Test
    void streamsAreNamedByCodeWhereItFitsAndByCodecElsewhere() {
        assertThat(find(13, "DX50", "")).isEqualTo("30355844-0000-0010-8000-00aa00389b71");
        assertThat(find(13, "XVID", "")).isEqualTo("5634504d-0000-0010-8000-00aa00389b71");
        assertThat(find(5, "s263", "")).isEqualTo("33363248-0000-0010-8000-00aa00389b71");
        assertThat(find(46, "\1\0\0\0", "")).as("a number for a code").isEqualTo("00000001-0000-0010-8000-00aa00389b71");
        // A code that belongs to another codec says nothing about this one.
        assertThat(find(18, "WMV3", "")).isEqualTo("31564d57-0000-0010-8000-00aa00389b71");
        assertThat(find(140, "VP80", "")).isEqualTo("none");
        assertThat(MediaSubtypes.all()).hasSize(21).doesNotHaveDuplicates();
        // H.264 goes by its extradata, whatever its code.
        assertThat(find(28, "H264", "\1M\0\36")).isEqualTo(MediaSubtypes.H264_AVC1);
        assertThat(find(28, "avc1", "\0\0\0\1g")).isEqualTo(MediaSubtypes.H264_ANNEX_B);
        assertThat(find(28, "avc1", "")).isEqualTo(MediaSubtypes.H264_ANNEX_B);
    }

    @Test
    void codesAreReadableWhereTheyCanBe() {
        assertThat(FourCharacterCode.toText(0x31637661)).isEqualTo("avc1");
        assertThat(FourCharacterCode.toText(0x55)).isEqualTo("0x00000055");
        assertThatThrownBy(() -> FourCharacterCode.of("abc")).isInstanceOf(IllegalArgumentException.class);
        assertThatThrownBy(() -> FourCharacterCode.of("ab\u20acd")).isInstanceOf(IllegalArgumentException.class);
    }
}
