package kiv.media.ffmpeg.wall;

import java.io.IOException;
import java.util.List;
import kiv.media.ffmpeg.natives.PacketFields;
import kiv.media.ffmpeg.natives.c_mediareader_ffmpeg;
import kiv.media.ffmpeg.natives.c_metadata_ffmpeg;

/**
 * A reader of a container, on either side of the wall. Its methods are the natives of {@link c_mediareader_ffmpeg} and
 * {@link c_metadata_ffmpeg} of the same names. What they return may be anything where a native promises no more.
 */
public interface ContainerReader {

    /** {@return FFmpeg's name of the format} */
    String formatName();

    /** {@return the numbers of the container} */
    long[] info();

    /** {@return the numbers of a stream} */
    long[] stream(int index);

    /** {@return the name of a stream's codec} */
    String codecName(int index);

    /** {@return a stream's extradata} */
    byte[] extradata(int index);

    /**
     * Reads the next packet of any stream.
     *
     * @param fields receives what describes it, laid out as {@link PacketFields}
     * @return its bytes; null at the end
     */
    byte[] read(long[] fields) throws IOException;

    /**
     * Reads the next packet of one stream.
     *
     * @param stream the stream, or -1 for any
     * @param buffer receives the bytes, when it is long enough; may be null
     * @param fields receives what describes it, with the length
     * @return the buffer or a new array; null at the end
     */
    byte[] readStream(int stream, byte[] buffer, long[] fields) throws IOException;

    /**
     * Reads the next packets of one stream.
     *
     * @param buffer receives their bytes
     * @param fields receives what describes each of them, with the length
     * @return the bytes of the last packet when they do not fit into the buffer, otherwise null
     */
    byte[] readSeveral(int stream, byte[] buffer, long[] fields) throws IOException;

    /**
     * Looks at packets of a stream that were read ahead. They stay to be read.
     *
     * @param stream the stream
     * @param behind packets of the stream that are left out
     * @param most the most packets behind them
     * @return the packets in their order; none where no packet is read before it is asked for
     */
    default List<PacketAhead> comingPackets(int stream, int behind, int most) {
        return List.of();
    }

    /** Reads some packets ahead when fewer packets of a stream are left than a number. What goes wrong waits for its packet. */
    default void readAhead(int stream, int least) {
        // Reading takes no longer here when it is asked for.
    }

    /** Moves to a time. */
    void seek(int stream, long time, int flags) throws IOException;

    /** {@return all tags of a kind, from the part with the index on} */
    byte[] tags(int kind, int first);

    /** {@return the numbers of the chapters} */
    long[] chapters();

    /** {@return the numbers of the programs} */
    long[] programs();

    /** {@return the names of a stream} */
    String[] names(int index);

    /** {@return the light of a stream, or null} */
    long[] light(int index);

    /** {@return the side data of a stream, or null} */
    long[] sideData(int index);

    /** {@return the bytes of a stream that is a picture, or null} */
    byte[] picture(int index);

    /** Deletes the reader, which is not called afterwards. */
    void delete();
}
