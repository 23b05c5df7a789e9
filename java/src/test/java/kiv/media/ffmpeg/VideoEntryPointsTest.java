package kiv.media.ffmpeg;

import static org.assertj.core.api.Assertions.assertThat;
import static org.assertj.core.api.Assertions.assertThatThrownBy;

import java.io.IOException;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import java.util.Locale;
import org.junit.jupiter.api.AfterEach;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.CsvSource;

/** The natives as a careful caller uses them, on a stream whose pictures come one a packet and in order. */
class VideoEntryPointsTest {

    private static final String STREAM = "h264_baseline_320x240.mp4";

    private final CountingBuffers buffers = new CountingBuffers();
    private final Object[] out = new Object[1];
    private final int[] params = new int[16];
    private long codec;

    @AfterEach
    void delete() {
        if (codec != 0) {
            c_multimediaapi_ffmpeg.n_vcodec_delete(codec);
        }
    }

    private static long context() {
        return FfmpegLibrary.context();
    }

    private MediaStream video(Path file) throws IOException {
        try (MediaReader reader = MediaReader.open(file)) {
            return reader.firstVideo().orElseThrow();
        }
    }

    private static List<byte[]> packets(Path file) throws IOException {
        try (MediaReader reader = MediaReader.open(file)) {
            int video = reader.firstVideo().orElseThrow().index();
            return new ArrayList<>(reader.packets().filter(packet -> packet.streamIndex() == video)
                    .map(Packet::bytes).toList());
        }
    }

    private void create(Path file, VideoBuffers object, PictureFormat... models) throws IOException {
        VideoFormat format = VideoFormat.of(video(file));
        Object[] list = Arrays.stream(models).map(PictureFormat::toColorModel).toArray();
        codec = c_multimediaapi_ffmpeg.n_create_vcodec_to_raw(context(), format.subtype(), format.toNative(),
                format.extradata(), list, object);
        c_codecoptions_ffmpeg.n_vcodec_set_option(codec, c_codecoptions_ffmpeg.WHOLE_PACKETS, 1);
    }

    private int process(byte[] data, long timestamp) {
        Arrays.fill(params, 0);
        params[1] = data == null ? 0 : data.length;
        params[3] = (int) timestamp;
        params[4] = (int) (timestamp >> 32);
        out[0] = null;
        return c_multimediaapi_ffmpeg.n_vcodec_process(codec, data, out, params);
    }

    @ParameterizedTest
    @CsvSource({"YV12, 0", "I420, 0", "YUY2, 1", "UYVY, 1", "RGB15, 1", "RGB16, 1", "RGB32, 2"})
    void everyModelGivesItsKindOfArray(PictureFormat format, int kind) throws IOException {
        Path file = TestMedia.stream(STREAM);
        create(file, buffers, format);
        assertThat(c_multimediaapi_ffmpeg.n_get_vcodec_dst_format(codec)).isNull();
        assertThat(c_multimediaapi_ffmpeg.n_vcodec_open(codec)).isTrue();
        assertThat(c_multimediaapi_ffmpeg.n_vcodec_open(codec)).isTrue();
        long time = 0x12_3456_7890L;
        int taken = 0;
        for (byte[] packet : packets(file)) {
            int result = process(packet, time);
            if (result == 2) {
                assertThat(params[5]).isEqualTo(-1);
                assertThat(params[15]).isZero();
                assertThat(out[0]).isNull();
                continue;
            }
            assertThat(result).isIn(0, 4);
            taken++;
            assertThat(params[5]).isEqualTo(kind);
            assertThat(params[15]).isNotZero();
            assertThat(params[13] & 0xFFFFFFFFL | (long) params[14] << 32).isEqualTo(time);
            assertThat(out[0]).isInstanceOf(int[].class);
            int[] layout = (int[]) out[0];
            assertThat(layout).startsWith(320, 240).hasSize(16);
            if (format.planes() == 3) {
                assertThat(Arrays.copyOfRange(params, 7, 11)).containsExactly(0, layout[2] * layout[6],
                        layout[2] * layout[6] + layout[3] * ((layout[6] + 1) / 2), 0);
            } else {
                assertThat(Arrays.copyOfRange(params, 7, 11)).containsOnly(0);
            }
            assertThat(c_multimediaapi_ffmpeg.n_get_vcodec_dst_format(codec)).containsExactly(layout);
        }
        assertThat(taken).isEqualTo(30);
        assertThat(buffers.lastBuffer[0]).isEqualTo(1);
        c_multimediaapi_ffmpeg.n_vcodec_delete(codec);
        codec = 0;
        assertThat(buffers.allocated - buffers.freed).as("arrays that Java owns").isEqualTo(taken);
    }

    @Test
    void aNewModelIsReportedOnce() throws IOException {
        Path file = TestMedia.stream(STREAM);
        create(file, buffers, PictureFormat.YV12, PictureFormat.I420);
        c_multimediaapi_ffmpeg.n_vcodec_open(codec);
        List<byte[]> packets = packets(file);
        // The decoder's own pictures are I420 to FFmpeg, so the second model is found.
        assertThat(process(packets.get(0), 0)).isEqualTo(4);
        assertThat(buffers.lastLayout[8]).isEqualTo(PictureFormat.I420.fourcc());
        assertThat(process(packets.get(1), 1)).isZero();
        assertThat(process(null, 2)).isEqualTo(2);
    }

    @Test
    void whatCannotBeCreatedIsRefused() {
        int[] format = new int[18];
        format[4] = 320;
        format[5] = 240;
        String h264 = MediaSubtypes.H264_ANNEX_B;
        Object[] models = {PictureFormat.I420.toColorModel()};
        int[] unknownModel = {FourCharacterCode.of("NV12"), 12, 12, 0, 0, 0, 0};
        refuse(h264, format, new Object[0]);
        refuse(h264, format, new Object[] {unknownModel});
        refuse(null, format, models);
        refuse(h264, null, models);
        refuse(h264.toUpperCase(Locale.ROOT).replace("34363248", "3436324A"), format, models);
        refuse("nonsense", format, models);
    }

    private static void refuse(String subtype, int[] format, Object[] models) {
        assertThatThrownBy(() -> c_multimediaapi_ffmpeg.n_create_vcodec_to_raw(context(), subtype, format, null, models,
                null)).isExactlyInstanceOf(RuntimeException.class).hasMessageContaining(" in line ");
    }

    @Test
    void optionsAreSetBeforeOpeningOrNotAtAll() throws IOException {
        create(TestMedia.stream(STREAM), buffers, PictureFormat.I420);
        assertThatThrownBy(() -> c_codecoptions_ffmpeg.n_vcodec_set_option(codec, "nonsense", 1))
                .isExactlyInstanceOf(RuntimeException.class).hasMessageContaining("nonsense");
        c_multimediaapi_ffmpeg.n_vcodec_open(codec);
        assertThatThrownBy(() -> c_codecoptions_ffmpeg.n_vcodec_set_option(codec,
                c_codecoptions_ffmpeg.WHOLE_PACKETS, 1)).isExactlyInstanceOf(RuntimeException.class);
    }

    @Test
    void processingWhatCannotBeDecodedEndsInAnErrorCode() throws IOException {
        Path file = TestMedia.stream(STREAM);
        byte[] first = packets(file).get(0);
        create(file, buffers, PictureFormat.I420);
        assertThat(process(first, 0)).as("not open").isEqualTo(8);
        c_multimediaapi_ffmpeg.n_vcodec_open(codec);
        Arrays.fill(params, 0);
        params[1] = -1;
        assertThatThrownBy(() -> c_multimediaapi_ffmpeg.n_vcodec_process(codec, first, out, params))
                .isExactlyInstanceOf(Error.class).hasMessage("imp_lendata");
        assertThat(process(first, 0)).isEqualTo(4);
        assertThat(c_multimediaapi_ffmpeg.n_vcodec_close(codec)).isTrue();
        assertThat(c_multimediaapi_ffmpeg.n_vcodec_close(codec)).isTrue();
        assertThat(c_multimediaapi_ffmpeg.n_vcodec_reset(codec)).isTrue();
        assertThat(c_multimediaapi_ffmpeg.n_vcodec_open(codec)).as("again").isTrue();
        assertThat(process(first, 0)).isZero();
    }

    @Test
    void aRefusedAllocationFailsThePacketAndAnExceptionReachesTheCaller() throws IOException {
        Path file = TestMedia.stream(STREAM);
        byte[] first = packets(file).get(0);
        IllegalStateException own = new IllegalStateException("no more arrays");
        int[] mode = {0};
        create(file, new CountingBuffers() {
            @Override
            public boolean allocate(int[] layout, int[] buffer, Object[] slots) {
                if (mode[0] == 1) {
                    throw own;
                }
                return mode[0] == 2 && super.allocate(layout, buffer, slots);
            }
        }, PictureFormat.I420);
        c_multimediaapi_ffmpeg.n_vcodec_open(codec);
        assertThat(process(first, 0)).isEqualTo(8);
        mode[0] = 1;
        assertThatThrownBy(() -> process(first, 0)).isSameAs(own);
        assertThat(params[5]).as("params stay as they were").isZero();
        mode[0] = 2;
        c_multimediaapi_ffmpeg.n_vcodec_reset(codec);
        assertThat(process(first, 0)).isIn(0, 4);
    }

    @Test
    void squarePicturesFailInArrays() throws IOException {
        Path file = TestMedia.stream("mpeg4_256x256.m4v");
        create(file, buffers, PictureFormat.I420);
        c_multimediaapi_ffmpeg.n_vcodec_open(codec);
        assertThat(process(packets(file).get(0), 0)).isEqualTo(8);
        assertThat(buffers.allocated).isZero();
    }

    @Test
    void aFormatWithAPaletteBesideItGivesNoPicture() throws IOException {
        Path file = TestMedia.stream(STREAM);
        create(file, buffers, PictureFormat.RGB8);
        c_multimediaapi_ffmpeg.n_vcodec_open(codec);
        for (byte[] packet : packets(file)) {
            assertThat(process(packet, 0)).isEqualTo(2);
        }
        c_multimediaapi_ffmpeg.n_vcodec_delete(codec);
        codec = 0;
        assertThat(buffers.freed).isEqualTo(buffers.allocated);
    }

    @Test
    void withoutModelsNothingCanBeConverted() throws IOException {
        Path file = TestMedia.stream(STREAM);
        VideoFormat format = VideoFormat.of(video(file));
        codec = c_multimediaapi_ffmpeg.n_create_vcodec_to_raw(context(), format.subtype(), format.toNative(),
                format.extradata(), null, buffers);
        c_multimediaapi_ffmpeg.n_vcodec_open(codec);
        assertThat(process(packets(file).get(0), 0)).isEqualTo(2);
    }
}
