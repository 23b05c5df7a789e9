package kiv.media.ffmpeg.natives;

import java.io.IOException;

/**
 * The native entry points of the container reader, underneath {@link kiv.media.ffmpeg.MediaReader}. As in
 * {@link kiv.media.ffmpeg.c_multimediaapi_ffmpeg}, handles are not checked and a reader is used by one thread at a time.
 * A stream index out of range raises a {@link RuntimeException}. Absent times are {@link Long#MIN_VALUE}.
 */
public final class c_mediareader_ffmpeg {

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
     * @return 0 number of streams, 1 duration and 2 start time in microseconds, 3 bit rate in bits a second (0 unknown)
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
     * @return 0 media type (0 video, 1 audio, 2 data, 3 subtitle, -1 unknown), 1 codec identifier of FFmpeg, 2
     *     four-character code or WAVE format tag, 3 width, 4 height, 5 and 6 average frame rate as a fraction, 7 and 8
     *     time base in seconds as a fraction, 9 duration and 10 start time in time base units, 11 bit rate, 12 sample
     *     rate, 13 channels, 14 bits per coded sample, 15 block align, 16 number of frames (0 unknown), 17 and 18
     *     sample aspect ratio as a fraction, 19 profile, 20 disposition bits, 21 pixel or sample format, 22 whether
     *     this FFmpeg has a decoder (1) or not (0)
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
     * @param packet at least six elements that are filled: 0 stream, 1 presentation and 2 decoding time and 3 duration
     *     in the stream's time base, 4 flags (bit 0: key), 5 position in bytes or -1
     * @return the packet's bytes, or null at the end
     * @throws IOException what the source threw
     */
    public static native byte[] n_reader_read(long reader, long[] packet) throws IOException;

    /**
     * Moves to a place in the container.
     *
     * @param reader a reader's handle
     * @param stream the stream in whose time base the time is, or -1 for microseconds
     * @param timestamp the time
     * @param flags 1: at or before the time, 4: also between key frames
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
