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
import java.util.Locale;
import java.util.zip.CRC32C;

/** The saved form of an index of pictures or of sound. It begins with what only that one has, and ends with a checksum. */
final class SavedIndex {

    /** What an index is of. */
    enum Kind {
        FILM(0x4B46494C), SOUND(0x4B534E44);

        private final int magic;

        Kind(int magic) {
            this.magic = magic;
        }
    }

    /** Writes what the index consists of. */
    @FunctionalInterface
    interface Saving {
        void to(DataOutputStream out) throws IOException;
    }

    /** Reads what the index consists of. */
    @FunctionalInterface
    interface Loading {
        void from(DataInputStream in) throws IOException;
    }

    private static final int VERSION = 3;

    private final String name;
    private final byte[] identity;

    /**
     * @param length the container's bytes
     * @param names what else tells it from others: FFmpeg's names of the container and of the codec, the choice of its user
     */
    SavedIndex(Kind kind, long length, String... names) throws IOException {
        name = kind.name().toLowerCase(Locale.ROOT);
        ByteArrayOutputStream bytes = new ByteArrayOutputStream();
        DataOutputStream out = new DataOutputStream(bytes);
        out.writeInt(kind.magic);
        out.writeInt(VERSION);
        out.writeLong(length);
        for (String each : names) {
            out.writeUTF(each);
        }
        // FFmpeg's versions cut streams into packets in their own ways.
        out.writeUTF(FfmpegLibrary.build().version());
        identity = bytes.toByteArray();
    }

    void write(Saving content, OutputStream to) throws IOException {
        ByteArrayOutputStream bytes = new ByteArrayOutputStream();
        bytes.write(identity);
        DataOutputStream out = new DataOutputStream(bytes);
        content.to(out);
        out.writeLong(checksum(bytes.toByteArray(), bytes.size()));
        bytes.writeTo(to);
        to.flush();
    }

    private static long checksum(byte[] bytes, int length) {
        CRC32C crc = new CRC32C();
        crc.update(bytes, 0, length);
        return crc.getValue();
    }

    void read(InputStream from, Loading content) throws IOException {
        byte[] bytes = from.readAllBytes();
        int end = bytes.length - Long.BYTES;
        if (end < identity.length
                || checksum(bytes, end) != new DataInputStream(new ByteArrayInputStream(bytes, end, Long.BYTES)).readLong()) {
            throw new MediaFormatException("the index is damaged");
        }
        if (!Arrays.equals(identity, Arrays.copyOf(bytes, identity.length))) {
            throw new MediaFormatException("the index is that of another " + name + ", or of another FFmpeg");
        }
        try {
            content.from(new DataInputStream(new ByteArrayInputStream(bytes, identity.length, end - identity.length)));
        } catch (EOFException | StreamCorruptedException e) {
            throw new MediaFormatException("the index is damaged", e);
        }
    }
}
