package kiv.media.ffmpeg;

import static org.assertj.core.api.Assertions.assertThat;
import static org.assertj.core.api.Assertions.assertThatThrownBy;

import java.util.List;
import java.util.concurrent.CopyOnWriteArrayList;
import org.junit.jupiter.api.BeforeAll;
import org.junit.jupiter.api.Test;

class LifecycleTest {

    private static final int[] FORMAT = {0, 0, 0, 0, 320, 240, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0};
    private static String directory;

    /** Keeps what the library logs. */
    private static final class Receiver extends c_multimediaapi_ffmpeg {
        final List<String> lines = new CopyOnWriteArrayList<>();

        @Override
        public void print_info(int level, String line) {
            lines.add(level + ":" + line);
        }
    }

    @BeforeAll
    static void loadLibrary() {
        FfmpegLibrary.load();
        directory = FfmpegLibrary.directory().toString();
    }

    private static long createCodec(long context) {
        return c_multimediaapi_ffmpeg.n_create_vcodec_to_raw(context, MediaSubtypes.H264_ANNEX_B, FORMAT, null, null,
                null);
    }

    @Test
    void closingNoContextIsRefused() {
        assertThatThrownBy(() -> c_multimediaapi_ffmpeg.n_close(0)).isExactlyInstanceOf(RuntimeException.class)
                .hasMessageContaining("ilp_hffmpeg == 0").hasMessageContaining(" in line 2211");
    }

    @Test
    void theNewestContextsReceiverIsTheOneThatHears() {
        Receiver first = new Receiver();
        Receiver second = new Receiver();
        long a = c_multimediaapi_ffmpeg.n_init(directory, first, 5);
        long b = c_multimediaapi_ffmpeg.n_init(directory, second, 5);
        assertThat(a).isNotZero().isNotEqualTo(b);
        first.lines.clear();
        c_multimediaapi_ffmpeg.n_vcodec_delete(createCodec(a));
        assertThat(first.lines).isEmpty();
        assertThat(second.lines).anyMatch(line -> line.startsWith("5:") && line.contains("imc_width=320"));
        // The end of any context silences them all.
        c_multimediaapi_ffmpeg.n_close(a);
        second.lines.clear();
        c_multimediaapi_ffmpeg.n_vcodec_delete(createCodec(b));
        assertThat(second.lines).isEmpty();
        c_multimediaapi_ffmpeg.n_close(b);
    }

    @Test
    void aContextOutlivesItsCloseUntilItsLastCodecIsDeleted() {
        Receiver receiver = new Receiver();
        long context = c_multimediaapi_ffmpeg.n_init(directory, receiver, 5);
        long codec = createCodec(context);
        c_multimediaapi_ffmpeg.n_close(context);
        assertThat(receiver.lines).anyMatch(line -> line.endsWith("c_ffmpeg::n_close() counter=2"))
                .filteredOn(line -> line.contains("n_close() counter"))
                .allMatch(line -> line.startsWith("5:    #Java_kiv_media_ffmpeg_c_1multimediaapi_1ffmpeg_n_1close()"));
        assertThat(c_multimediaapi_ffmpeg.n_vcodec_get_name(codec)).isEqualTo("native videocodec");
        c_multimediaapi_ffmpeg.n_vcodec_delete(codec);
    }
}
