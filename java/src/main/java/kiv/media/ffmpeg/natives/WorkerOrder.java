package kiv.media.ffmpeg.natives;

import java.lang.annotation.Native;

/** What a worker is told to do, by number. Messages hold the values in this order. */
public final class WorkerOrder {

    /**
     * The lane is not used any more. When the turn is the caller's again, what the lane made is deleted, and the same lane
     * may be opened again.
     */
    @Native public static final int END = 0;

    /** Asks for the results of the last order again, after {@link WorkerAnswer#LARGER}. */
    @Native public static final int AGAIN = 1;

    /** Replies to what the worker asked for in the midst of an order. The message: a {@code long}. */
    @Native public static final int REPLY = 2;

    /** Replies that the source or sink failed. */
    @Native public static final int CHANNEL_FAILED = 3;

    /** Deletes what the lane made. It can be used for something else then. */
    @Native public static final int CLEAR = 4;

    /**
     * Does orders one after the other. The message: bits as an {@code int}; an {@code int}, the bytes of results behind which
     * no other order is begun; an {@code int}, 1 when this goes on behind the message before; then for each order its number and
     * a list of bytes, its message. Gets for each that was begun {@link WorkerAnswer#DONE} or {@link WorkerAnswer#FAILED} and a
     * list of bytes, what it has for an order by itself. The orders behind one wait for another message when it fails, when its
     * results have no {@code int}, or when their first one has one of the bits. A message that goes on behind one that did not
     * get so far gets nothing.
     */
    @Native public static final int SEVERAL = 5;

    /**
     * Opens a container. The message: an {@code int}, 1 for forward only; a list of longs, the limits. Gets {@link ReaderInfo},
     * the name of the format, chapters as {@link ChapterFields} has them, programs as {@link ProgramFields} has them, the tags
     * of container, streams, chapters and programs as {@link c_metadata_ffmpeg#n_metadata_tags} has them, and each stream as
     * {@link #READER_STREAM} gets it.
     */
    @Native public static final int READER_OPEN = 10;

    /**
     * The message: an index. Gets {@link StreamFields}, the name of the codec, the extradata, texts as {@link StreamNames} has
     * them, {@link LightFields} or none, and {@link SideDataFields} or none.
     */
    @Native public static final int READER_STREAM = 12;

    /** The message: an index of a stream, or -1 for any. Gets {@link PacketFields} and the bytes; nothing at the end. */
    @Native public static final int READER_READ = 13;

    /** The message: an index of a stream or -1, a {@code long}, and {@link SeekFlags}. */
    @Native public static final int READER_SEEK = 14;

    /** The message: a kind and an index, as of {@link c_metadata_ffmpeg#n_metadata_tags}. Gets bytes. */
    @Native public static final int READER_TAGS = 15;

    /** The message: an index. Gets the bytes of a picture, or none. */
    @Native public static final int READER_PICTURE = 20;

    /** The message: the name of a codec. */
    @Native public static final int SPLITTER_CREATE = 30;

    /** The message: {@link SplitterFields} and bytes. Gets them again, and a packet or none. */
    @Native public static final int SPLITTER_SPLIT = 31;

    /** Drops what the splitter keeps. */
    @Native public static final int SPLITTER_RESTART = 32;

    /** Gets {@link StreamFields} and the name of the codec. */
    @Native public static final int SPLITTER_STREAM = 33;

    /** Makes a decoder with pooled pictures. The message: {@link StreamFields} and the extradata. */
    @Native public static final int VIDEO_CREATE = 40;

    /** The message: the name of an option and a {@code long}. */
    @Native public static final int VIDEO_OPTION = 41;

    /** Gets an {@code int}: 1, or 0 when FFmpeg refuses; and the name of the decoder. */
    @Native public static final int VIDEO_OPEN = 42;

    /**
     * The message: flags, {@link PictureCall}, and the packet. Blocks have offsets in the shared memory in place of
     * addresses. Gets a sum of {@link PictureResult}, and {@link PictureCall}.
     */
    @Native public static final int VIDEO_DECODE = 43;

    /** Drops what the decoder keeps. Gets an {@code int}, 1 or 0. */
    @Native public static final int VIDEO_RESET = 44;

    /** Makes one of a media subtype. The message: the subtype, {@link VideoFormatLayout} and the extradata. */
    @Native public static final int VIDEO_CREATE_OF_SUBTYPE = 45;

    /**
     * Makes an open decoder with 16-bit output. The message: {@link StreamFields} and the extradata. Gets an {@code
     * int}: 1, or 0 when FFmpeg refuses.
     */
    @Native public static final int SOUND_CREATE = 50;

    /**
     * The same of a format tag. The message: {@link AudioFormatLayout} and the header bytes. Gets an {@code int} as
     * before.
     */
    @Native public static final int SOUND_CREATE_TO_PCM = 51;

    /** Makes an open encoder of 16-bit input into a format tag. The message and the result: as before. */
    @Native public static final int SOUND_CREATE_FROM_PCM = 52;

    /**
     * Makes an encoder that is not open. The message: the name of the codec, and three {@code int}s: samples,
     * channels, samples per second.
     */
    @Native public static final int SOUND_CREATE_ENCODER = 53;

    /** Gets an {@code int}: 1, or 0 when FFmpeg refuses. */
    @Native public static final int SOUND_OPEN = 54;

    /** Gets an {@code int}, 1 or 0. */
    @Native public static final int SOUND_CLOSE = 55;

    /** Drops waiting output and what the codec keeps. Gets an {@code int}, 1 or 0. */
    @Native public static final int SOUND_RESET = 56;

    /** Gets the name of the codec. */
    @Native public static final int SOUND_NAME = 57;

    /** The message: the name of an option and a {@code long}. */
    @Native public static final int SOUND_SET_OPTION = 58;

    /** The message: the name of an option. Gets a {@code long}. */
    @Native public static final int SOUND_GET_OPTION = 59;

    /** Gets the extradata, or none. */
    @Native public static final int SOUND_EXTRADATA = 60;

    /** Gets the WAVE format headers of the input and of the output. */
    @Native public static final int SOUND_FORMATS = 61;

    /**
     * The message: {@link AudioParams} with {@link AudioParams#SIZE_WITH_SKIPPED} elements, and the input from its
     * offset on. Gets a sum of {@link AudioStatus}, {@link AudioParams}, and the output.
     */
    @Native public static final int SOUND_PROCESS = 62;

    /**
     * The message: one frame of samples, none to drain. Gets {@link PacketFields} and the bytes of a packet; nothing
     * without a packet.
     */
    @Native public static final int SOUND_ENCODE = 63;

    /** The message: four {@code int}s: samples, channels, samples per second before and after. */
    @Native public static final int RESAMPLER_CREATE = 70;

    /** The message: samples, none for their end. Gets samples. */
    @Native public static final int RESAMPLER_CONVERT = 71;

    /**
     * Writes the header of a container. The message: an {@code int}, 1 for a sink that seeks; the names of the format
     * and of the codec; {@link WriterFields} and the extradata.
     */
    @Native public static final int WRITER_OPEN = 80;

    /** The message: two {@code long}s, the time and the duration in samples, and a packet. */
    @Native public static final int WRITER_WRITE = 81;

    /** Ends the container. The message: the extradata, or none when it has not changed. */
    @Native public static final int WRITER_FINISH = 82;

    /** The message: a {@code long}, the most bytes of one allocation of FFmpeg's in this process. */
    @Native public static final int ALLOCATION_LIMIT = 90;

    /** The message: an {@code int}, FFmpeg's log level. What a worker logs goes nowhere. */
    @Native public static final int LOG_LEVEL = 91;

    private WorkerOrder() {}
}
