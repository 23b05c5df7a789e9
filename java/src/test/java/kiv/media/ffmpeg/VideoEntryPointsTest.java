package kiv.media.ffmpeg;

import static org.assertj.core.api.Assertions.assertThat;
import static org.assertj.core.api.Assertions.assertThatThrownBy;

import java.nio.ByteBuffer;
import java.nio.ByteOrder;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import java.util.Locale;
import kiv.media.ffmpeg.exactness.NativeDecoder;
import kiv.media.ffmpeg.exactness.Reference;
import kiv.media.ffmpeg.exactness.Track;
import kiv.media.ffmpeg.natives.VideoFormatLayout;
import kiv.media.ffmpeg.natives.c_codecoptions_ffmpeg;
import org.junit.jupiter.api.AfterEach;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.CsvSource;

/** The natives with arrays that the library allocates, on a stream whose pictures come one a packet and in order. */
class VideoEntryPointsTest {

    private static final int WIDTH = 320;
    private static final int HEIGHT = 240;
    private static final Track TRACK = Track.of(TestMedia.clip("h264_baseline_320x240.mp4"));

    private final Object[] out = new Object[1];
    private final int[] params = new int[16];
    private long codec;

    @AfterEach
    void delete() {
        if (codec != 0) {
            c_multimediaapi_ffmpeg.n_vcodec_delete(codec);
        }
    }

    private void create(PictureFormat model) {
        create(VideoFormat.of(TRACK.stream()), model);
    }

    private void create(VideoFormat format, PictureFormat model) {
        create(format, model, null);
    }

    private void create(VideoFormat format, PictureFormat model, VideoBuffers buffers) {
        codec = c_multimediaapi_ffmpeg.n_create_vcodec_to_raw(FfmpegLibrary.context(), format.subtype(), format.toNative(),
                format.extradata(), new Object[] {model.toColorModel()}, buffers);
        c_codecoptions_ffmpeg.n_vcodec_set_option(codec, c_codecoptions_ffmpeg.WHOLE_PACKETS, 1);
    }

    private int process(byte[] data, int length) {
        Arrays.fill(params, 0);
        params[1] = length;
        return c_multimediaapi_ffmpeg.n_vcodec_process(codec, data, out, params);
    }

    /** Every stream is compared in bytes and ints elsewhere. */
    @ParameterizedTest
    @CsvSource({"YUY2, yuyv422", "UYVY, uyvy422", "RGB15, rgb555be", "RGB16, rgb565be"})
    void modelsOfTwoBytesComeInShorts(PictureFormat model, String pixels) {
        create(model);
        assertThat(c_multimediaapi_ffmpeg.n_vcodec_open(codec)).isTrue();
        List<String> pictures = new ArrayList<>();
        for (byte[] packet : TRACK.packets()) {
            assertThat(process(packet, packet.length)).isIn(0, 4);
            assertThat(params[5]).isEqualTo(1);
            assertThat(Arrays.copyOfRange(params, 7, 11)).containsOnly(0);
            int[] layout = c_multimediaapi_ffmpeg.n_get_vcodec_dst_format(codec);
            assertThat(layout).startsWith(WIDTH, HEIGHT).hasSize(16);
            ByteBuffer bytes = ByteBuffer.allocate(WIDTH * HEIGHT * Short.BYTES).order(ByteOrder.LITTLE_ENDIAN);
            for (int line = 0; line < HEIGHT; line++) {
                bytes.position(line * WIDTH * Short.BYTES).asShortBuffer()
                        .put((short[]) out[0], params[6] + line * layout[2] / Short.BYTES, WIDTH);
            }
            pictures.add(Reference.md5(bytes.array()));
        }
        assertThat(pictures).isEqualTo(Reference.decode(TRACK, pixels, true).pictures().stream()
                .map(Reference.Picture::md5).toList());
    }

    /** The scaler by itself divides by zero, or runs out of rows, for some of these. */
    @ParameterizedTest
    @CsvSource({"1, 16", "2, 16", "3, 16", "4, 16", "5, 16", "320, 2", "2, 500"})
    void pictureMayBeOfAnotherSizeThanTheFormat(int width, int height) {
        VideoFormat told = VideoFormat.of(TRACK.stream());
        for (PictureFormat model : List.of(PictureFormat.RGB32, PictureFormat.YUY2)) {
            create(VideoFormat.of(told.subtype(), width, height, 0, told.extradata(), new Rational(1, 25)), model);
            assertThat(c_multimediaapi_ffmpeg.n_vcodec_open(codec)).isTrue();
            assertThat(process(TRACK.packets().get(0), TRACK.packets().get(0).length)).isIn(0, 4);
            delete();
            codec = 0;
        }
    }

    @Test
    void whatCannotBeCreatedIsRefused() {
        int[] format = VideoFormat.of(TRACK.stream()).toNative();
        String h264 = MediaSubtypes.H264_ANNEX_B;
        Object[] models = {PictureFormat.I420.toColorModel()};
        refuse(h264, format, new Object[0]);
        refuse(h264, format, new Object[] {new int[] {FourCharacterCode.of("NV12"), 12, 12, 0, 0, 0, 0}});
        refuse(null, format, models);
        refuse(h264, null, models);
        refuse(h264.toUpperCase(Locale.ROOT).replace("34363248", "3436324A"), format, models);
        refuse("nonsense", format, models);
        format[VideoFormatLayout.EXTRADATA_LENGTH] = -1;
        assertThatThrownBy(() -> c_multimediaapi_ffmpeg.n_create_vcodec_to_raw(FfmpegLibrary.context(), h264, format, null,
                models, null)).isInstanceOf(OutOfMemoryError.class).hasMessage("thrown from native code");
    }

    private static void refuse(String subtype, int[] format, Object[] models) {
        assertThatThrownBy(() -> c_multimediaapi_ffmpeg.n_create_vcodec_to_raw(FfmpegLibrary.context(), subtype, format, null,
                models, null)).isExactlyInstanceOf(RuntimeException.class).hasMessageContaining(" in line ");
    }

    @Test
    void callsInTheWrongOrderAreToldAndHarmNothing() {
        byte[] first = TRACK.packets().get(0);
        create(PictureFormat.I420);
        assertThat(process(first, first.length)).as("not open").isEqualTo(8);
        assertThatThrownBy(() -> c_codecoptions_ffmpeg.n_vcodec_set_option(codec, "nonsense", 1))
                .isExactlyInstanceOf(RuntimeException.class).hasMessageContaining("nonsense");
        assertThat(c_multimediaapi_ffmpeg.n_vcodec_open(codec)).isTrue();
        assertThat(c_multimediaapi_ffmpeg.n_vcodec_open(codec)).isTrue();
        assertThatThrownBy(() -> c_codecoptions_ffmpeg.n_vcodec_set_option(codec,
                c_codecoptions_ffmpeg.WHOLE_PACKETS, 1)).isExactlyInstanceOf(RuntimeException.class);
        assertThatThrownBy(() -> process(first, -1)).isExactlyInstanceOf(Error.class).hasMessage("imp_lendata");
        assertThat(process(first, first.length)).isEqualTo(4);
        assertThat(c_multimediaapi_ffmpeg.n_vcodec_close(codec)).isTrue();
        assertThat(c_multimediaapi_ffmpeg.n_vcodec_close(codec)).isTrue();
        assertThat(c_multimediaapi_ffmpeg.n_vcodec_reset(codec)).isTrue();
        assertThat(c_multimediaapi_ffmpeg.n_vcodec_open(codec)).as("again").isTrue();
        assertThat(process(first, first.length)).isZero();
    }

    /** Of a decoder that changes its mind about the order of pictures, which then come again in the memory of before. */
    @Test
    void aPictureThatComesAgainHasMemoryOfItsOwn() {
        Track track = Track.of(TestMedia.clip("mpeg2_320x240.m2v"));
        create(VideoFormat.of(track.stream()), PictureFormat.I420);
        c_multimediaapi_ffmpeg.n_vcodec_open(codec);
        byte[] inOrder = track.packets().get(0).clone();
        for (int i = 0; i < inOrder.length - 10; i++) {
            if (inOrder[i] == 0 && inOrder[i + 1] == 0 && inOrder[i + 2] == 1 && (inOrder[i + 3] & 0xFF) == 0xB5
                    && inOrder[i + 4] >> 4 == 1) {
                inOrder[i + 9] |= (byte) 0x80; // the sequence has no pictures of two directions
                break;
            }
        }
        byte[] last = {};
        Object lastArray = null;
        for (int i = 0; i <= 12; i++) {
            byte[] packet = i == 0 ? inOrder : track.packets().get(i);
            assertThat(process(packet, packet.length)).as("packet %d", i).isIn(0, 4);
            if (i == 12) {
                assertThat(out[0]).isNotSameAs(lastArray);
                assertThat(Arrays.copyOfRange((byte[]) out[0], params[6], params[6] + params[11])).isEqualTo(last);
            }
            last = Arrays.copyOfRange((byte[]) out[0], params[6], params[6] + params[11]);
            lastArray = out[0];
            Arrays.fill((byte[]) lastArray, (byte) 7); // it is Java's
        }
        delete();
        codec = 0;
        assertThat((byte[]) lastArray).as("not written any more").containsOnly(7);
    }

    private static final class Memory implements VideoBuffers {
        private final int missing;
        private final boolean direct;
        private ByteBuffer block;
        private int lineSize;

        Memory(int missing, boolean direct) {
            this.missing = missing;
            this.direct = direct;
        }

        @Override
        public boolean allocate(int[] layout, int[] buffer, Object[] slots) {
            block = ByteBuffer.allocateDirect(buffer[1] - missing);
            lineSize = layout[2];
            slots[0] = direct ? block : new byte[buffer[1] - missing];
            slots[3] = slots[0];
            return true;
        }

        @Override
        public void free(Object[] slots) {
            assertThat(slots[3]).isNotNull();
        }
    }

    @ParameterizedTest
    @CsvSource({"0, true", "1, true", "0, false", "1, false"})
    void memoryOfOneByteTooLittleIsRefused(int missing, boolean direct) {
        create(VideoFormat.of(TRACK.stream()), PictureFormat.I420, new Memory(missing, direct));
        c_codecoptions_ffmpeg.n_vcodec_set_option(codec, c_codecoptions_ffmpeg.DIRECT_BUFFERS, direct ? 1 : 0);
        assertThat(c_multimediaapi_ffmpeg.n_vcodec_open(codec)).isTrue();
        assertThat(process(TRACK.packets().get(0), TRACK.packets().get(0).length)).isEqualTo(missing == 0 ? 4 : 8);
    }

    /** The lines below the picture show what memory holds where nothing is decoded: a grey that fits the depth. */
    @ParameterizedTest
    @CsvSource({"h264_baseline_320x240.mp4, 0x8080", "h264_high10_320x240.mp4, 0x0202"})
    void memoryIsGreyBeforeAnythingIsDecoded(String clip, int grey) {
        Track track = Track.of(TestMedia.clip(clip));
        Memory memory = new Memory(0, true);
        create(VideoFormat.of(track.stream()), PictureFormat.I420, memory);
        c_codecoptions_ffmpeg.n_vcodec_set_option(codec, c_codecoptions_ffmpeg.NATIVE_FORMAT, 1);
        assertThat(c_multimediaapi_ffmpeg.n_vcodec_open(codec)).isTrue();
        process(track.packets().get(0), track.packets().get(0).length);
        assertThat(memory.block.getShort(memory.lineSize * (HEIGHT + 1) + WIDTH) & 0xFFFF).isEqualTo(grey);
    }

    @Test
    void aDiscontinuityDropsWhatTheDecoderHoldsBack() {
        Track track = Track.of(TestMedia.clip("h264_b_320x240.mp4"));
        int[] pictures = new int[2];
        for (int flags : new int[] {0, 2}) {
            try (NativeDecoder decoder = new NativeDecoder(track, true, 0, null, PictureFormat.I420.toColorModel())) {
                for (int i = 0; i < 12; i++) {
                    int code = decoder.process(track.packets().get(i % 6), i == 6 ? flags : 0, i).code();
                    pictures[flags / 2] += code == 2 ? 0 : 1;
                }
            }
        }
        assertThat(pictures[1]).isLessThan(pictures[0]);
    }

    /** There is no place for a palette beside the picture, and without models nothing can be converted. */
    @Test
    void whatFitsNoArrayGivesNoPicture() {
        for (int[][] models : new int[][][] {{PictureFormat.RGB8.toColorModel()}, null}) {
            try (NativeDecoder decoder = new NativeDecoder(TRACK, true, 0, null, models)) {
                assertThat(TRACK.packets()).allMatch(packet -> decoder.process(packet, 0, 0).code() == 2);
            }
        }
    }
}
