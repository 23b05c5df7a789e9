package kiv.media.ffmpeg.headers;

import java.io.IOException;
import java.util.List;

/**
 * Recognizes the containers that FFmpeg reads here, and streams of frames without a container, by their first bytes.
 * FFmpeg's own probing is too lenient for arbitrary bytes: it takes garbage and text for some medium if it reads
 * enough.
 */
public final class MediaSignatures {

    /** A text at an index, and perhaps a second text at a second index. */
    private record Signature(int at, String text, int then, String more) {
        Signature(int at, String text) {
            this(at, text, at, "");
        }

        boolean isIn(LeadingBytes head) throws IOException {
            return head.is(at, text) && head.is(then, more);
        }
    }

    private static final List<Signature> CONTAINERS = List.of(
            new Signature(0, "RIFF", 8, "AVI "),
            new Signature(0, "RF64", 8, "WAVE"),
            new Signature(0, "#!AMR\n"),
            // MP4 and QuickTime: the first box's size and name.
            new Signature(0, "\0", 4, "ftyp"),
            new Signature(0, "\0", 4, "moov"),
            new Signature(0, "\0", 4, "wide"),
            new Signature(0, "\0", 4, "free"),
            new Signature(0, "\0", 4, "skip"),
            new Signature(4, "mdat"),
            // Matroska and WebM.
            new Signature(0, "\u001aE\u00df\u00a3"),
            // ASF, that is WMA and WMV.
            new Signature(0, "0&\u00b2u\u008ef\u00cf\u0011"),
            new Signature(0, "FLV\u0001"),
            new Signature(0, "OggS"),
            new Signature(0, "fLaC"),
            // Core Audio, Wave64, Creative Voice.
            new Signature(0, "caff\0\u0001"),
            new Signature(0, "riff.\u0091\u00cf\u0011"),
            new Signature(0, "Creative Voice File"),
            // WavPack, Monkey's Audio, True Audio, DSD.
            new Signature(0, "wvpk"),
            new Signature(0, "MAC "),
            new Signature(0, "TTA1"),
            new Signature(0, "DSD "),
            // MPEG program streams.
            new Signature(0, "\0\0\u0001\u00ba"),
            // DTS in its four ways of packing bits.
            new Signature(0, "\u007f\u00fe\u0080\u0001"),
            new Signature(0, "\u00fe\u007f\u0001\u0080"),
            new Signature(0, "\u001f\u00ff\u00e8\0"),
            new Signature(0, "\u00ff\u001f\0\u00e8"),
            // Tags before MP3 and AAC.
            new Signature(0, "ID3\u0002"),
            new Signature(0, "ID3\u0003"),
            new Signature(0, "ID3\u0004"));

    /** Where the first packet begins, and its length: plain, with time codes, with check sums. */
    private static final int[][] TRANSPORT_STREAMS = {{0, 188}, {4, 192}, {0, 204}};
    private static final int TRANSPORT_SYNC = 0x47;

    /** This many frames in a row are no coincidence. */
    private static final int FRAMES = 4;

    /** The length of the frame that starts at an index, or 0 when there is none. */
    @FunctionalInterface
    private interface FrameLength {
        int at(LeadingBytes head, int at);
    }

    private static final int MPEG_HEADER = 4;
    private static final int ADTS_HEADER = 7;
    private static final int AC3_HEADER = 6;

    /** In 1000 bits per second: layers 1, 2, 3 of MPEG-1, then layer 1 and the others of MPEG-2. */
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

    private MediaSignatures() {
    }

    /**
     * Checks the first bytes of a stream, mostly only a few. The caller checks WAV files itself.
     *
     * @param head the stream's first bytes
     * @return whether FFmpeg is likely to read them
     * @throws IOException when the stream cannot be read
     */
    public static boolean match(LeadingBytes head) throws IOException {
        for (Signature signature : CONTAINERS) {
            if (signature.isIn(head)) {
                return true;
            }
        }
        for (int[] shape : TRANSPORT_STREAMS) {
            if (hasFrames(head, shape[0], 1, (bytes, at) -> bytes.at(at) == TRANSPORT_SYNC ? shape[1] : 0)) {
                return true;
            }
        }
        // Many files start with a few zeros.
        int start = 0;
        while (head.has(start + 1) && head.at(start) == 0) {
            start++;
        }
        return hasFrames(head, start, MPEG_HEADER, MediaSignatures::mpegFrame)
                || hasFrames(head, start, ADTS_HEADER, MediaSignatures::adtsFrame)
                || hasFrames(head, start, AC3_HEADER, MediaSignatures::ac3Frame);
    }

    /** Whether frames follow one another, or the bytes end after one. */
    private static boolean hasFrames(LeadingBytes head, int start, int headerSize, FrameLength length)
            throws IOException {
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

    private static int mpegFrame(LeadingBytes head, int at) {
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

    private static int adtsFrame(LeadingBytes head, int at) {
        boolean header = head.at(at) == 0xFF && (head.at(at + 1) & 0xF6) == 0xF0 && (head.at(at + 2) >> 2 & 15) < 13;
        return header ? (head.at(at + 3) & 3) << 11 | head.at(at + 4) << 3 | head.at(at + 5) >> 5 : 0;
    }

    private static int ac3Frame(LeadingBytes head, int at) {
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
