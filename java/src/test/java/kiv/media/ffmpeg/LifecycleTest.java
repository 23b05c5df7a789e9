package kiv.media.ffmpeg;

import static org.assertj.core.api.Assertions.assertThat;
import static org.assertj.core.api.Assertions.assertThatThrownBy;

import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.List;
import java.util.concurrent.CopyOnWriteArrayList;
import java.util.concurrent.TimeUnit;
import org.junit.jupiter.api.BeforeAll;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;

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

    @Test
    void aContextNeedsNoReceiver() {
        long context = c_multimediaapi_ffmpeg.n_init(directory, null, 0);
        c_multimediaapi_ffmpeg.n_vcodec_delete(createCodec(context));
        c_multimediaapi_ffmpeg.n_close(context);
    }

    @Test
    void oneFfmpegServesTheProcess(@TempDir Path other) {
        FfmpegLibrary.load(Path.of(directory));
        assertThatThrownBy(() -> FfmpegLibrary.load(other)).isInstanceOf(LibraryException.class)
                .hasMessageContaining(directory).hasMessageContaining(other.toString());
        assertThatThrownBy(() -> FfmpegLibrary.preload(other)).isInstanceOf(LibraryException.class)
                .hasMessageContaining("libavutil.so.54");
    }

    @Test
    void aFailedLoadStaysFailed(@TempDir Path empty) throws Exception {
        assertThat(runInNewVm(FailingInit.class, empty.toString())).contains(
                "first: java.lang.Error: failed to initialize ffmpeg",
                "second: java.lang.Error: failed to initialize ffmpeg");
    }

    @Test
    void aWrongDirectoryIsToldAndTheRightOneStillLoads(@TempDir Path wrong) throws Exception {
        for (String library : FfmpegLibrary.LIBRARIES) {
            Files.writeString(wrong.resolve(library), "not a library");
        }
        assertThat(runInNewVm(WrongThenRight.class, wrong.toString(), directory)).contains("cannot load FFmpeg",
                "then: " + directory);
    }

    private static String runInNewVm(Class<?> main, String... args) throws IOException, InterruptedException {
        List<String> command = new ArrayList<>(List.of(
                ProcessHandle.current().info().command().orElseThrow(),
                "-D" + FfmpegLibrary.LIBRARY_PROPERTY + "=" + System.getProperty(FfmpegLibrary.LIBRARY_PROPERTY),
                "-cp", System.getProperty("java.class.path"), main.getName()));
        command.addAll(List.of(args));
        Process process = new ProcessBuilder(command).redirectErrorStream(true).start();
        process.getOutputStream().close();
        String output = new String(process.getInputStream().readAllBytes());
        assertThat(process.waitFor(1, TimeUnit.MINUTES)).isTrue();
        assertThat(process.exitValue()).as(output).isZero();
        return output;
    }

    /** Loads FFmpeg twice from where it is not. */
    static final class FailingInit {
        public static void main(String[] args) {
            FfmpegLibrary.loadNatives();
            for (String attempt : List.of("first", "second")) {
                try {
                    c_multimediaapi_ffmpeg.n_init(args[0], null, 0);
                } catch (Error e) {
                    System.out.println(attempt + ": " + e);
                }
            }
        }
    }

    /** Loads FFmpeg from a wrong directory and then from a right one. */
    static final class WrongThenRight {
        public static void main(String[] args) {
            try {
                FfmpegLibrary.load(Path.of(args[0]));
            } catch (LibraryException e) {
                System.out.println(e.getMessage());
            }
            FfmpegLibrary.load(Path.of(args[1]));
            System.out.println("then: " + FfmpegLibrary.directory());
        }
    }
}
