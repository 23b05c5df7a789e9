package kiv.media.ffmpeg.exactness;

import java.nio.ByteBuffer;
import java.nio.ByteOrder;
import java.util.ArrayDeque;
import java.util.Arrays;
import java.util.Deque;
import java.util.List;
import java.util.function.LongUnaryOperator;
import kiv.media.ffmpeg.TestMedia.Clip;
import kiv.media.ffmpeg.exactness.NativeDecoder.Result;
import kiv.media.ffmpeg.natives.ArrayKind;
import kiv.media.ffmpeg.natives.BufferRequest;
import kiv.media.ffmpeg.natives.PictureLayout;
import kiv.media.ffmpeg.natives.ProcessResult;
import kiv.media.ffmpeg.natives.VideoParams;

/** Compares every result of a decoder with the reference: codes, timestamps, places of the planes and each byte. */
public final class Comparison {

    /** Any bits but that of a discontinuity. */
    private static final int FLAGS = 0x41;

    private Comparison() {
    }

    /** Decodes a clip with a new decoder and compares. @return how many pictures there were */
    public static int run(Clip clip, PictureModel model, boolean whole) {
        Track track = Track.of(clip);
        try (NativeDecoder decoder = new NativeDecoder(track, whole, model)) {
            check(decoder.format() == null, "there is a format before it was chosen");
            int count = run(decoder, clip, model, whole, LongUnaryOperator.identity());
            int[] format = decoder.format();
            check(format[0] == track.stream().width() && format[1] == track.stream().height() && format[2] > 0
                    && format[6] > 0 && Arrays.equals(format, PictureLayout.FOURCC, 15, model.description(), 0, 7),
                    "format: " + Arrays.toString(format));
            return count;
        }
    }

    /** Decodes a clip of whole packets with a decoder that is at its start, and compares. */
    public static void run(NativeDecoder decoder, Clip clip, PictureModel model) {
        run(decoder, clip, model, true, LongUnaryOperator.identity());
    }

    /** The same in packets or pieces of a packet, with the timestamp that goes with the packet of a number. */
    static int run(NativeDecoder decoder, Clip clip, PictureModel model, boolean whole, LongUnaryOperator sent) {
        List<byte[]> packets = Track.of(clip).packets();
        Reference.Decoding expected = Reference.decode(Track.of(clip), model.format(), whole);
        check(expected.packets() == packets.size(), packets.size() + " packets instead of " + expected.packets());
        Deque<Reference.Picture> waiting = new ArrayDeque<>();
        // Only I420 is found by the decoder's own format; YV12 and RGB are taken as the first of the list.
        boolean changes = model == PictureModel.I420 && !expected.pictures().isEmpty()
                && expected.pictures().get(0).decoded().matches("yuvj?420p") && decoder.format() == null;
        for (int number = 0; number < packets.size(); number++) {
            String place = clip.file() + " " + model + " whole: " + whole + " packet " + number + ": ";
            waiting.addAll(expected.of(number));
            Result result = decoder.process(packets.get(number), FLAGS, sent.applyAsLong(number));
            if (expected.failed().contains(number)) {
                checkResult(place, result, ProcessResult.DECODING_ERROR, null, clip, model, sent);
                continue;
            }
            int code;
            do {
                Reference.Picture picture = waiting.poll();
                code = picture == null ? ProcessResult.NO_PICTURE : !waiting.isEmpty() ? ProcessResult.PICTURE_AND_MORE
                        : changes ? ProcessResult.PICTURE_MODEL_CHANGED : ProcessResult.PICTURE;
                checkResult(place, result, code, picture, clip, model, sent);
                changes &= code != ProcessResult.PICTURE_MODEL_CHANGED;
                result = code == ProcessResult.PICTURE_AND_MORE ? decoder.process(null, FLAGS, -1) : null;
            } while (result != null);
        }
        return expected.pictures().size() - waiting.size();
    }

    private static void checkResult(String place, Result result, int code, Reference.Picture picture, Clip clip,
            PictureModel model, LongUnaryOperator sent) {
        int[] params = result.params();
        String what = place + Arrays.toString(params);
        check(result.code() == code, what + " code " + result.code() + " instead of " + code);
        int flags = params[VideoParams.CALL_FLAGS];
        check(result.out() != null == (picture != null) && (flags == FLAGS || flags == 0 && picture == null), what);
        if (picture == null) {
            int[] told = params.clone();
            told[VideoParams.CALL_FLAGS] = 0;
            int[] empty = new int[VideoParams.SIZE];
            empty[VideoParams.ARRAY_KIND] = ArrayKind.NONE;
            check(Arrays.equals(told, VideoParams.ARRAY_KIND, told.length, empty, VideoParams.ARRAY_KIND, empty.length), what);
            return;
        }
        long time = (long) params[VideoParams.PICTURE_TIME_HIGH] << 32 | params[VideoParams.PICTURE_TIME_LOW] & 0xffffffffL;
        long expected = sent.applyAsLong(picture.time());
        // A low half with its top bit set comes back with all bits of the high half set.
        check(time == ((int) expected < 0 ? (int) expected : expected), what + " time " + time + " instead of " + expected);
        check(params[VideoParams.ARRAY_KIND] == (model.isPlanar() ? ArrayKind.BYTE : ArrayKind.INT), what);
        check(params[VideoParams.PICTURE_SIZE] * result.elementSize() == model.bytes(picture.width(), picture.height())
                && params[VideoParams.REFERENCE_WORD] != 0, what);
        int[] layout = result.out().layout();
        // A converted picture keeps the size that the decoder was made for, and Java is told the stream's.
        check(!model.isPlanar() || layout[0] == picture.width() && layout[1] == picture.height(), what);
        // Only a picture cropped at its top or left begins inside its first plane.
        check((params[7] == 0 || model.isPlanar() && clip.traits().contains("cropped")) && params[10] == 0
                && (model.isPlanar() || params[8] == 0 && params[9] == 0), what);
        checkPlaces(result, picture.width(), picture.height());
        check(md5(result, model, picture.width(), picture.height()).equals(picture.md5()), what + " other pixels");
    }

    /** Checks that a picture's planes lie within its array, one behind the other. */
    public static void checkPlaces(Result result, int width, int height) {
        int[] params = result.params();
        int[] layout = result.out().layout();
        boolean planar = params[VideoParams.ARRAY_KIND] == ArrayKind.BYTE;
        int end = 0;
        for (int plane = 0; plane < (planar ? 3 : 1); plane++) {
            int lineSize = layout[PictureLayout.LINE_SIZES + plane];
            int columns = !planar ? lineSize : plane == 0 ? width : (width + 1) / 2;
            int start = params[VideoParams.PLANE_OFFSETS + plane];
            check(start >= end && lineSize >= columns, "planes overlap: " + Arrays.toString(params));
            end = start + lineSize * ((plane == 0 ? height : (height + 1) / 2) - 1) + columns;
        }
        int first = params[VideoParams.PICTURE_OFFSET] * result.elementSize();
        check(first >= 0 && first + end <= result.out().request()[BufferRequest.BYTES], "the planes end at " + (first + end));
    }

    /** MD5 of the visible bytes in the order of the reference. */
    static String md5(Result result, PictureModel model, int width, int height) {
        int[] layout = result.out().layout();
        int first = result.params()[VideoParams.PICTURE_OFFSET];
        ByteBuffer bytes = ByteBuffer.allocate(model.bytes(width, height)).order(ByteOrder.LITTLE_ENDIAN);
        // U comes before V in the sum, V before U in a YV12 array.
        for (int plane : model == PictureModel.YV12 ? List.of(0, 2, 1) : List.of(0, 1, 2)) {
            for (int line = 0; line < (plane == 0 ? height : (height + 1) / 2) && model.isPlanar(); line++) {
                int offset = result.params()[VideoParams.PLANE_OFFSETS + plane] + line * layout[2 + plane];
                bytes.put((byte[]) result.out().array(), first + offset, plane == 0 ? width : (width + 1) / 2);
            }
        }
        for (int line = 0; line < height && !model.isPlanar(); line++) {
            bytes.asIntBuffer().put((int[]) result.out().array(), first + line * layout[2] / 4, width);
            bytes.position(bytes.position() + 4 * width);
        }
        return Reference.md5(bytes.array());
    }

    /** Costs less than an assertion with a description, in loops over millions. */
    public static void check(boolean right, String what) {
        if (!right) {
            throw new AssertionError(what);
        }
    }
}
