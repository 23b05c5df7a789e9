package kiv.media.ffmpeg;

import static kiv.media.ffmpeg.Refusals.refused;
import static org.assertj.core.api.Assertions.assertThat;

import java.nio.ByteBuffer;
import java.nio.ByteOrder;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import java.util.Locale;
import java.util.concurrent.CopyOnWriteArrayList;
import java.util.stream.Stream;
import kiv.media.ffmpeg.exactness.NativeDecoder;
import kiv.media.ffmpeg.exactness.Reference;
import kiv.media.ffmpeg.exactness.Track;
import kiv.media.ffmpeg.natives.ArrayKind;
import kiv.media.ffmpeg.natives.BufferRequest;
import kiv.media.ffmpeg.natives.BufferSlots;
import kiv.media.ffmpeg.natives.PictureLayout;
import kiv.media.ffmpeg.natives.ProcessFlags;
import kiv.media.ffmpeg.natives.ProcessResult;
import kiv.media.ffmpeg.natives.VideoFormatLayout;
import kiv.media.ffmpeg.natives.VideoParams;
import kiv.media.ffmpeg.natives.c_codecoptions_ffmpeg;
import org.junit.jupiter.api.AfterEach;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.CsvSource;

/** The natives of contexts and of video: with arrays that the library allocates, wrong ones, and in the wrong order. */
class VideoEntryPointsTest {

    private static final int WIDTH = 320;
    private static final int HEIGHT = 240;
    private static final Track TRACK = Track.of(TestMedia.clip("h264_baseline_320x240.mp4"));

    private final Object[] out = new Object[1];
    private final int[] params = new int[VideoParams.SIZE];
    private long codec;

    @AfterEach
    void delete() {
        if (codec != 0) {
            c_multimediaapi_ffmpeg.n_vcodec_delete(codec);
            codec = 0;
        }
    }

    private void create(VideoFormat format, PictureFormat model, VideoBuffers buffers, String... options) {
        delete();
        codec = c_multimediaapi_ffmpeg.n_create_vcodec_to_raw(FfmpegLibrary.context(), format.subtype(),
                format.toNative(), format.extradata(), new Object[] {model.toColorModel()}, buffers);
        Stream.concat(Stream.of(c_codecoptions_ffmpeg.WHOLE_PACKETS), Stream.of(options))
                .forEach(option -> c_codecoptions_ffmpeg.n_vcodec_set_option(codec, option, 1));
    }

    private int process(byte[] data, int length) {
        Arrays.fill(params, 0);
        params[VideoParams.LENGTH] = length;
        return c_multimediaapi_ffmpeg.n_vcodec_process(codec, data, out, params);
    }

    private int process(Track track, int packet) {
        return process(track.packets().get(packet), track.packets().get(packet).length);
    }

    /** Opens the decoder, and decodes a first packet. */
    private int first() {
        assertThat(c_multimediaapi_ffmpeg.n_vcodec_open(codec)).isTrue();
        return process(TRACK, 0);
    }

    /** Every stream is compared in bytes and ints elsewhere. */
    @ParameterizedTest
    @CsvSource({"YUY2, yuyv422", "UYVY, uyvy422", "RGB15, rgb555be", "RGB16, rgb565be"})
    void modelsOfTwoBytesComeInShorts(PictureFormat model, String pixels) {
        create(VideoFormat.of(TRACK.stream()), model, null);
        assertThat(first()).isIn(ProcessResult.PICTURE, ProcessResult.PICTURE_MODEL_CHANGED);
        assertThat(params[VideoParams.ARRAY_KIND]).isEqualTo(ArrayKind.SHORT);
        assertThat(Arrays.copyOfRange(params, 7, 11)).containsOnly(0);
        int[] layout = c_multimediaapi_ffmpeg.n_get_vcodec_dst_format(codec);
        assertThat(layout).startsWith(WIDTH, HEIGHT).hasSize(16);
        ByteBuffer bytes = ByteBuffer.allocate(WIDTH * HEIGHT * Short.BYTES).order(ByteOrder.LITTLE_ENDIAN);
        for (int line = 0; line < HEIGHT; line++) {
            bytes.position(line * WIDTH * Short.BYTES).asShortBuffer()
                    .put((short[]) out[0], params[6] + line * layout[2] / Short.BYTES, WIDTH);
        }
        assertThat(Reference.decode(TRACK, pixels, true).pictures().get(0).md5()).isEqualTo(Reference.md5(bytes.array()));
    }

    /** The scaler by itself divides by zero, or runs out of rows, for some of these. */
    @ParameterizedTest
    @CsvSource({"1, 16", "2, 16", "3, 16", "4, 16", "5, 16", "320, 2", "2, 500"})
    void pictureMayBeOfAnotherSizeThanTheFormat(int width, int height) {
        VideoFormat told = VideoFormat.of(TRACK.stream());
        for (PictureFormat model : List.of(PictureFormat.RGB32, PictureFormat.YUY2)) {
            create(VideoFormat.of(told.subtype(), width, height, 0, told.extradata(), new Rational(1, 25)), model, null);
            assertThat(first()).isIn(ProcessResult.PICTURE, ProcessResult.PICTURE_MODEL_CHANGED);
        }
    }

    @Test
    void whatCannotBeCreatedIsRefused() {
        int[] format = VideoFormat.of(TRACK.stream()).toNative();
        String h264 = MediaSubtypes.H264_ANNEX_B;
        Object[] models = {PictureFormat.I420.toColorModel()};
        refused(RuntimeException.class, " in line ", () -> createNative(h264, format, new Object[0]),
                () -> createNative(h264, format, new Object[] {new int[] {FourCharacterCode.of("NV12"), 12, 12, 0, 0, 0, 0}}),
                () -> createNative(null, format, models), () -> createNative(h264, null, models),
                () -> createNative(h264.toUpperCase(Locale.ROOT).replace("34363248", "3436324A"), format, models),
                () -> createNative("nonsense", format, models));
        format[VideoFormatLayout.EXTRADATA_LENGTH] = -1;
        refused(OutOfMemoryError.class, "thrown from native code", () -> createNative(h264, format, models));
        refused(RuntimeException.class, "ilp_hffmpeg == 0 in line 2211", () -> c_multimediaapi_ffmpeg.n_close(0));
    }

    private static void createNative(String subtype, int[] format, Object[] models) {
        c_multimediaapi_ffmpeg.n_create_vcodec_to_raw(FfmpegLibrary.context(), subtype, format, null, models, null);
    }

    @Test
    void callsInTheWrongOrderAreToldAndHarmNothing() {
        create(VideoFormat.of(TRACK.stream()), PictureFormat.I420, null);
        assertThat(process(TRACK, 0)).as("not open").isEqualTo(ProcessResult.DECODING_ERROR);
        refused(RuntimeException.class, "no such text of FFmpeg: 4",
                () -> c_codecoptions_ffmpeg.n_get_ffmpeg_text(FfmpegLibrary.context(), 4));
        refused(RuntimeException.class, "nonsense", () -> c_codecoptions_ffmpeg.n_vcodec_set_option(codec, "nonsense", 1));
        refused(RuntimeException.class, "impossible value of codec option colorspace: 256",
                () -> c_codecoptions_ffmpeg.n_vcodec_set_option(codec, c_codecoptions_ffmpeg.COLOR_SPACE, 256));
        assertThat(c_multimediaapi_ffmpeg.n_vcodec_open(codec)).isTrue();
        refused(RuntimeException.class, "", () -> c_codecoptions_ffmpeg.n_vcodec_set_option(codec,
                c_codecoptions_ffmpeg.WHOLE_PACKETS, 1));
        refused(Error.class, "imp_lendata", () -> process(TRACK.packets().get(0), -1));
        assertThat(first()).isEqualTo(ProcessResult.PICTURE_MODEL_CHANGED);
        assertThat(c_multimediaapi_ffmpeg.n_vcodec_close(codec)).isTrue();
        assertThat(c_multimediaapi_ffmpeg.n_vcodec_close(codec)).isTrue();
        assertThat(c_multimediaapi_ffmpeg.n_vcodec_reset(codec)).isTrue();
        assertThat(first()).as("opened again").isEqualTo(ProcessResult.PICTURE);
    }

    /** The first packet, where the sequence has no pictures of two directions. */
    private static byte[] inOrder(Track track) {
        byte[] packet = track.packets().get(0).clone();
        int extension = 0;
        while (ByteBuffer.wrap(packet).getInt(extension) != 0x1B5 || packet[extension + 4] >> 4 != 1) {
            extension++;
        }
        packet[extension + 9] |= (byte) 0x80;
        return packet;
    }

    @Test
    void aPictureThatComesAgainHasTheFieldsOfBefore() {
        Track track = Track.of(TestMedia.clip("mpeg2_interlaced_b_720x576.ts"));
        try (VideoDecoder decoder = VideoDecoder.open(VideoFormat.of(track.stream()))) {
            List<Picture> pictures = new ArrayList<>(decoder.decode(Packet.of(inOrder(track), 0, 0, 0, true)));
            for (int i = 1; i <= 12; i++) {
                pictures.addAll(decoder.decode(Packet.of(track.packets().get(i % 12), 0, 0, 0, true)));
            }
            assertThat(pictures).hasSize(13).allMatch(Picture::isInterlaced);
        }
    }

    /** Of a decoder that changes its mind about the order of pictures, which then come again in the memory of before. */
    @Test
    void aPictureThatComesAgainHasMemoryOfItsOwn() {
        Track track = Track.of(TestMedia.clip("mpeg2_320x240.m2v"));
        create(VideoFormat.of(track.stream()), PictureFormat.I420, null);
        c_multimediaapi_ffmpeg.n_vcodec_open(codec);
        byte[] inOrder = inOrder(track);
        byte[] last = {};
        List<byte[]> arrays = new ArrayList<>();
        for (int i = 0; i <= 12; i++) {
            assertThat(i == 0 ? process(inOrder, inOrder.length) : process(track, i)).as("packet %d", i).isIn(0, 4);
            byte[] array = (byte[]) out[0];
            byte[] picture = Arrays.copyOfRange(array, params[6], params[6] + params[VideoParams.PICTURE_SIZE]);
            assertThat(arrays).noneMatch(before -> before == array);
            assertThat(i < 12 || Arrays.equals(picture, last)).isTrue();
            last = picture;
            // It is Java's, although the decoder refers to the picture for long after.
            Arrays.fill(array, (byte) 7);
            arrays.add(array);
        }
        delete();
        assertThat(arrays).as("not written any more").allSatisfy(array -> assertThat(array).containsOnly(7));
    }

    /** Allocates the memory that it is told to, and keeps the last. */
    private static final class Memory implements VideoBuffers {
        private String kind = "direct";
        private Object last;
        private int lineSize;

        @Override
        public boolean allocate(int[] layout, int[] request, Object[] slots) {
            int bytes = request[BufferRequest.BYTES];
            lineSize = layout[PictureLayout.LINE_SIZES];
            slots[BufferSlots.MEMORY] = slots[BufferSlots.RESULT] = last = switch (kind) {
                case "bytes" -> new byte[bytes];
                case "too few bytes" -> new byte[bytes - 1];
                case "ints" -> new int[bytes / Integer.BYTES];
                case "too few ints" -> new int[bytes / Integer.BYTES - 1];
                case "direct" -> ByteBuffer.allocateDirect(bytes);
                case "too little direct" -> ByteBuffer.allocateDirect(bytes - 1);
                case "exception" -> throw new IllegalStateException("refused");
                case "nothing" -> null;
                default -> "no array";
            };
            return !kind.equals("refusal");
        }

        @Override
        public void free(Object[] slots) {
            assertThat(slots[BufferSlots.RESULT]).isSameAs(last);
        }
    }

    /** The packet is lost, nothing else. Without an array for the converted picture only that is dropped. */
    @ParameterizedTest
    @CsvSource({"I420, direct, too little direct, 8", "I420, bytes, too few bytes, 8", "I420, bytes, ints, 8",
        "I420, bytes, text, 8", "I420, bytes, nothing, 8", "I420, bytes, refusal, 8", "I420, bytes, exception, -1",
        "RGB32, ints, too few ints, 2", "RGB32, ints, bytes, 2", "RGB32, ints, nothing, 2", "RGB32, ints, refusal, 2",
        "RGB32, ints, exception, -1"})
    void memoryThatDoesNotFitIsRefused(PictureFormat model, String fits, String kind, int result) {
        Memory memory = new Memory();
        memory.kind = kind;
        create(VideoFormat.of(TRACK.stream()), model, memory,
                fits.equals("direct") ? c_codecoptions_ffmpeg.DIRECT_BUFFERS : c_codecoptions_ffmpeg.WHOLE_PACKETS);
        if (kind.equals("exception")) {
            refused(IllegalStateException.class, "refused", this::first);
        } else {
            assertThat(first()).isEqualTo(result);
        }
        assertThat(out[0]).isNull();
        memory.kind = fits;
        c_multimediaapi_ffmpeg.n_vcodec_reset(codec);
        assertThat(first()).isIn(ProcessResult.PICTURE, ProcessResult.PICTURE_MODEL_CHANGED);
        assertThat(out[0]).isSameAs(memory.last);
    }

    /** The lines below the picture show what memory holds where nothing is decoded: a grey that fits the depth. */
    @ParameterizedTest
    @CsvSource({"h264_baseline_320x240.mp4, 0x8080", "h264_high10_320x240.mp4, 0x0202"})
    void memoryIsGreyBeforeAnythingIsDecoded(String clip, int grey) {
        Track track = Track.of(TestMedia.clip(clip));
        Memory memory = new Memory();
        create(VideoFormat.of(track.stream()), PictureFormat.I420, memory, c_codecoptions_ffmpeg.NATIVE_FORMAT);
        assertThat(c_multimediaapi_ffmpeg.n_vcodec_open(codec)).isTrue();
        process(track, 0);
        assertThat(((ByteBuffer) memory.last).getShort(memory.lineSize * (HEIGHT + 1) + WIDTH) & 0xFFFF).isEqualTo(grey);
    }

    @Test
    void aDiscontinuityDropsWhatTheDecoderHoldsBack() {
        Track track = Track.of(TestMedia.clip("h264_b_320x240.mp4"));
        int[] pictures = new int[2];
        for (int run = 0; run < 2; run++) {
            try (NativeDecoder decoder = new NativeDecoder(track, true, null, PictureFormat.I420.toColorModel())) {
                for (int i = 0; i < 12; i++) {
                    int flags = i == 6 ? run * ProcessFlags.DISCONTINUITY : 0;
                    pictures[run] += decoder.process(track.packets().get(i % 6), flags, i).out() == null ? 0 : 1;
                }
            }
        }
        assertThat(pictures[1]).isLessThan(pictures[0]);
    }

    /** There is no place for a palette beside the picture, and without models nothing can be converted. */
    @Test
    void whatFitsNoArrayGivesNoPicture() {
        for (int[][] models : new int[][][] {{PictureFormat.RGB8.toColorModel()}, null}) {
            try (NativeDecoder decoder = new NativeDecoder(TRACK, true, null, models)) {
                assertThat(TRACK.packets()).allMatch(packet -> decoder.process(packet, 0, 0).code() == 2);
            }
        }
    }

    /** Keeps what the library logs. */
    private static final class Receiver extends c_multimediaapi_ffmpeg {
        private final List<String> lines = new CopyOnWriteArrayList<>();
        private final long context = n_init(TestMedia.ffmpeg().toString(), this, 5);
        private boolean fails;

        @Override
        public void print_info(int level, String line) {
            lines.add(level + ":" + line);
            if (fails) {
                throw new IllegalStateException("refused");
            }
        }

        long createCodec() {
            lines.clear();
            return n_create_vcodec_to_raw(context, MediaSubtypes.H264_ANNEX_B, VideoFormat.of(TRACK.stream()).toNative(),
                    TRACK.stream().extradata(), new Object[] {PictureFormat.I420.toColorModel()}, null);
        }
    }

    @Test
    void theNewestContextsReceiverHearsUntilAContextIsClosed() {
        Receiver first = new Receiver();
        Receiver second = new Receiver();
        c_multimediaapi_ffmpeg.n_vcodec_delete(first.createCodec());
        assertThat(first.lines).isEmpty();
        assertThat(second.lines).anyMatch(line -> line.startsWith("5:") && line.contains("imc_width=320"));
        // The end of any context silences them all.
        c_multimediaapi_ffmpeg.n_close(first.context);
        c_multimediaapi_ffmpeg.n_vcodec_delete(second.createCodec());
        assertThat(second.lines).isEmpty();
        c_multimediaapi_ffmpeg.n_close(second.context);
    }

    @Test
    void whatTheReceiverThrowsReachesTheCaller() {
        Receiver receiver = new Receiver();
        codec = receiver.createCodec();
        assertThat(first()).isEqualTo(ProcessResult.PICTURE_MODEL_CHANGED);
        receiver.fails = true;
        refused(IllegalStateException.class, "refused", () -> process(TRACK, 1),
                () -> c_multimediaapi_ffmpeg.n_close(receiver.context));
        receiver.fails = false;
        c_multimediaapi_ffmpeg.n_vcodec_reset(codec);
        assertThat(first()).as("as good as before").isEqualTo(ProcessResult.PICTURE);
    }

    @Test
    void aContextOutlivesItsCloseUntilItsLastCodecIsDeleted() {
        Receiver receiver = new Receiver();
        long last = receiver.createCodec();
        c_multimediaapi_ffmpeg.n_close(receiver.context);
        assertThat(receiver.lines).filteredOn(line -> line.contains("n_close() counter")).isNotEmpty()
                .anyMatch(line -> line.endsWith("c_ffmpeg::n_close() counter=2"))
                .allMatch(line -> line.startsWith("5:    #Java_kiv_media_ffmpeg_c_1multimediaapi_1ffmpeg_n_1close()"));
        assertThat(c_multimediaapi_ffmpeg.n_vcodec_get_name(last)).isEqualTo("native videocodec");
        c_multimediaapi_ffmpeg.n_vcodec_delete(last);
    }
}
