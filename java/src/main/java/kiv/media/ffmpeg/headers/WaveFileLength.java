package kiv.media.ffmpeg.headers;

import java.io.IOException;
import java.nio.ByteBuffer;
import java.nio.ByteOrder;
import java.nio.channels.SeekableByteChannel;
import java.nio.charset.StandardCharsets;
import java.util.OptionalLong;

/**
 * Determines the length of a WAV file's sound where it is certain: for uncompressed sound up to the end of the file.
 * Times in other containers are rounded, estimated, or include sound that a decoder does not deliver.
 */
public final class WaveFileLength {

    private static final int RIFF = chunkName("RIFF");
    private static final int WAVE = chunkName("WAVE");
    private static final int FORMAT = chunkName("fmt ");
    private static final int DATA = chunkName("data");
    private static final int RIFF_HEADER = 12;
    private static final int CHUNK_HEADER = 8;
    /** Up to the first bytes of the subformat, which are its tag. */
    private static final int EXTENSIBLE_SIZE = 26;
    private static final int MOST_CHUNKS = 100;
    private static final long UNSIGNED = 0xFFFFFFFFL;

    private WaveFileLength() {
    }

    /**
     * Reads a file's chunks and moves the channel's position. The length is certain only if the file states the same
     * format as the reader of its sound.
     *
     * @param channel the file
     * @param formatTag the format tag that the reader found
     * @param channels the number of channels that the reader found
     * @return number of frames; empty when it is not certain
     * @throws IOException when the channel cannot be read
     */
    public static OptionalLong frames(SeekableByteChannel channel, int formatTag, int channels) throws IOException {
        ByteBuffer riff = read(channel, 0, RIFF_HEADER);
        if (riff == null || riff.getInt(0) != RIFF || riff.getInt(8) != WAVE) {
            return OptionalLong.empty();
        }
        int frameSize = -1;
        long at = RIFF_HEADER;
        for (int i = 0; i < MOST_CHUNKS; i++) {
            ByteBuffer chunk = read(channel, at, CHUNK_HEADER);
            if (chunk == null) {
                break;
            }
            long size = chunk.getInt(4) & UNSIGNED;
            at += CHUNK_HEADER;
            if (chunk.getInt(0) == DATA) {
                long behind = channel.size() - at - size;
                // One byte may follow an odd size. Another chunk could be sound as well.
                boolean certain = size > 0 && behind >= 0 && behind <= size % 2 && frameSize > 0
                        && size % frameSize == 0;
                return certain ? OptionalLong.of(size / frameSize) : OptionalLong.empty();
            }
            if (chunk.getInt(0) == FORMAT && frameSize < 0) {
                frameSize = frameSize(read(channel, at, (int) Math.min(size, EXTENSIBLE_SIZE)), formatTag, channels);
            }
            at += size + size % 2;
        }
        return OptionalLong.empty();
    }

    /** 0 when the format is not the one that is decoded, or its frames are not of one size. */
    private static int frameSize(ByteBuffer header, int formatTag, int channels) {
        if (header == null || header.limit() < 16) {
            return 0;
        }
        int tag = header.getShort(0) & 0xFFFF;
        if (tag == WaveTags.EXTENSIBLE && header.limit() == EXTENSIBLE_SIZE) {
            tag = header.getShort(24) & 0xFFFF;
        }
        int bits = switch (tag) {
            case WaveTags.PCM -> Short.SIZE;
            case WaveTags.FLOAT -> Float.SIZE;
            case WaveTags.ALAW, WaveTags.MULAW -> Byte.SIZE;
            default -> 0;
        };
        int frameSize = channels * bits / Byte.SIZE;
        return tag == formatTag && header.getShort(2) == channels && header.getShort(14) == bits
                && header.getShort(12) == frameSize ? frameSize : 0;
    }

    /** The name as a number whose low byte is the first character. */
    private static int chunkName(String name) {
        return ByteBuffer.wrap(name.getBytes(StandardCharsets.US_ASCII)).order(ByteOrder.LITTLE_ENDIAN).getInt();
    }

    private static ByteBuffer read(SeekableByteChannel channel, long position, int length) throws IOException {
        ByteBuffer bytes = ByteBuffer.allocate(length).order(ByteOrder.LITTLE_ENDIAN);
        channel.position(position);
        while (bytes.hasRemaining()) {
            if (channel.read(bytes) <= 0) {
                return null;
            }
        }
        return bytes;
    }
}
