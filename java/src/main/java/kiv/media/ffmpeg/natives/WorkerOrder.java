package kiv.media.ffmpeg.natives;

import java.lang.annotation.Native;

/** What a worker is told to do, by number. Messages hold the values in this order. */
public final class WorkerOrder {

    /** The lane is not used any more, and what it made is deleted. Without an answer. */
    @Native public static final int END = 0;

    /** Asks for the results of the last order again, after {@link WorkerAnswer#LARGER}. */
    @Native public static final int AGAIN = 1;

    /** Replies to what the worker asked for in the midst of an order. The message: a {@code long}. */
    @Native public static final int REPLY = 2;

    /** Replies that the source or sink failed. */
    @Native public static final int CHANNEL_FAILED = 3;

    /** Opens a container. The message: an {@code int}, 1 for forward only; a list of longs, the limits. */
    @Native public static final int READER_OPEN = 10;

    /** Gets a list of longs as {@link ReaderInfo} has it, and the name of the format. */
    @Native public static final int READER_INFO = 11;

    /** The message: an index. Gets {@link StreamFields}, the name of the codec, and the extradata. */
    @Native public static final int READER_STREAM = 12;

    /** The message: an index of a stream, or -1 for any. Gets {@link PacketFields} and the bytes; nothing at the end. */
    @Native public static final int READER_READ = 13;

    /** The message: an index of a stream or -1, a {@code long}, and {@link SeekFlags}. */
    @Native public static final int READER_SEEK = 14;

    /** The message: a kind and an index, as of {@link c_metadata_ffmpeg#n_metadata_tags}. Gets bytes. */
    @Native public static final int READER_TAGS = 15;

    /** Gets a list of longs as {@link ChapterFields} has it. */
    @Native public static final int READER_CHAPTERS = 16;

    /** Gets a list of longs as {@link ProgramFields} has it. */
    @Native public static final int READER_PROGRAMS = 17;

    /** The message: an index. Gets texts as {@link StreamNames} has them. */
    @Native public static final int READER_NAMES = 18;

    /** The message: an index. Gets {@link LightFields}, or none. */
    @Native public static final int READER_LIGHT = 19;

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

    private WorkerOrder() {}
}
