package kiv.media.ffmpeg.wall;

import java.util.Arrays;
import kiv.media.ffmpeg.natives.AudioParams;
import kiv.media.ffmpeg.natives.PacketFields;

/** A decoder or encoder of sound, on either side of the wall. */
public interface SoundCodec extends AheadDecoder {

    /** {@return whether the codec is open now} */
    boolean open();

    /** Closes the codec, so that it takes options. */
    void close();

    /** Drops the data that the codec holds, with its waiting output. */
    void reset();

    /** Sets an option of the natives. */
    void setOption(String name, long value);

    /** {@return the value of an option} */
    long option(String name);

    /** {@return the extradata, or null} */
    byte[] extradata();

    /**
     * Decodes or encodes a block.
     *
     * @param in the input; may be null
     * @param room may receive the output, for {@link #output}
     * @param params laid out as {@link AudioParams} with {@link AudioParams#SIZE_WITH_SKIPPED} elements; the output begins at 0
     * @return a sum of {@link kiv.media.ffmpeg.natives.AudioStatus}
     */
    int process(byte[] in, byte[] room, int[] params);

    /**
     * {@return the output of the last {@link #process}, in a new array}
     *
     * @param room the same
     * @param length its bytes
     */
    default byte[] output(byte[] room, int length) {
        return Arrays.copyOf(room, length);
    }

    /** Adds a packet to those that are decoded next, with what {@link #process} gets with it. */
    default void add(PacketAhead packet, int[] params) {
        throw new UnsupportedOperationException();
    }

    /**
     * Encodes a frame, or drains.
     *
     * @param pcm the samples from the start on; null drains
     * @param packet receives what describes the packet, laid out as {@link PacketFields}
     * @return the packet, or null
     */
    byte[] encode(byte[] pcm, int length, long[] packet);

    /** Deletes the codec, which is not called afterwards. */
    void delete();
}
