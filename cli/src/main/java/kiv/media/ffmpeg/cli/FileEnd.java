package kiv.media.ffmpeg.cli;

import java.io.IOException;
import java.nio.ByteBuffer;
import java.nio.ByteOrder;
import java.nio.channels.SeekableByteChannel;
import java.nio.charset.StandardCharsets;
import java.util.Optional;

/** Finds out from the structure of a container whether its end is missing, as after a download that was cut off. */
final class FileEnd {

    /** Some programs count a header of RIFF in or leave out a padding byte. */
    private static final int RIFF_TOLERANCE = 16;
    /** A hostile file has as many boxes as it likes. */
    private static final int MOST_PIECES = 200_000;
    private static final int HEADER = 128;
    private static final long UNKNOWN = -1;

    private static final int RIFF_HEADER = 8;
    /** Streams that are written into pipes have such lengths. */
    private static final long UNKNOWN_RIFF = 0x7FFF_0000L;
    private static final int EBML = 0x1A45DFA3;
    private static final int SEGMENT = 0x18538067;
    private static final long ASF = 0x3026B2758E66CF11L;
    private static final long ASF_FILE_PROPERTIES = 0xA1DCAB8C47A9CF11L;
    private static final int FLV = 0x464C56;
    private static final int FLV_TAG = 11;
    private static final int OGG_HEADER = 27;
    private static final int MOST_SEGMENTS = 255;
    private static final int LONGEST_PAGE = 65_307;
    private static final int PACK = 0x1BA;
    private static final int PROGRAM_END = 0x1B9;
    /** More bytes than lie between two pack headers, of which there is one every 0.7 seconds. */
    private static final int PACKS_APART = 1 << 20;
    private static final int TS_PACKET = 188;
    private static final byte TS_SYNC = 0x47;

    private final SeekableByteChannel file;
    private final long size;

    private FileEnd(SeekableByteChannel file) throws IOException {
        this.file = file;
        this.size = file.size();
    }

    /** Returns what is missing, for people; empty when nothing is, or when the container does not tell its length. */
    static Optional<String> missing(SeekableByteChannel file) throws IOException {
        FileEnd end = new FileEnd(file);
        long announced = end.announced();
        return end.size < 0 || announced <= end.size ? Optional.empty()
                : Optional.of("the file was cut off: " + end.size + " of at least " + announced + " bytes are there");
    }

    /** Returns whether this is an MP4 or QuickTime file without the box that describes its streams. */
    static boolean lacksMoov(SeekableByteChannel file) throws IOException {
        FileEnd end = new FileEnd(file);
        return end.size >= 0 && end.isBoxed() && !end.boxes().hasMoov();
    }

    private long announced() throws IOException {
        ByteBuffer head = read(0);
        int first = head.getInt(0);
        if (first == code("RIFF")) {
            return riff();
        }
        if (first == code("FORM")) {
            return Integer.toUnsignedLong(head.getInt(4)) + RIFF_HEADER;
        }
        if (first == EBML) {
            return matroska();
        }
        if (head.getLong(0) == ASF) {
            return asf();
        }
        if (first >>> Byte.SIZE == FLV) {
            return flv();
        }
        if (first == code("OggS")) {
            return ogg();
        }
        if (first == PACK) {
            return programStream();
        }
        if (first >>> 24 == TS_SYNC && read(TS_PACKET).get(0) == TS_SYNC && read(2 * TS_PACKET).get(0) == TS_SYNC) {
            return (size + TS_PACKET - 1) / TS_PACKET * TS_PACKET;
        }
        return isBoxed() ? boxes().end() : UNKNOWN;
    }

    /** Reads a little; behind the end are zeros. */
    private ByteBuffer read(long position) throws IOException {
        return read(position, HEADER);
    }

    private ByteBuffer read(long position, int length) throws IOException {
        ByteBuffer bytes = ByteBuffer.allocate(length);
        file.position(position);
        while (bytes.hasRemaining() && file.read(bytes) >= 0) {
            continue;
        }
        return bytes;
    }

    private static int code(String text) {
        return ByteBuffer.wrap(text.getBytes(StandardCharsets.US_ASCII)).getInt();
    }

    /** AVI files of more than a gigabyte are several of them, one behind the other. */
    private long riff() throws IOException {
        long end = 0;
        for (int i = 0; i < MOST_PIECES && end < size; i++) {
            ByteBuffer head = read(end);
            long length = Integer.toUnsignedLong(head.order(ByteOrder.LITTLE_ENDIAN).getInt(4));
            if (head.order(ByteOrder.BIG_ENDIAN).getInt(0) != code("RIFF")) {
                return end;
            }
            if (length == 0 || length >= UNKNOWN_RIFF) {
                return UNKNOWN;
            }
            end += RIFF_HEADER + length + length % 2;
        }
        return end > size + RIFF_TOLERANCE ? end : UNKNOWN;
    }

    private boolean isBoxed() throws IOException {
        int type = read(0).getInt(4);
        return type == code("ftyp") || type == code("moov") || type == code("mdat") || type == code("wide")
                || type == code("free") || type == code("skip") || type == code("pnot");
    }

    /** Where the boxes end, and whether one of them describes the streams. */
    private record Boxes(long end, boolean hasMoov) {
    }

    private Boxes boxes() throws IOException {
        long end = 0;
        boolean moov = false;
        for (int i = 0; i < MOST_PIECES && end < size; i++) {
            ByteBuffer head = read(end);
            long length = Integer.toUnsignedLong(head.getInt(0));
            int type = head.getInt(4);
            moov |= type == code("moov") || type == code("moof");
            if (length == 1) {
                length = head.getLong(8);
            }
            if (length < 8 || length > Long.MAX_VALUE - end || !isName(type)) {
                // The last box may go on to the end, and some programs put something of their own there.
                return new Boxes(UNKNOWN, moov);
            }
            end += length;
        }
        return new Boxes(end < size ? UNKNOWN : end, moov);
    }

    private static boolean isName(int type) {
        for (int shift = 0; shift < Integer.SIZE; shift += Byte.SIZE) {
            int c = type >>> shift & 0xFF;
            // Apple's own names begin with a copyright sign.
            if ((c < ' ' || c > '~') && c != 0xA9) {
                return false;
            }
        }
        return true;
    }

    private long matroska() throws IOException {
        long position = 4;
        Number header = number(position);
        position += header.bytes + header.value;
        if (header.isUnknown() || position < 0 || read(position).getInt(0) != SEGMENT) {
            return UNKNOWN;
        }
        Number segment = number(position + 4);
        return segment.isUnknown() ? UNKNOWN : position + 4 + segment.bytes + segment.value;
    }

    /** A length in Matroska, whose first bits tell how many bytes it has. */
    private record Number(int bytes, long value) {
        boolean isUnknown() {
            return bytes > Long.BYTES || value == (1L << 7 * bytes) - 1;
        }
    }

    private Number number(long position) throws IOException {
        long all = read(position).getLong(0);
        int bytes = Long.numberOfLeadingZeros(all) + 1;
        return new Number(bytes, bytes > Long.BYTES ? 0
                : all >>> Long.SIZE - Byte.SIZE * bytes & (1L << 7 * bytes) - 1);
    }

    private long asf() throws IOException {
        long position = 30;
        for (int i = 0; i < HEADER; i++) {
            ByteBuffer object = read(position).order(ByteOrder.LITTLE_ENDIAN);
            long length = object.getLong(16);
            if (length < 24 || length > size) {
                return UNKNOWN;
            }
            if (object.order(ByteOrder.BIG_ENDIAN).getLong(0) == ASF_FILE_PROPERTIES) {
                boolean broadcast = (object.get(88) & 1) != 0;
                return broadcast ? UNKNOWN : object.order(ByteOrder.LITTLE_ENDIAN).getLong(40);
            }
            position += length;
        }
        return UNKNOWN;
    }

    /** Every tag ends with its length, and the last one must be whole. */
    private long flv() throws IOException {
        long end = Integer.toUnsignedLong(read(0).getInt(5)) + Integer.BYTES;
        for (int i = 0; i < MOST_PIECES && end < size; i++) {
            ByteBuffer tag = read(end);
            int kind = tag.get(0) & 0x1F;
            if (kind != 8 && kind != 9 && kind != 18) {
                return UNKNOWN;
            }
            end += FLV_TAG + (tag.getInt(0) & 0xFFFFFF) + Integer.BYTES;
        }
        return end < size ? UNKNOWN : end;
    }

    /** The last page must be whole. */
    private long ogg() throws IOException {
        long begin = Math.max(0, size - LONGEST_PAGE);
        ByteBuffer tail = read(begin, LONGEST_PAGE + OGG_HEADER + MOST_SEGMENTS);
        for (int at = (int) (size - begin) - 4; at >= 0; at--) {
            if (tail.getInt(at) == code("OggS") && tail.get(at + 4) == 0) {
                int segments = tail.get(at + OGG_HEADER - 1) & 0xFF;
                long end = begin + at + OGG_HEADER + segments;
                for (int i = 0; i < segments; i++) {
                    end += tail.get(at + OGG_HEADER + i) & 0xFF;
                }
                return end;
            }
        }
        return UNKNOWN;
    }

    /** The last packet must be whole. Packets follow a pack header near the end without a gap. */
    private long programStream() throws IOException {
        long begin = Math.max(0, size - PACKS_APART);
        ByteBuffer tail = read(begin, (int) (size - begin));
        for (int at = 0; at <= tail.capacity() - 4; at++) {
            if (tail.getInt(at) == PACK) {
                long end = packets(begin + at);
                if (end != UNKNOWN) {
                    return end;
                }
            }
        }
        return UNKNOWN;
    }

    private long packets(long begin) throws IOException {
        long end = begin;
        while (end < size - 4) {
            ByteBuffer packet = read(end);
            int code = packet.getInt(0);
            if (code == PROGRAM_END) {
                return end + 4;
            }
            if (code == PACK) {
                // MPEG-2's header begins with the bits 01 and ends with a count of bytes behind it.
                end += (packet.get(4) & 0xC0) == 0x40 ? 14 + (packet.get(13) & 7) : 12;
            } else if (code > PACK && code <= 0x1FF) {
                end += 6 + (packet.getShort(4) & 0xFFFF);
            } else {
                return UNKNOWN;
            }
        }
        return end;
    }
}
