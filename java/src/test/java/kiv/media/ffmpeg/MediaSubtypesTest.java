package kiv.media.ffmpeg;

import static org.assertj.core.api.Assertions.assertThat;
import static org.assertj.core.api.Assertions.assertThatThrownBy;

import org.junit.jupiter.api.Test;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.CsvSource;

class MediaSubtypesTest {

    private static final byte[] NONE = {};

    @ParameterizedTest
    @CsvSource({
        "2, 0, e06d8026-db46-11cf-b4d1-00805f6cbbea",
        "1, 0, e436eb81-524f-11ce-9f53-0020af0ba770",
        "1, MPG1, 3147504d-0000-0010-8000-00aa00389b71",
        "13, DX50, 30355844-0000-0010-8000-00aa00389b71",
        "13, XVID, 5634504d-0000-0010-8000-00aa00389b71",
        "17, DIV3, 3334504d-0000-0010-8000-00aa00389b71",
        "5, s263, 33363248-0000-0010-8000-00aa00389b71",
        "25, dvcp, 64737664-0000-0010-8000-00aa00389b71",
        // A code that belongs to another codec says nothing about this one.
        "18, WMV3, 31564d57-0000-0010-8000-00aa00389b71",
    })
    void streamsAreNamedByCodeWhereItFitsAndByCodecElsewhere(int codec, String code, String guid) {
        int tag = code.equals("0") ? 0 : FourCharacterCode.of(code);
        assertThat(MediaSubtypes.find(codec, tag, NONE)).contains(guid);
    }

    @Test
    void h264GoesByItsExtradataWhateverItsCode() {
        int avc1 = FourCharacterCode.of("avc1");
        int h264 = FourCharacterCode.of("H264");
        assertThat(MediaSubtypes.find(28, h264, new byte[] {1, 77, 0, 30})).contains(MediaSubtypes.H264_AVC1);
        assertThat(MediaSubtypes.find(28, avc1, new byte[] {0, 0, 0, 1, 0x67})).contains(MediaSubtypes.H264_ANNEX_B);
        assertThat(MediaSubtypes.find(28, avc1, NONE)).contains(MediaSubtypes.H264_ANNEX_B);
    }

    @Test
    void runLengthVideoHasANumberForACode() {
        assertThat(MediaSubtypes.find(46, 1, NONE)).contains("00000001-0000-0010-8000-00aa00389b71");
    }

    @Test
    void unknownCodecsHaveNoSubtype() {
        assertThat(MediaSubtypes.find(140, FourCharacterCode.of("VP80"), NONE)).isEmpty();
        assertThat(MediaSubtypes.find(0, FourCharacterCode.of("DX50"), NONE)).isEmpty();
        assertThat(MediaSubtypes.all()).hasSize(21).doesNotHaveDuplicates();
    }

    @Test
    void codesAreReadableWhereTheyCanBe() {
        assertThat(FourCharacterCode.toText(0x31637661)).isEqualTo("avc1");
        assertThat(FourCharacterCode.toText(0x55)).isEqualTo("0x00000055");
        assertThatThrownBy(() -> FourCharacterCode.of("abc")).isInstanceOf(IllegalArgumentException.class);
        assertThatThrownBy(() -> FourCharacterCode.of("ab\u20acd")).isInstanceOf(IllegalArgumentException.class);
    }
}
