package kiv.media.ffmpeg.natives;

import java.io.IOException;
import java.lang.annotation.Native;

/**
 * The native entry points of the container reader, underneath {@link kiv.media.ffmpeg.MediaReader}. As in
 * {@link kiv.media.ffmpeg.c_multimediaapi_ffmpeg}, handles are not checked and a reader is used by one thread at a time.
 * A stream index out of range raises a {@link RuntimeException}. Absent times are {@link Long#MIN_VALUE}.
 */
public final class c_mediareader_ffmpeg {

    /** Instead of a stream: a time is in microseconds. */
    @Native public static final int NO_STREAM = -1;

    private c_mediareader_ffmpeg() {
    }

    /**
     * Opens a container and examines its streams.
     *
     * @param context a handle of {@link kiv.media.ffmpeg.c_multimediaapi_ffmpeg#n_init}, which outlives the reader
     * @param source the bytes, a {@link c_mediareader_source} that only this reader uses
     * @return the reader's handle, never 0
     * @throws IOException what the source threw
     * @throws RuntimeException when the bytes are no known container
     */
    public static native long n_reader_open(long context, Object source) throws IOException;

    /**
     * Describes the container.
     *
     * @param reader a handle of {@link #n_reader_open}
     * @return a new array, laid out as {@link ReaderInfo}
     */
    public static native long[] n_reader_get_info(long reader);

    /**
     * Names the container format.
     *
     * @param reader a reader's handle
     * @return FFmpeg's short name, possibly several joined by commas
     */
    public static native String n_reader_get_format_name(long reader);

    /**
     * Describes a stream.
     *
     * @param reader a reader's handle
     * @param index the stream, from 0
     * @return a new array, laid out as {@link StreamFields}
     */
    public static native long[] n_reader_get_stream(long reader, int index);

    /**
     * Names a stream's codec.
     *
     * @param reader a reader's handle
     * @param index the stream, from 0
     * @return FFmpeg's short name, such as {@code h264}
     */
    public static native String n_reader_get_codec_name(long reader, int index);

    /**
     * Gives a stream's private codec data.
     *
     * @param reader a reader's handle
     * @param index the stream, from 0
     * @return a new array, empty when there is none
     */
    public static native byte[] n_reader_get_extradata(long reader, int index);

    /**
     * Reads the next packet of any stream.
     *
     * @param reader a reader's handle
     * @param packet at least {@link PacketFields#SIZE} elements, which are filled as {@link PacketFields} says
     * @return the packet's bytes, or null at the end
     * @throws IOException what the source threw
     */
    public static native byte[] n_reader_read(long reader, long[] packet) throws IOException;

    /**
     * Moves to a place in the container.
     *
     * @param reader a reader's handle
     * @param stream the stream in whose time base the time is, or {@link #NO_STREAM} for microseconds
     * @param timestamp the time
     * @param flags the sum of {@link SeekFlags}
     * @throws IOException what the source threw
     * @throws RuntimeException when the container cannot do it
     */
    public static native void n_reader_seek(long reader, int stream, long timestamp, int flags) throws IOException;

    /**
     * Deletes a reader; its source is no longer used.
     *
     * @param reader a reader's handle, dead afterwards
     */
    public static native void n_reader_delete(long reader);
}
