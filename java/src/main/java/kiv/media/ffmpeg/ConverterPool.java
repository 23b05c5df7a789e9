package kiv.media.ffmpeg;

import java.lang.ref.WeakReference;
import java.nio.ByteBuffer;
import java.nio.ByteOrder;
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

    /** A converter with the memory of its last picture, unless the garbage collector freed that. */
    private static final class Converter {
        private final long address = c_pictureconverter_ffmpeg.n_create_converter(FfmpegLibrary.context());
        private WeakReference<ByteBuffer> last = new WeakReference<>(null);

        ByteBuffer scratch(int size) {
            ByteBuffer scratch = last.get();
            if (scratch == null || scratch.capacity() < size) {
                scratch = PictureMemoryPool.fresh(size).order(ByteOrder.LITTLE_ENDIAN);
                last = new WeakReference<>(scratch);
            }
            return scratch;
        }

        void convert(PictureMemory from, int[] fromPlace, ByteBuffer to, int[] toPlace) {
            c_pictureconverter_ffmpeg.n_convert(address, from.buffer(), fromPlace, to, toPlace,
                    c_pictureconverter_ffmpeg.BICUBIC);
        }
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
        with(converter -> converter.convert(from, fromPlace, to, toPlace));
    }

    /**
     * Converts a picture into an array.
     *
     * @param from the source, which the caller uses and releases
     * @param toPlace a little-endian format of four bytes, in rows without padding
     * @param pixels one element for each pixel
     */
    static void convert(PictureMemory from, int[] fromPlace, int[] toPlace, int[] pixels) {
        with(converter -> {
            ByteBuffer scratch = converter.scratch(Math.multiplyExact(pixels.length, Integer.BYTES));
            converter.convert(from, fromPlace, scratch, toPlace);
            scratch.asIntBuffer().get(pixels);
        });
    }

    private static void with(Consumer<Converter> work) {
        Converter converter = IDLE.poll();
        try {
            converter = converter == null ? new Converter() : converter;
            work.accept(converter);
        } catch (RuntimeException | Error e) {
            throw e.getClass() == RuntimeException.class ? new UnsupportedOperationException(MediaException.plain(e), e)
                    : MediaException.of(e, "converting a picture", MediaException::new);
        } finally {
            if (converter != null && !IDLE.offer(converter)) {
                c_pictureconverter_ffmpeg.n_delete_converter(converter.address);
            }
        }
    }
}
