package kiv.media.ffmpeg.javasound;

import java.io.IOException;
import java.io.InputStream;
import java.util.List;
import java.util.Set;

/**
 * Tells by their first bytes which media may be ours. FFmpeg's own search is too thorough for a provider that is asked
 * about everything: given enough of it, garbage and text become some medium. What the JDK's own readers take is not
 * ours either; providers of the class path are asked before them.
 */
final class Signatures {

    /** What is at a place, and perhaps what is at a second one. */
    private record Magic(int at, String text, int then, String more) {
        Magic(int at, String text) {
            this(at, text, at, "");
        }

        boolean isIn(Head head) throws IOException {
            return head.is(at, text) && head.is(then, more);
        }
    }

    private static final List<Magic> MEDIA = List.of(
            new Magic(0, "RIFF", 8, "AVI "),
            new Magic(0, "RF64", 8, "WAVE"),
            new Magic(0, "riff.\u0091\u00cf\u0011"),
            new Magic(0, "caff"),
            new Magic(0, "#!AMR\n"),
            new Magic(0, "Creative Voice File\u001a"),
            // MP4 and QuickTime: the first box's size and name.
            new Magic(0, "\0", 4, "ftyp"),
            new Magic(0, "\0", 4, "moov"),
            new Magic(0, "\0", 4, "wide"),
            new Magic(0, "\0", 4, "free"),
            new Magic(0, "\0", 4, "skip"),
            new Magic(4, "mdat"),
            // Matroska and WebM.
            new Magic(0, "\u001aE\u00df\u00a3"),
            // ASF, that is WMA and WMV.
            new Magic(0, "0&\u00b2u\u008ef\u00cf\u0011"),
            new Magic(0, "FLV\u0001"),
            new Magic(0, "OggS"),
            // MPEG program streams.
            new Magic(0, "\0\0\u0001\u00ba"),
            // DTS in its four ways of packing bits.
            new Magic(0, "\u007f\u00fe\u0080\u0001"),
            new Magic(0, "\u00fe\u007f\u0001\u0080"),
            new Magic(0, "\u001f\u00ff\u00e8\0"),
            new Magic(0, "\u00ff\u001f\0\u00e8"),
            // The title and so on before MP3 and AAC.
            new Magic(0, "ID3\u0002"),
            new Magic(0, "ID3\u0003"),
            new Magic(0, "ID3\u0004"));

    /** Where the first packet begins, and from there to the next one: plain, with time codes, with check sums. */
    private static final int[][] TRANSPORT_STREAMS = {{0, 188}, {4, 192}, {0, 204}};
    private static final int TRANSPORT_SYNC = 0x47;

    private static final int WAVE_EXTENSIBLE = 0xFFFE;
    /** PCM, floats, A-law, mu-law. */
    private static final Set<Integer> WAVE_OF_THE_JDK = Set.of(1, 3, 6, 7);
    private static final Set<Integer> EXTENSIBLE_OF_THE_JDK = Set.of(1, 3);
    /** Mu-law, PCM of 8 to 32 bits, floats of 32 and 64 bits, A-law. */
    private static final Set<Long> AU_OF_THE_JDK = Set.of(1L, 2L, 3L, 4L, 5L, 6L, 7L, 27L);

    /** So many frames in a row are no accident. */
    private static final int FRAMES = 4;

    /** Tells how long a frame is whose first bytes are at a place, or 0 when there is none. */
    @FunctionalInterface
    private interface FrameLength {
        int at(Head head, int at);
    }

    private static final int MPEG_HEADER = 4;
    private static final int ADTS_HEADER = 7;
    private static final int AC3_HEADER = 6;

    /** In 1000 bits a second: layers 1, 2, 3 of MPEG-1, then layer 1 and the others of MPEG-2. */
    private static final int[][] MPEG_BIT_RATES = {
        {32, 64, 96, 128, 160, 192, 224, 256, 288, 320, 352, 384, 416, 448},
        {32, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320, 384},
        {32, 40, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320},
        {32, 48, 56, 64, 80, 96, 112, 128, 144, 160, 176, 192, 224, 256},
        {8, 16, 24, 32, 40, 48, 56, 64, 80, 96, 112, 128, 144, 160}
    };
    private static final int[] MPEG_SAMPLE_RATES = {44100, 48000, 32000};
    private static final int[] AC3_BIT_RATES = {32, 40, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320, 384, 448,
        512, 576, 640};

    private Signatures() {
    }

    /**
     * Reads the beginning of a medium, at most 16384 bytes and mostly much less.
     *
     * @return whether FFmpeg is to look at it
     */
    static boolean mayBeOurs(InputStream in) throws IOException {
        Head head = new Head(in);
        if (head.is(0, "RIFF") && head.is(8, "WAVE")) {
            return !isWaveOfTheJdk(head);
        }
        if (head.is(0, ".snd")) {
            return head.has(16) && !AU_OF_THE_JDK.contains(head.bigEndian32(12));
        }
        if (head.is(0, "FORM")) {
            return head.is(8, "AIFC") && !isAifcOfTheJdk(head);
        }
        for (Magic magic : MEDIA) {
            if (magic.isIn(head)) {
                return true;
            }
        }
        for (int[] shape : TRANSPORT_STREAMS) {
            if (hasFrames(head, shape[0], 1, (bytes, at) -> bytes.at(at) == TRANSPORT_SYNC ? shape[1] : 0)) {
                return true;
            }
        }
        // Many files begin with a few zeros.
        int start = 0;
        while (head.has(start + 1) && head.at(start) == 0) {
            start++;
        }
        return hasFrames(head, start, MPEG_HEADER, Signatures::mpegFrame)
                || hasFrames(head, start, ADTS_HEADER, Signatures::adtsFrame)
                || hasFrames(head, start, AC3_HEADER, Signatures::ac3Frame);
    }

    /** Where the format is not found, the JDK looks farther. */
    private static boolean isWaveOfTheJdk(Head head) throws IOException {
        int fmt = chunk(head, "fmt ", true);
        if (fmt < 0 || !head.has(fmt + 2)) {
            return true;
        }
        int tag = head.littleEndian16(fmt);
        return tag == WAVE_EXTENSIBLE
                ? !head.has(fmt + 26) || EXTENSIBLE_OF_THE_JDK.contains(head.littleEndian16(fmt + 24))
                : WAVE_OF_THE_JDK.contains(tag);
    }

    private static boolean isAifcOfTheJdk(Head head) throws IOException {
        int comm = chunk(head, "COMM", false);
        return comm < 0 || head.is(comm + 18, "NONE") || head.is(comm + 18, "ulaw");
    }

    /** Where a chunk's content begins, or -1. */
    private static int chunk(Head head, String name, boolean littleEndian) throws IOException {
        long at = 12;
        while (at < Short.MAX_VALUE && head.has((int) at + 8)) {
            int header = (int) at;
            if (head.is(header, name)) {
                return header + 8;
            }
            long size = littleEndian ? head.littleEndian32(header + 4) : head.bigEndian32(header + 4);
            at += 8 + size + size % 2;
        }
        return -1;
    }

    /** Whether frames follow one another, or the bytes end after one. */
    private static boolean hasFrames(Head head, int start, int headerSize, FrameLength length) throws IOException {
        int at = start;
        for (int i = 0; i < FRAMES; i++) {
            if (!head.has(at + headerSize)) {
                return i > 0;
            }
            int frame = length.at(head, at);
            if (frame < headerSize) {
                return false;
            }
            at += frame;
        }
        return true;
    }

    private static int mpegFrame(Head head, int at) {
        int version = head.at(at + 1) >> 3 & 3;
        int layer = 4 - (head.at(at + 1) >> 1 & 3);
        int bitRate = head.at(at + 2) >> 4;
        int sampleRate = head.at(at + 2) >> 2 & 3;
        if (head.at(at) != 0xFF || head.at(at + 1) < 0xE0 || version == 1 || layer == 4 || bitRate == 0
                || bitRate == 15 || sampleRate == 3) {
            return 0;
        }
        boolean mpeg1 = version == 3;
        int bits = 1000 * MPEG_BIT_RATES[mpeg1 ? layer - 1 : Math.min(3 + layer - 1, 4)][bitRate - 1];
        int samples = MPEG_SAMPLE_RATES[sampleRate] >> (mpeg1 ? 0 : version == 2 ? 1 : 2);
        int padding = head.at(at + 2) >> 1 & 1;
        if (layer == 1) {
            return (12 * bits / samples + padding) * 4;
        }
        return (layer == 3 && !mpeg1 ? 72 : 144) * bits / samples + padding;
    }

    private static int adtsFrame(Head head, int at) {
        boolean header = head.at(at) == 0xFF && (head.at(at + 1) & 0xF6) == 0xF0 && (head.at(at + 2) >> 2 & 15) < 13;
        return header ? (head.at(at + 3) & 3) << 11 | head.at(at + 4) << 3 | head.at(at + 5) >> 5 : 0;
    }

    private static int ac3Frame(Head head, int at) {
        int sampleRate = head.at(at + 4) >> 6;
        int size = head.at(at + 4) & 63;
        int version = head.at(at + 5) >> 3;
        if (head.at(at) != 0x0B || head.at(at + 1) != 0x77 || size / 2 >= AC3_BIT_RATES.length || version > 10) {
            return 0;
        }
        int bitRate = AC3_BIT_RATES[size / 2];
        return switch (sampleRate) {
            case 0 -> 4 * bitRate;
            case 1 -> 2 * (320 * bitRate / 147 + size % 2);
            case 2 -> 6 * bitRate;
            default -> 0;
        };
    }
}
