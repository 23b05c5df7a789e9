package kiv.media.ffmpeg;

import java.nio.ByteBuffer;
import java.nio.ByteOrder;
import java.nio.charset.StandardCharsets;
import java.util.Arrays;

/** What stands before the sound in a WAV file. Its size does not depend on the lengths in it. */
final class WaveHeader {

    private static final int PCM_FORMAT_SIZE = 16;
    private static final int CHUNK_SIZE = 8;
    private static final long LARGEST = 0xFFFFFFFFL;

    private final byte[] format;
    private final boolean pcm;
    private final int size;

    /** @param format the sound's format */
    WaveHeader(WaveFormat format) {
        byte[] header = format.toBytes();
        this.pcm = format.formatTag() == WaveFormatTags.PCM;
        // The length of nothing is left out for PCM, as every program knows it.
        this.format = pcm ? Arrays.copyOf(header, PCM_FORMAT_SIZE) : header;
        this.size = CHUNK_SIZE + Integer.BYTES + CHUNK_SIZE + even(this.format.length)
                + (pcm ? 0 : CHUNK_SIZE + Integer.BYTES) + CHUNK_SIZE;
    }

    /** Whether the lengths of so many bytes of sound fit into the header. */
    boolean hasRoomFor(long bytes) {
        return size + bytes <= LARGEST;
    }

    /**
     * The header.
     *
     * @param bytes length of the sound in bytes
     * @param frames length of the sound in samples of a channel
     */
    byte[] toBytes(long bytes, long frames) {
        ByteBuffer header = ByteBuffer.allocate(size).order(ByteOrder.LITTLE_ENDIAN);
        header.put(ascii("RIFF")).putInt((int) (size - CHUNK_SIZE + bytes + bytes % 2)).put(ascii("WAVE"));
        header.put(ascii("fmt ")).putInt(format.length).put(format).position(header.position() + format.length % 2);
        if (!pcm) {
            header.put(ascii("fact")).putInt(Integer.BYTES).putInt((int) Math.min(frames, LARGEST));
        }
        header.put(ascii("data")).putInt((int) bytes);
        return header.array();
    }

    private static int even(int length) {
        return length + length % 2;
    }

    private static byte[] ascii(String text) {
        return text.getBytes(StandardCharsets.US_ASCII);
    }
}
