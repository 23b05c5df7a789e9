package kiv.media.ffmpeg;

import java.nio.ByteBuffer;
import java.util.concurrent.ArrayBlockingQueue;

/**
 * The native converters, which know the tables of their last conversion: a thread takes one and gives it back, so there
 * are no more than were ever needed at the same time.
 */
final class PictureConverters {

    /** As many as can be at work at the same time; those of a crowd of threads are deleted after use. */
    private static final ArrayBlockingQueue<Long> IDLE =
            new ArrayBlockingQueue<>(Math.max(2, Runtime.getRuntime().availableProcessors()));

    private PictureConverters() {
    }

    /**
     * Converts a picture.
     *
     * @param from held by the caller, and released here
     * @param fromPlace as {@link c_pictureconverter_ffmpeg#n_convert} takes it
     */
    static void convert(PictureMemory from, int[] fromPlace, ByteBuffer to, int[] toPlace) {
        Long converter = IDLE.poll();
        try {
            if (converter == null) {
                converter = c_pictureconverter_ffmpeg.n_create_converter(FfmpegLibrary.context());
            }
            c_pictureconverter_ffmpeg.n_convert(converter, from.buffer(), fromPlace, to, toPlace,
                    c_pictureconverter_ffmpeg.BICUBIC);
        } catch (RuntimeException e) {
            throw e.getClass() == RuntimeException.class
                    ? new UnsupportedOperationException(MediaException.plain(e), e) : e;
        } finally {
            from.release();
            if (converter != null && !IDLE.offer(converter)) {
                c_pictureconverter_ffmpeg.n_delete_converter(converter);
            }
        }
    }
}
