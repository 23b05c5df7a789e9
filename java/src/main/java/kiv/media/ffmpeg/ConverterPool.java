package kiv.media.ffmpeg;

import java.nio.ByteBuffer;
import java.util.concurrent.ArrayBlockingQueue;
import java.util.function.Consumer;
import kiv.media.ffmpeg.natives.c_pictureconverter_ffmpeg;

/**
 * Keeps native converters for the next conversion, because a converter caches the tables of its last one. One thread
 * uses a converter at a time.
 */
final class ConverterPool {

    /** At most one for each processor, and at least two. Further converters are deleted after use. */
    private static final ArrayBlockingQueue<Converter> IDLE =
            new ArrayBlockingQueue<>(Math.max(2, Runtime.getRuntime().availableProcessors()));

    private ConverterPool() {
    }

    /** One native converter. */
    private static final class Converter {
        private final long address = c_pictureconverter_ffmpeg.n_create_converter(FfmpegLibrary.context());
    }

    /**
     * Converts a picture.
     *
     * @param from the source, which the caller uses and releases
     * @param fromPlace as for {@link c_pictureconverter_ffmpeg#n_convert}
     * @throws UnsupportedOperationException when the formats cannot be converted
     * @throws MediaException when there is no memory left
     */
    static void convert(PictureMemory from, int[] fromPlace, ByteBuffer to, int[] toPlace) {
        with(converter -> c_pictureconverter_ffmpeg.n_convert(converter.address, from.buffer(), fromPlace, to, toPlace,
                c_pictureconverter_ffmpeg.BICUBIC));
    }

    /**
     * Converts a picture into an array, turned as players do.
     *
     * @param from the source, which the caller uses and releases
     * @param toPlace a format of four bytes, and the size before the turning
     * @param pixels one element for each pixel
     */
    static void convert(PictureMemory from, int[] fromPlace, int[] toPlace, int[] pixels, Presentation turn) {
        with(converter -> c_pictureconverter_ffmpeg.n_convert_into(converter.address, from.buffer(), fromPlace, pixels,
                toPlace, c_pictureconverter_ffmpeg.BICUBIC, turn.rotation(), turn.mirrored()));
    }

    /**
     * Turns a picture as players do.
     *
     * @param from the source, which the caller uses and releases
     * @param toPlace the same format, and the size after the turning
     */
    static void turn(PictureMemory from, int[] fromPlace, ByteBuffer to, int[] toPlace, Presentation turn) {
        try {
            c_pictureconverter_ffmpeg.n_turn(FfmpegLibrary.context(), from.buffer(), fromPlace, to, toPlace, turn.rotation(),
                    turn.mirrored());
        } catch (RuntimeException | Error e) {
            throw failure(e, "turning a picture");
        }
    }

    private static void with(Consumer<Converter> work) {
        Converter converter = IDLE.poll();
        try {
            converter = converter == null ? new Converter() : converter;
            work.accept(converter);
        } catch (RuntimeException | Error e) {
            throw failure(e, "converting a picture");
        } finally {
            if (converter != null && !IDLE.offer(converter)) {
                c_pictureconverter_ffmpeg.n_delete_converter(converter.address);
            }
        }
    }

    private static RuntimeException failure(Throwable e, String what) {
        return e.getClass() == RuntimeException.class ? new UnsupportedOperationException(MediaException.plain(e), e)
                : MediaException.of(e, what, MediaException::new);
    }
}
