package kiv.media.ffmpeg;

import static kiv.media.ffmpeg.Refusals.refused;
import static org.assertj.core.api.Assertions.assertThat;

import java.util.Arrays;
import kiv.media.ffmpeg.natives.AudioParams;
import kiv.media.ffmpeg.natives.AudioStatus;
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

    private final byte[] in = new byte[1000];
    private final byte[] out = new byte[1000];
    private int[] params;
    private long codec;

    private static long toPcm(int tag, int channels, int bits, int extradata) {
        return c_multimediaapi_ffmpeg.n_create_acodec_to_pcm(FfmpegLibrary.context(),
                new int[] {tag, channels, RATE, 0, channels * bits / 8, bits, extradata}, null);
    }

    private static long fromPcm(int... format) {
        return c_multimediaapi_ffmpeg.n_create_acodec_from_pcm(FfmpegLibrary.context(), format, null);
    }

    private int process(byte[] from, int offset, int length, byte[] to, int outOffset, int outLength) {
        params = new int[] {offset, length, 5, 3, 0, outOffset, outLength, 0, 0, 0};
        return c_multimediaapi_ffmpeg.n_acodec_process(codec, from, to, params);
    }

    @AfterEach
    void delete() {
        if (codec != 0) {
            c_multimediaapi_ffmpeg.n_acodec_delete(codec);
        }
    }

    /** The array is shorter than told, or there is nothing at the offset: the sound is lost, nothing else. */
    @ParameterizedTest
    @CsvSource({"910, 200", "1000, 200", "5000, 200", "-1, 200", "2147483647, 200"})
    void outputNeverLeavesItsArray(int offset, int length) {
        codec = toPcm(PCM, 1, 16, 0);
        Arrays.fill(in, (byte) 7);
        assertThat(process(in, 0, 100, out, offset, length)).isEqualTo(AudioStatus.OUTPUT_LOST);
        assertThat(out).containsOnly(0);
        refused(RuntimeException.class, "dst buffer == NULL", () -> process(in, 0, 100, null, 0, 200));
        assertThat(params).as("the input is consumed").containsExactly(100, 0, 5, 3, 0, 0, 200, 0, 0, 0);
        assertThat(process(in, 0, 100, out, 900, 100)).isZero();
        assertThat(params).containsExactly(100, 0, 5, 3, 0, 900, 100, 5, 3, 0);
        assertThat(Arrays.copyOfRange(out, 900, 1000)).containsOnly(7);
        // Without room everything waits, and no input is taken meanwhile.
        assertThat(process(in, 0, 100, out, 0, -5)).isEqualTo(AudioStatus.OUTPUT_TOO_SMALL);
        assertThat(process(in, 0, 100, out, 0, 150)).isEqualTo(AudioStatus.INPUT_LEFT);
    }

    @ParameterizedTest
    @CsvSource({"-1, 10", "0, 1001", "1000, 1", "50, 2147483647"})
    void inputIsLookedForInItsArrayOnly(int offset, int length) {
        codec = toPcm(PCM, 1, 16, 0);
        refused(RuntimeException.class, "outside", () -> process(in, offset, length, out, 0, 1000));
        refused(RuntimeException.class, "", () -> process(null, 0, 10, out, 0, 1000));
        refused(Error.class, "imp_lendata=-1", () -> process(in, 0, -1, out, 0, 1000));
        assertThat(c_multimediaapi_ffmpeg.n_acodec_process(codec, in, out, new int[0])).isZero();
    }

    @Test
    void aResetForgetsBytesThatWait() {
        codec = toPcm(PCM, 1, 16, 0);
        assertThat(process(in, 0, 20, out, 0, 200)).isEqualTo(AudioStatus.INPUT_LEFT);
        c_multimediaapi_ffmpeg.n_acodec_reset(codec);
        assertThat(process(in, 0, 100, out, 0, 200)).isZero();
        assertThat(params[AudioParams.OUT_LENGTH]).isEqualTo(100);
    }

    @ParameterizedTest
    @CsvSource({"32, 0", "33, 3"})
    void soundHasUpTo32Channels(int channels, int result) {
        codec = toPcm(PCM, channels, 16, 0);
        assertThat(process(in, 0, channels * 20, out, 0, 1000)).isEqualTo(result);
    }

    @Test
    void aClosedCodecFailsAndCanBeOpenedAgain() {
        codec = toPcm(MS_ADPCM, 1, 4, 0);
        assertThat(c_multimediaapi_ffmpeg.n_acodec_close(codec)).isTrue();
        for (long rate : new long[] {-1, 1L << 31, 1L << 32}) {
            refused(RuntimeException.class, "no such bit rate: " + rate + " in line 2535",
                    () -> c_codecoptions_ffmpeg.n_acodec_set_option(codec, "bit_rate", rate));
        }
        assertThat(process(in, 0, 256, out, 0, 1000)).isEqualTo(AudioStatus.DECODING_ERROR | AudioStatus.INPUT_LEFT);
        assertThat(c_multimediaapi_ffmpeg.n_acodec_open(codec)).isTrue();
        assertThat(c_multimediaapi_ffmpeg.n_acodec_open(codec)).isTrue();
        refused(RuntimeException.class, "before the codec is opened",
                () -> c_codecoptions_ffmpeg.n_acodec_set_option(codec, "bit_rate", 64000));
        delete();
        codec = fromPcm(MS_ADPCM, 1, RATE, 0, 0, 4, 0);
        c_multimediaapi_ffmpeg.n_acodec_close(codec);
        refused(RuntimeException.class, "not open", () -> process(in, 0, 100, out, 0, 1000));
    }

    /** What looks like a frame that never becomes whole does not keep everything behind it for ever. */
    @Test
    void aFalseHeaderKeepsOnlySoMuchWaiting() {
        codec = toPcm(MPEG_LAYER_3, 2, 0, 0);
        in[0] = (byte) 0xFF;
        in[1] = (byte) 0xFB;
        int consumed = 0;
        for (int i = 0; i < 100; i++) {
            process(in, 0, in.length, out, 0, 0);
            consumed += params[0];
        }
        assertThat(consumed).isGreaterThan(30 * in.length);
    }

    @Test
    void formatsThatCannotBeAreRefused() {
        refused(RuntimeException.class, "",
                () -> c_multimediaapi_ffmpeg.n_create_acodec_to_pcm(FfmpegLibrary.context(), null, null));
        refused(OutOfMemoryError.class, "", () -> toPcm(PCM, 1, 16, -1));
        refused(RuntimeException.class, "no decoder found for id=0", () -> toPcm(4, 1, 16, 0));
        refused(RuntimeException.class, "no encoder found", () -> fromPcm(0x22, 1, RATE));
        for (int channels : new int[] {0, -1, 33, Integer.MAX_VALUE}) {
            // A codec that does not open is 0.
            refused(RuntimeException.class, "", () -> c_multimediaapi_ffmpeg.n_acodec_open(fromPcm(MS_ADPCM, channels, RATE)));
        }
    }
}
