package kiv.media.ffmpeg;

import static org.assertj.core.api.Assertions.assertThat;
import static org.assertj.core.api.Assertions.assertThatThrownBy;

import java.util.Arrays;
import kiv.media.ffmpeg.natives.c_codecoptions_ffmpeg;
import org.junit.jupiter.api.AfterEach;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.CsvSource;

/** The audio natives called as no careful caller would, and what they answer. */
class AudioEntryPointsTest {

    private static final int PCM = 1;
    private static final int MS_ADPCM = 2;
    private static final int MPEG_LAYER_3 = 0x55;
    private static final int RATE = 8000;

    private long codec;

    private long toPcm(int tag, int channels, int bits) {
        return c_multimediaapi_ffmpeg.n_create_acodec_to_pcm(FfmpegLibrary.context(),
                new int[] {tag, channels, RATE, 0, channels * bits / 8, bits, 0}, null);
    }

    private int process(byte[] in, byte[] out, int... params) {
        return c_multimediaapi_ffmpeg.n_acodec_process(codec, in, out, params);
    }

    @AfterEach
    void delete() {
        if (codec != 0) {
            c_multimediaapi_ffmpeg.n_acodec_delete(codec);
        }
    }

    @Test
    void outputNeverLeavesItsArray() {
        codec = toPcm(PCM, 1, 16);
        byte[] in = new byte[100];
        Arrays.fill(in, (byte) 7);
        byte[] out = new byte[150];
        // The array is shorter than told, or there is nothing at the offset: the sound is lost, nothing else.
        for (int[] place : new int[][] {{60, 200}, {150, 200}, {500, 200}, {-1, 200}, {Integer.MAX_VALUE, 200}}) {
            assertThat(process(in, out, 0, 100, 0, 0, 0, place[0], place[1], 0, 0, 0)).isEqualTo(8);
            assertThat(out).containsOnly(0);
        }
        assertThatThrownBy(() -> process(in, null, 0, 100, 0, 0, 0, 0, 200, 0, 0, 0))
                .hasMessageContaining("dst buffer == NULL");
        int[] params = {0, 100, 5, 3, 0, 50, 100, 0, 0, 0};
        assertThat(c_multimediaapi_ffmpeg.n_acodec_process(codec, in, out, params)).isZero();
        assertThat(params).containsExactly(100, 0, 5, 3, 0, 50, 100, 5, 3, 0);
        assertThat(Arrays.copyOfRange(out, 50, 150)).containsOnly(7);
        // Without room everything waits, and no input is taken meanwhile.
        assertThat(process(in, out, 0, 100, 0, 0, 0, 0, -5, 0, 0, 0)).isEqualTo(16);
        assertThat(process(in, out, 0, 100, 0, 0, 0, 0, 150, 0, 0, 0)).isEqualTo(2);
    }

    @Test
    void inputIsLookedForInItsArrayOnly() {
        codec = toPcm(PCM, 1, 16);
        byte[] out = new byte[1000];
        for (int[] place : new int[][] {{-1, 10}, {0, 101}, {100, 1}, {50, Integer.MAX_VALUE}}) {
            assertThatThrownBy(() -> process(new byte[100], out, place[0], place[1], 0, 0, 0, 0, 1000, 0, 0, 0))
                    .isExactlyInstanceOf(RuntimeException.class).hasMessageContaining("outside");
        }
        assertThatThrownBy(() -> process(null, out, 0, 10, 0, 0, 0, 0, 1000, 0, 0, 0))
                .isExactlyInstanceOf(RuntimeException.class);
        assertThatThrownBy(() -> process(new byte[100], out, 0, -1, 0, 0, 0, 0, 1000, 0, 0, 0))
                .isExactlyInstanceOf(Error.class).hasMessage("imp_lendata=-1");
        assertThat(process(new byte[100], out)).isZero();
    }

    @Test
    void aResetForgetsBytesThatWait() {
        codec = toPcm(PCM, 1, 16);
        byte[] out = new byte[200];
        assertThat(process(new byte[20], out, 0, 20, 0, 0, 0, 0, 200, 0, 0, 0)).isEqualTo(2);
        c_multimediaapi_ffmpeg.n_acodec_reset(codec);
        int[] params = {0, 100, 0, 0, 0, 0, 200, 0, 0, 0};
        assertThat(c_multimediaapi_ffmpeg.n_acodec_process(codec, new byte[100], out, params)).isZero();
        assertThat(params[6]).isEqualTo(100);
    }

    @ParameterizedTest
    @CsvSource({"32, 0", "33, 3"})
    void soundHasUpTo32Channels(int channels, int result) {
        codec = toPcm(PCM, channels, 16);
        assertThat(process(new byte[channels * 20], new byte[2000], 0, channels * 20, 0, 0, 0, 0, 2000, 0, 0, 0))
                .isEqualTo(result);
    }

    @Test
    void aClosedCodecFailsAndCanBeOpenedAgain() {
        codec = toPcm(MS_ADPCM, 1, 4);
        assertThat(c_multimediaapi_ffmpeg.n_acodec_close(codec)).isTrue();
        for (long rate : new long[] {-1, 1L << 31, 1L << 32}) {
            assertThatThrownBy(() -> c_codecoptions_ffmpeg.n_acodec_set_option(codec, "bit_rate", rate))
                    .hasMessage("no such bit rate: " + rate + " in line 2535");
        }
        byte[] out = new byte[10000];
        assertThat(process(new byte[256], out, 0, 256, 0, 0, 0, 0, out.length, 0, 0, 0)).isEqualTo(1 | 2);
        assertThat(c_multimediaapi_ffmpeg.n_acodec_open(codec)).isTrue();
        assertThat(c_multimediaapi_ffmpeg.n_acodec_open(codec)).isTrue();
        assertThatThrownBy(() -> c_codecoptions_ffmpeg.n_acodec_set_option(codec, "bit_rate", 64000))
                .hasMessageContaining("before the codec is opened");
        delete();
        codec = c_multimediaapi_ffmpeg.n_create_acodec_from_pcm(FfmpegLibrary.context(),
                new int[] {MS_ADPCM, 1, RATE, 0, 0, 4, 0}, null);
        c_multimediaapi_ffmpeg.n_acodec_close(codec);
        assertThatThrownBy(() -> process(new byte[100], out, 0, 100, 0, 0, 0, 0, 1000, 0, 0, 0))
                .hasMessageContaining("not open");
    }

    /** What looks like a frame that never becomes whole does not keep everything behind it for ever. */
    @Test
    void aFalseHeaderKeepsOnlySoMuchWaiting() {
        codec = toPcm(MPEG_LAYER_3, 2, 0);
        byte[] header = new byte[1000];
        header[0] = (byte) 0xFF;
        header[1] = (byte) 0xFB;
        int consumed = 0;
        for (int i = 0; i < 100; i++) {
            int[] params = {0, header.length, 0, 0, 0, 0, 0, 0, 0, 0};
            c_multimediaapi_ffmpeg.n_acodec_process(codec, header, new byte[0], params);
            consumed += params[0];
        }
        assertThat(consumed).isGreaterThan(30 * header.length);
    }

    @Test
    void formatsThatCannotBeAreRefused() {
        long context = FfmpegLibrary.context();
        assertThatThrownBy(() -> c_multimediaapi_ffmpeg.n_create_acodec_to_pcm(context, null, null))
                .isExactlyInstanceOf(RuntimeException.class);
        assertThatThrownBy(() -> c_multimediaapi_ffmpeg.n_create_acodec_to_pcm(context, new int[] {PCM, 1, RATE, 0, 2, 16, -1},
                null)).isInstanceOf(OutOfMemoryError.class);
        assertThatThrownBy(() -> toPcm(4, 1, 16)).hasMessageContaining("no decoder found for id=0");
        assertThatThrownBy(() -> c_multimediaapi_ffmpeg.n_create_acodec_from_pcm(context, new int[] {0x31, 1, RATE}, null))
                .hasMessageContaining("no encoder found");
        for (int channels : new int[] {0, -1, 33, Integer.MAX_VALUE}) {
            int[] format = {MS_ADPCM, channels, RATE};
            // A codec that does not open is 0.
            assertThatThrownBy(() -> c_multimediaapi_ffmpeg.n_acodec_open(c_multimediaapi_ffmpeg.n_create_acodec_from_pcm(
                    context, format, null))).isExactlyInstanceOf(RuntimeException.class);
        }
    }
}
