package kiv.media.ffmpeg;

import java.io.ByteArrayInputStream;
import java.io.ByteArrayOutputStream;
import java.io.DataInputStream;
import java.io.DataOutputStream;
import java.io.EOFException;
import java.io.IOException;
import java.io.InputStream;
import java.io.OutputStream;
import java.io.StreamCorruptedException;
import java.util.Arrays;
import java.util.zip.CRC32C;

/** The saved form of a film's index. It begins with what only that film has, and ends with a checksum. */
final class SavedIndex {

    private static final int MAGIC = 0x4B46494C;
    private static final int VERSION = 2;

    private final byte[] identity;

    /**
     * @param length the container's bytes
     * @param format FFmpeg's name of the container
     * @param codec FFmpeg's name of the codec
     */
    SavedIndex(long length, String format, String codec) throws IOException {
        ByteArrayOutputStream bytes = new ByteArrayOutputStream();
        DataOutputStream out = new DataOutputStream(bytes);
        out.writeInt(MAGIC);
        out.writeInt(VERSION);
        out.writeLong(length);
        out.writeUTF(format);
        out.writeUTF(codec);
        // FFmpeg's versions cut streams into packets in their own ways.
        out.writeUTF(FfmpegLibrary.build().version());
        identity = bytes.toByteArray();
    }

    void write(FilmDecoder film, OutputStream to) throws IOException {
        ByteArrayOutputStream bytes = new ByteArrayOutputStream();
        bytes.write(identity);
        DataOutputStream out = new DataOutputStream(bytes);
        film.save(out);
        out.writeLong(checksum(bytes.toByteArray(), bytes.size()));
        bytes.writeTo(to);
        to.flush();
    }

    private static long checksum(byte[] bytes, int length) {
        CRC32C crc = new CRC32C();
        crc.update(bytes, 0, length);
        return crc.getValue();
    }

    void read(InputStream from, FilmDecoder film) throws IOException {
        byte[] bytes = from.readAllBytes();
        int end = bytes.length - Long.BYTES;
        if (end < identity.length
                || checksum(bytes, end) != new DataInputStream(new ByteArrayInputStream(bytes, end, Long.BYTES)).readLong()) {
            throw new MediaFormatException("the index is damaged");
        }
        if (!Arrays.equals(identity, Arrays.copyOf(bytes, identity.length))) {
            throw new MediaFormatException("the index is that of another film, or of another FFmpeg");
        }
        try {
            film.load(new DataInputStream(new ByteArrayInputStream(bytes, identity.length, end - identity.length)));
        } catch (EOFException | StreamCorruptedException e) {
            throw new MediaFormatException("the index is damaged", e);
        }
    }
}
