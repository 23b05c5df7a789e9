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
import kiv.media.ffmpeg.natives.ProcessResult;

/** Holds every result of a decoder against the reference: codes, timestamps, places of the planes and each byte. */
public final class Comparison {


    /** Any bits but that of a discontinuity. */
    private static final int FLAGS = 0x41;

    private final NativeDecoder decoder;
    private final PictureModel model;
    private final Deque<Reference.Picture> waiting = new ArrayDeque<>();
    private final boolean cropped;
    private final LongUnaryOperator sent;
    private boolean announced;
    private int pictures;

    private Comparison(NativeDecoder decoder, PictureModel model, boolean cropped, LongUnaryOperator sent) {
        this.decoder = decoder;
        this.model = model;
        this.cropped = cropped;
        this.sent = sent;
    }

    /** Decodes a clip with a new decoder and compares. @return how many pictures there were */
    public static int run(Clip clip, PictureModel model, boolean whole, int subtype) {
        Track track = Track.of(clip);
        try (NativeDecoder decoder = new NativeDecoder(track, whole, subtype, model)) {
            check(decoder.format() == null, "a format is told before it was chosen");
            int count = run(decoder, clip, model, whole, LongUnaryOperator.identity());
            checkFormat(decoder.format(), track, model);
            return count;
        }
    }

    /** Decodes a clip of whole packets with a decoder that is at its start, and compares. */
    public static void run(NativeDecoder decoder, Clip clip, PictureModel model) {
        run(decoder, clip, model, true, LongUnaryOperator.identity());
    }

    /**
     * Decodes a clip with a decoder that is at its start, and compares.
     *
     * @param sent the timestamp that goes with the packet of a number
     * @return how many pictures there were
     */
    static int run(NativeDecoder decoder, Clip clip, PictureModel model, boolean whole, LongUnaryOperator sent) {
        Track track = Track.of(clip);
        Reference.Decoding expected = Reference.decode(track, model.format(), whole);
        check(expected.packets() == track.packets().size(),
                "packets: " + track.packets().size() + " instead of " + expected.packets());
        Comparison comparison = new Comparison(decoder, model, clip.traits().contains("cropped"), sent);
        // Only I420 is found by the decoder's own format; YV12 and RGB are taken as the first of the list.
        comparison.announced = model != PictureModel.I420 || expected.pictures().isEmpty()
                || !expected.pictures().get(0).decoded().matches("yuvj?420p") || decoder.format() != null;
        for (int packet = 0; packet < expected.packets(); packet++) {
            try {
                comparison.packet(track.packets().get(packet), packet, expected);
            } catch (AssertionError e) {
                throw new AssertionError(clip + " " + model + (whole ? " whole" : "") + " packet " + packet + " picture "
                        + comparison.pictures + ": " + e.getMessage(), e);
            }
        }
        return comparison.pictures;
    }

    private void packet(byte[] bytes, int number, Reference.Decoding expected) {
        waiting.addAll(expected.of(number));
        Result result = decoder.process(bytes, FLAGS, sent.applyAsLong(number));
        if (expected.failed().contains(number)) {
            check(result.code() == ProcessResult.DECODING_ERROR, "code " + result.code() + " instead of an error");
            checkEmpty(result);
            return;
        }
        picture(result);
        while (result.code() == ProcessResult.PICTURE_AND_MORE) {
            result = decoder.process(null, FLAGS, -1);
            picture(result);
        }
    }

    private void picture(Result result) {
        Reference.Picture expected = waiting.poll();
        int code = expected == null ? ProcessResult.NO_PICTURE
                : !waiting.isEmpty() ? ProcessResult.PICTURE_AND_MORE
                : announced ? ProcessResult.PICTURE : ProcessResult.PICTURE_MODEL_CHANGED;
        check(result.code() == code, "code " + result.code() + " instead of " + code);
        if (expected == null) {
            checkEmpty(result);
            return;
        }
        announced |= code == ProcessResult.PICTURE_MODEL_CHANGED;
        check(result.out() != null, "no array");
        long time = sent.applyAsLong(expected.time());
        // A low half with its top bit set comes back with all bits of the high half set.
        time = (int) time < 0 ? (int) time : time;
        check(result.time() == time, "time " + result.time() + " instead of " + time);
        checkTold(result, expected);
        String md5 = md5(result, model, expected.width(), expected.height());
        check(md5.equals(expected.md5()), "other pixels, of " + expected.width() + "x" + expected.height());
        pictures++;
    }

    private void checkTold(Result result, Reference.Picture expected) {
        int[] params = result.params();
        int[] layout = result.out().layout();
        int size = model.bytes(expected.width(), expected.height());
        check(params[5] == (model.isPlanar() ? 0 : 2), "kind of array: " + params[5]);
        check(params[11] * result.elementSize() == size, "size: " + params[11]);
        check(params[12] == FLAGS, "flags: " + params[12]);
        check(params[15] != 0, "no opaque value");
        // A converted picture keeps the size that the decoder was made for, and Java is told the stream's.
        check(!model.isPlanar() || layout[0] == expected.width() && layout[1] == expected.height(),
                "layout: " + Arrays.toString(layout));
        // Only a picture cropped at its top or left begins inside its first plane.
        check((params[7] == 0 || model.isPlanar() && cropped) && params[10] == 0
                && (model.isPlanar() || params[8] == 0 && params[9] == 0), "places of the planes: " + Arrays.toString(params));
        checkPlaces(result, expected.width(), expected.height());
    }

    /** Checks that a picture's planes lie within its array, one behind the other. */
    public static void checkPlaces(Result result, int width, int height) {
        int[] params = result.params();
        int[] layout = result.out().layout();
        boolean planar = params[5] == 0;
        int end = 0;
        for (int plane = 0; plane < (planar ? 3 : 1); plane++) {
            int columns = !planar ? layout[2] : plane == 0 ? width : (width + 1) / 2;
            int lines = plane == 0 ? height : (height + 1) / 2;
            check(params[7 + plane] >= end && layout[2 + plane] >= columns, "planes overlap: " + Arrays.toString(params));
            end = params[7 + plane] + layout[2 + plane] * (lines - 1) + columns;
        }
        int first = params[6] * result.elementSize();
        int size = result.out().buffer()[1];
        check(first >= 0 && first + end <= size, "the planes end at " + (first + end) + ", the array at " + size);
    }

    /** MD5 of the visible bytes in the order of the reference. */
    static String md5(Result result, PictureModel model, int width, int height) {
        int[] params = result.params();
        int[] layout = result.out().layout();
        ByteBuffer bytes = ByteBuffer.allocate(model.bytes(width, height)).order(ByteOrder.LITTLE_ENDIAN);
        if (model.isPlanar()) {
            byte[] array = (byte[]) result.out().array();
            // U comes before V in the sum, V before U in a YV12 array.
            for (int plane : model == PictureModel.YV12 ? List.of(0, 2, 1) : List.of(0, 1, 2)) {
                int columns = plane == 0 ? width : (width + 1) / 2;
                int lines = plane == 0 ? height : (height + 1) / 2;
                for (int line = 0; line < lines; line++) {
                    bytes.put(array, params[6] + params[7 + plane] + line * layout[2 + plane], columns);
                }
            }
        } else {
            for (int line = 0; line < height; line++) {
                bytes.asIntBuffer().put((int[]) result.out().array(), params[6] + line * layout[2] / 4, width);
                bytes.position(bytes.position() + 4 * width);
            }
        }
        return Reference.md5(bytes.array());
    }

    private static void checkEmpty(Result result) {
        int[] params = result.params();
        check(result.out() == null && params[5] == ArrayKind.NONE && params[15] == 0, "a picture with code " + result.code());
        check(params[12] == FLAGS || params[12] == 0, "flags: " + params[12]);
        for (int i : new int[] {6, 7, 8, 9, 10, 11, 13, 14}) {
            check(params[i] == 0, "index " + i + " without a picture: " + params[i]);
        }
    }

    private static void checkFormat(int[] format, Track track, PictureModel model) {
        int[] description = model.description();
        check(format[0] == track.stream().width() && format[1] == track.stream().height() && format[6] > 0 && format[2] > 0,
                "format: " + Arrays.toString(format));
        check(format[8] == description[0]
                && Arrays.equals(format, 9, 15, description, 1, 7), "format: " + Arrays.toString(format));
    }

    /** Costs less than an assertion with a description, in loops over millions. */
    public static void check(boolean right, String what) {
        if (!right) {
            throw new AssertionError(what);
        }
    }
}
