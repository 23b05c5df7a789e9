package kiv.media.ffmpeg.natives;

import java.lang.annotation.Native;

/**
 * What a container says of itself and of its streams, besides their numbers: tags, chapters, programs, names, pictures.
 * The handles are those of {@link c_mediareader_ffmpeg}, and the same rules hold.
 *
 * <p>A file can be made of nothing but tags. What is beyond the limits below is left out.
 */
public final class c_metadata_ffmpeg {

    /** The tags of the container: one list. */
    @Native public static final int CONTAINER = 0;

    /** The tags of the streams: a list for each. */
    @Native public static final int STREAMS = 1;

    /** The tags of the chapters: a list for each. */
    @Native public static final int CHAPTERS = 2;

    /** The tags of the programs: a list for each. */
    @Native public static final int PROGRAMS = 3;

    /** Bytes of all texts of a call. */
    @Native public static final int MOST_TEXT = 16777216;

    /** Tags of a call. */
    @Native public static final int MOST_TAGS = 10000;

    /** Chapters of a container, and programs. */
    @Native public static final int MOST_PARTS = 10000;

    /** Streams of all programs of a container. */
    @Native public static final int MOST_MEMBERS = 10000;

    private c_metadata_ffmpeg() {
    }

    /**
     * Returns tags. The array has texts, each of which ends with a zero byte: name and value of a tag by turns, and an empty
     * name at the end of each list. They are UTF-8 where the file is right.
     *
     * @param reader a reader's handle
     * @param kind whose tags: {@link #CONTAINER} and so on
     * @param first index of the first list; those behind it follow
     * @return a new array
     */
    public static native byte[] n_metadata_tags(long reader, int kind, int first);

    /**
     * Returns the chapters.
     *
     * @param reader a reader's handle
     * @return a new array, {@link ChapterFields#SIZE} elements for each chapter
     */
    public static native long[] n_metadata_chapters(long reader);

    /**
     * Returns the programs.
     *
     * @param reader a reader's handle
     * @return a new array: for each program {@link ProgramFields#SIZE} elements, followed by the indices of its streams
     */
    public static native long[] n_metadata_programs(long reader);

    /**
     * Returns FFmpeg's names for what a stream is.
     *
     * @param reader a reader's handle
     * @param index the stream, from 0
     * @return a new array, laid out as {@link StreamNames}; null for what is unknown
     */
    public static native String[] n_metadata_names(long reader, int index);

    /**
     * Returns what a stream of high dynamic range says of the screen that it was made on, and of its brightness.
     *
     * @param reader a reader's handle
     * @param index the stream, from 0
     * @return a new array, laid out as {@link LightFields}; null when the stream says nothing
     */
    public static native long[] n_metadata_light(long reader, int index);

    /**
     * Returns what a stream says of turning, buffers, volume and space.
     *
     * @param reader a reader's handle
     * @param index the stream, from 0
     * @return a new array, laid out as {@link SideDataFields}; null when the stream says nothing
     */
    public static native long[] n_metadata_side_data(long reader, int index);

    /**
     * Returns the bytes of a stream that is a single picture.
     *
     * @param reader a reader's handle
     * @param index the stream, from 0
     * @return a new array; null when the container has none
     */
    public static native byte[] n_metadata_picture(long reader, int index);
}
