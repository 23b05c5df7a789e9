package kiv.media.ffmpeg.wall;

import kiv.media.ffmpeg.natives.SplitterFields;

/** What cuts a stream into packets, on either side of the wall. */
public interface Splitter {

    /**
     * Takes bytes.
     *
     * @param fields laid out as {@link SplitterFields}
     * @return a packet that has ended, or null
     */
    byte[] split(byte[] bytes, int offset, int length, long[] fields);

    /** Drops what is kept. */
    void restart();

    /** {@return the numbers of the stream} */
    long[] stream();

    /** {@return the name of the codec} */
    String codecName();

    /** Deletes the splitter, which is not called afterwards. */
    void delete();
}
