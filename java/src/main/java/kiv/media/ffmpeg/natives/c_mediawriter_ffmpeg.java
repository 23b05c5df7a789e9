package kiv.media.ffmpeg.natives;

import java.io.IOException;

/**
 * The native entry points of the container writer, below {@link kiv.media.ffmpeg.AudioFileWriter}. As in
 * {@link kiv.media.ffmpeg.c_multimediaapi_ffmpeg}, the library detects no wrong handles but 0, and one thread at a time
 * uses a writer. A writer writes to its sink only; no content and no format makes the process open anything.
 */
public final class c_mediawriter_ffmpeg {

    private c_mediawriter_ffmpeg() {
    }

    /**
     * Opens a container for one stream of sound and writes its header.
     *
     * @param context a handle of {@link kiv.media.ffmpeg.c_multimediaapi_ffmpeg#n_init}, which outlives the writer
     * @param sink takes the bytes, a {@link c_mediawriter_sink} that only this writer uses
     * @param seekable whether the sink can be written at any place. Without that {@code ipod} and {@code 3gp} are
     *     refused, and {@code flac} states no length
     * @param format FFmpeg's short name: {@code flac}, {@code ogg}, {@code ipod} for M4A, {@code 3gp} or {@code amr}
     * @param codec FFmpeg's short name of the codec
     * @param sound what will be written, laid out as {@link WriterFields}
     * @param extradata the encoder's private data, all of the array; null when there is none
     * @return the writer's handle, never 0
     * @throws IOException when the sink throws it
     * @throws RuntimeException when the library or this FFmpeg does not write the format, or it does not take the sound
     */
    public static native long n_writer_open(long context, Object sink, boolean seekable, String format, String codec,
            long[] sound, byte[] extradata) throws IOException;

    /**
     * Writes a packet.
     *
     * @param writer a handle of {@link #n_writer_open}
     * @param bytes the packet, all of the array
     * @param time when it begins, in samples; below 0 for what an encoder puts before the sound
     * @param duration how many samples of a channel it lasts, without silence that fills it
     * @throws IOException when the sink throws it
     * @throws RuntimeException when the packet cannot be written, or the writer is finished
     */
    public static native void n_writer_write(long writer, byte[] bytes, long time, long duration) throws IOException;

    /**
     * Writes the end of the container.
     *
     * @param writer a handle of {@link #n_writer_open}
     * @param extradata the private data that the encoder has now, all of the array; null when they have not changed
     * @throws IOException when the sink throws it
     * @throws RuntimeException when the end cannot be written, or the writer is finished
     */
    public static native void n_writer_finish(long writer, byte[] extradata) throws IOException;

    /**
     * Deletes a writer. A container that is not finished stays as it is. The sink is not called.
     *
     * @param writer a writer's handle, invalid after the call
     */
    public static native void n_writer_delete(long writer);
}
