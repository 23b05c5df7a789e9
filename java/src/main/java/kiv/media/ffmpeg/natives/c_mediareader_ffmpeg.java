package kiv.media.ffmpeg.natives;

import java.io.IOException;
import java.lang.annotation.Native;

/**
 * The native entry points of the container reader, below {@link kiv.media.ffmpeg.MediaReader}. As in
 * {@link kiv.media.ffmpeg.c_multimediaapi_ffmpeg}, the library detects no wrong handles but 0, and one thread at a time
 * uses a reader. A stream index out of range raises a {@link RuntimeException}. Unknown times are {@link Long#MIN_VALUE}.
 */
public final class c_mediareader_ffmpeg {

    /** Stands for no stream: the time is in microseconds. */
    @Native public static final int NO_STREAM = -1;

    private c_mediareader_ffmpeg() {
    }

    /**
     * Opens a container and examines its streams.
     *
     * @param context a handle of {@link kiv.media.ffmpeg.c_multimediaapi_ffmpeg#n_init}, which outlives the reader
     * @param source the bytes, a {@link c_mediareader_source} that only this reader uses
     * @return the reader's handle, never 0
     * @throws IOException when the source throws it
     * @throws RuntimeException when the bytes are no known container
     */
    public static native long n_reader_open(long context, Object source) throws IOException;

    /**
     * Opens a container within limits of one's own; {@link #n_reader_open} takes the usual ones.
     *
     * @param context a handle of {@link kiv.media.ffmpeg.c_multimediaapi_ffmpeg#n_init}, which outlives the reader
     * @param source the bytes, a {@link c_mediareader_source} that only this reader uses
     * @param limits what opening may cost, laid out as {@link ReaderLimitFields}; all are positive
     * @return the reader's handle, never 0
     * @throws IOException when the source throws it
     * @throws RuntimeException when the bytes are no known container, or a limit is exceeded
     */
    public static native long n_reader_open_within(long context, Object source, long[] limits) throws IOException;

    /**
     * Opens a container whose bytes are read forward only: FFmpeg's reader does not seek, and knows no size.
     *
     * @param context a handle of {@link kiv.media.ffmpeg.c_multimediaapi_ffmpeg#n_init}, which outlives the reader
     * @param source the bytes, a {@link c_mediareader_source} that only this reader uses
     * @param limits what opening may cost, laid out as {@link ReaderLimitFields}; all are positive
     * @return the reader's handle, never 0
     * @throws IOException when the source throws it
     * @throws RuntimeException when the bytes are no known container, a limit is exceeded, or the container cannot be read
     *     forward only
     */
    public static native long n_reader_open_forward(long context, Object source, long[] limits) throws IOException;

    /**
     * Lists the containers that are read.
     *
     * @param context a handle of {@link kiv.media.ffmpeg.c_multimediaapi_ffmpeg#n_init}
     * @return the first of FFmpeg's short names of each, also of those that this FFmpeg has no reader for
     */
    public static native String[] n_container_names(long context);

    /**
     * Returns the name of a container for people.
     *
     * @param context a handle of {@link kiv.media.ffmpeg.c_multimediaapi_ffmpeg#n_init}
     * @param name the first of FFmpeg's short names
     * @return FFmpeg's long name; null when it is not read by this FFmpeg
     */
    public static native String n_container_title(long context, String name);

    /**
     * Describes the container.
     *
     * @param reader a handle of {@link #n_reader_open}
     * @return a new array, laid out as {@link ReaderInfo}
     */
    public static native long[] n_reader_get_info(long reader);

    /**
     * Returns the name of the container format.
     *
     * @param reader a reader's handle
     * @return FFmpeg's short name; several are separated by commas
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
     * Returns the name of a stream's codec.
     *
     * @param reader a reader's handle
     * @param index the stream, from 0
     * @return FFmpeg's short name, such as {@code h264}
     */
    public static native String n_reader_get_codec_name(long reader, int index);

    /**
     * Returns a stream's private codec data.
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
     * @param packet receives {@link PacketFields#SIZE} elements, laid out as {@link PacketFields}
     * @return the packet's bytes, or null at the end
     * @throws IOException when the source throws it
     */
    public static native byte[] n_reader_read(long reader, long[] packet) throws IOException;

    /**
     * Reads the next packet of one stream. Packets of other streams are skipped.
     *
     * @param reader a reader's handle
     * @param stream the stream, or {@link #NO_STREAM} for any
     * @param buffer receives the packet's bytes when it is long enough; may be null
     * @param packet receives {@link PacketFields#SIZE_WITH_LENGTH} elements, laid out as {@link PacketFields}
     * @return the buffer, or a new array of the packet's bytes when that is too short; null at the end
     * @throws IOException when the source throws it
     */
    public static native byte[] n_reader_read_stream(long reader, int stream, byte[] buffer, long[] packet)
            throws IOException;

    /**
     * Reads the next packets of one stream at once, until one of the arrays is full. Packets of other streams are skipped.
     * When reading fails, the arrays hold the packets before the failure.
     *
     * @param reader a reader's handle
     * @param stream the stream
     * @param buffer receives the packets' bytes, one packet behind the other
     * @param packets receives {@link PacketFields#SIZE_WITH_LENGTH} elements for each packet, laid out as
     *     {@link PacketFields}; where there are no more packets, {@link PacketFields#STREAM} is {@link PacketFields#NONE}
     * @return a new array of the last packet's bytes when they do not fit into the buffer, otherwise null
     * @throws IOException when the source throws it
     */
    public static native byte[] n_reader_read_several(long reader, int stream, byte[] buffer, long[] packets)
            throws IOException;

    /**
     * Moves to a position in the container.
     *
     * @param reader a reader's handle
     * @param stream the stream whose time base is the unit of the time, or {@link #NO_STREAM} for microseconds
     * @param timestamp the time
     * @param flags the sum of {@link SeekFlags}
     * @throws IOException when the source throws it
     * @throws RuntimeException when the container does not support it
     */
    public static native void n_reader_seek(long reader, int stream, long timestamp, int flags) throws IOException;

    /**
     * Deletes a reader. It does not use its source any more.
     *
     * @param reader a reader's handle, invalid after the call
     */
    public static native void n_reader_delete(long reader);
}
