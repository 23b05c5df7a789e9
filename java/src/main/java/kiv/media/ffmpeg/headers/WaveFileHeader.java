package kiv.media.ffmpeg.headers;

import java.nio.ByteBuffer;
import java.nio.ByteOrder;
import java.nio.charset.StandardCharsets;
import java.util.Arrays;

/** The header of a WAV file. Its size does not depend on the lengths that it contains. */
public final class WaveFileHeader {

    private static final int PCM_FORMAT_SIZE = 16;
    private static final int CHUNK_SIZE = 8;
    private static final long LARGEST = 0xFFFFFFFFL;

    private final byte[] format;
    private final boolean pcm;
    private final int size;

    /**
     * Creates a header.
     *
     * @param format the sound's WAVE format header: 18 bytes, little-endian, followed by the specific header
     */
    public WaveFileHeader(byte[] format) {
        this.pcm = ByteBuffer.wrap(format).order(ByteOrder.LITTLE_ENDIAN).getShort(0) == WaveTags.PCM;
        // PCM has no specific header, so its length is left out, as in most files.
        this.format = pcm ? Arrays.copyOf(format, PCM_FORMAT_SIZE) : format.clone();
        this.size = CHUNK_SIZE + Integer.BYTES + CHUNK_SIZE + even(this.format.length)
                + (pcm ? 0 : CHUNK_SIZE + Integer.BYTES) + CHUNK_SIZE;
    }

    /**
     * Checks whether the header can state the length of a sound.
     *
     * @param bytes length of the sound in bytes
     * @return whether the file's size stays below 4 GiB
     */
    public boolean hasRoomFor(long bytes) {
        return size + bytes <= LARGEST;
    }

    /**
     * Returns the header for a length.
     *
     * @param bytes length of the sound in bytes
     * @param frames length of the sound in samples of a channel
     * @return the bytes
     */
    public byte[] toBytes(long bytes, long frames) {
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
