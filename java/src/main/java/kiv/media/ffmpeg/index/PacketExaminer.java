package kiv.media.ffmpeg.index;

import java.lang.invoke.MethodHandles;
import java.lang.invoke.VarHandle;
import java.nio.ByteOrder;
import java.util.Objects;
import java.util.Set;

/**
 * Reads the heads of compressed pictures, in the order of their packets: where decoding can start, and which packet gives
 * a picture when. It believes no container. What it is not sure of it reports as unknown.
 */
public abstract class PacketExaminer {

    /** In which order the pictures of a group are shown. */
    public enum Order {
        /** As they are stored. */
        STORED,
        /** A picture that others refer to waits for the next one that others refer to. */
        BY_KIND,
        /** By {@link CodedPicture#order}. */
        NUMBERED
    }

    /** Codecs each picture of which is coded alone. */
    private static final Set<String> ALONE = Set.of("dvvideo", "prores", "dnxhd", "huffyuv", "ffvhuff", "utvideo", "png",
            "jpeg2000", "v210", "webp");

    private static final VarHandle LONGS = MethodHandles.byteArrayViewVarHandle(long[].class, ByteOrder.LITTLE_ENDIAN);
    private static final long LOW_BITS = 0x7F7F7F7F7F7F7F7FL;
    private static final long LOWEST_BITS = 0x0101010101010101L;
    private static final long HIGHEST_BITS = ~LOW_BITS;

    private boolean headersChanged;
    private boolean sequenceBegins;
    /** The bytes of the packet at work. */
    private int size;

    /**
     * Examines the next packet.
     *
     * @param bytes begins with the packet's bytes
     * @param length how many they are
     * @param picture receives what they say
     */
    public final void examine(byte[] bytes, int length, CodedPicture picture) {
        picture.clear();
        size = length;
        try {
            read(bytes, length, picture);
        } catch (IndexOutOfBoundsException e) {
            // Only damaged packets end within their heads.
            picture.clear();
            picture.broken = true;
        }
    }

    /** Reads a packet, and may run beyond its end through {@link #at}. */
    abstract void read(byte[] bytes, int end, CodedPicture picture);

    /** A byte of the packet at work. */
    final int at(byte[] bytes, int place) {
        return bytes[Objects.checkIndex(place, size)] & 0xFF;
    }

    public Order order() {
        return Order.STORED;
    }

    /** Whether each picture is coded alone, so that decoding can start everywhere. */
    public boolean isAlone() {
        return false;
    }

    /**
     * Whether decoders leave out pictures for reasons that no head shows. Only decoding says then which pictures there are.
     */
    public boolean isTentative() {
        return false;
    }

    /** The most pictures that the decoder knows to hold back for their order; -1 when it does not know. */
    public int knownDelay() {
        return Integer.MAX_VALUE;
    }

    /** Whether headers that stand for the whole stream have changed, so that a decoder may have those of another part. */
    public final boolean headersChanged() {
        return headersChanged;
    }

    final void changeHeaders() {
        headersChanged = true;
    }

    /** A decoder may begin anew, and lose what it holds back. */
    final void changeSequence() {
        changeHeaders();
        sequenceBegins = true;
    }

    /** Whether the last packet changed what decoders begin anew for. */
    public final boolean takeSequenceBegins() {
        boolean begins = sequenceBegins;
        sequenceBegins = false;
        return begins;
    }

    /**
     * Returns the examiner of a stream.
     *
     * @param codec FFmpeg's name of it
     * @param extradata its private data
     * @param bitsOfSample the bits of a coded pixel
     * @param pixels how many pixels a picture has
     * @return null for a codec whose pictures are not known
     */
    public static PacketExaminer of(String codec, byte[] extradata, int bitsOfSample, int pixels) {
        return switch (codec) {
            case "h264" -> new H264Examiner(extradata);
            case "hevc" -> new HevcExaminer(extradata);
            case "mpeg1video", "mpeg2video" -> new MpegVideoExaminer(extradata);
            case "mpeg4" -> new Mpeg4Examiner(extradata);
            case "mjpeg" -> new MjpegExaminer();
            case "rawvideo" -> bitsOfSample > Byte.SIZE ? new AloneExaminer(codec) : null;
            case "h263", "flv1", "msmpeg4v1", "msmpeg4v2", "msmpeg4v3", "msmpeg4", "wmv1", "wmv2", "theora", "vp8" ->
                new SimpleExaminer(codec, pixels);
            case "vp9" -> new Vp9Examiner();
            case "av1" -> new Av1Examiner();
            default -> ALONE.contains(codec) ? new AloneExaminer(codec) : null;
        };
    }

    /** Finds the next byte of a value. @return its place, or the end */
    static int nextOf(byte[] bytes, byte value, int from, int end) {
        long all = (value & 0xFFL) * 0x0101010101010101L;
        int at = from;
        while (at + Long.BYTES <= end) {
            long here = (long) LONGS.get(bytes, at) ^ all;
            if ((~((here & LOW_BITS) + LOW_BITS | here) & ~LOW_BITS) != 0) {
                break;
            }
            at += Long.BYTES;
        }
        while (at < end && bytes[at] != value) {
            at++;
        }
        return at;
    }

    /** Finds the next start code. @return the place of the byte behind 0, 0, 1, or the end */
    static int nextStartCode(byte[] bytes, int from, int end) {
        int at = from;
        // Sixteen places at a time, without a branch for the zeroes that most packets are full of.
        for (; at + 2 * Long.BYTES + 2 <= end; at += 2 * Long.BYTES) {
            long here = startCodes(bytes, at);
            long behind = startCodes(bytes, at + Long.BYTES);
            if ((here | behind) != 0) {
                int place = here != 0 ? at : at + Long.BYTES;
                return place + Long.numberOfTrailingZeros(here != 0 ? here : behind) / Byte.SIZE + 3;
            }
        }
        for (; at < end - 2; at++) {
            if (bytes[at] == 0 && bytes[at + 1] == 0 && bytes[at + 2] == 1) {
                return at + 3;
            }
        }
        return end;
    }

    /** Whether there are two zeroes and a byte less than 3, which no unit contains. */
    static boolean hasCode(byte[] bytes, int from, int end) {
        int at = from;
        while (at + 2 < end) {
            if (at + Long.BYTES + 2 <= end && codes(bytes, at) == 0) {
                at += Long.BYTES;
            } else if (bytes[at] == 0 && bytes[at + 1] == 0 && bytes[at + 2] >= 0 && bytes[at + 2] < 3) {
                return true;
            } else {
                at++;
            }
        }
        return false;
    }

    /** Looks for two zeroes and a byte less than 4 at eight places. @return 0 when there are none */
    private static long codes(byte[] bytes, int at) {
        return zeroes((long) LONGS.get(bytes, at) | (long) LONGS.get(bytes, at + 1)
                | (long) LONGS.get(bytes, at + 2) & ~(3 * LOWEST_BITS));
    }

    /** Looks for start codes at eight places. The lowest bit that is set belongs to the first one. */
    private static long startCodes(byte[] bytes, int at) {
        long first = (long) LONGS.get(bytes, at);
        long second = (long) LONGS.get(bytes, at + 1);
        long third = (long) LONGS.get(bytes, at + 2);
        return zeroes(first | second | third ^ LOWEST_BITS);
    }

    /** Looks for bytes that are 0. The lowest bit that is set belongs to the first one. */
    private static long zeroes(long bytes) {
        return bytes - LOWEST_BITS & ~bytes & HIGHEST_BITS;
    }
}
