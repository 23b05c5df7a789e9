package kiv.media.ffmpeg.javasound;

import java.io.IOException;
import java.io.InputStream;
import java.util.Set;
import kiv.media.ffmpeg.headers.LeadingBytes;
import kiv.media.ffmpeg.headers.MediaSignatures;
import kiv.media.ffmpeg.headers.WaveTags;

/**
 * Decides by the first bytes whether this library opens a stream. It leaves the formats of the JDK's own readers to
 * them, although the JDK asks other providers first.
 */
final class MediaFilter {

    private static final Set<Integer> WAVE_OF_THE_JDK = Set.of(WaveTags.PCM, WaveTags.FLOAT, WaveTags.ALAW,
            WaveTags.MULAW);
    private static final Set<Integer> EXTENSIBLE_OF_THE_JDK = Set.of(WaveTags.PCM, WaveTags.FLOAT);

    private MediaFilter() {
    }

    /**
     * Reads the first bytes of a stream, at most 16384 and mostly far fewer.
     *
     * @return whether FFmpeg may know the format
     */
    static boolean mayBeOurs(InputStream in) throws IOException {
        LeadingBytes head = new LeadingBytes(in);
        if (head.is(0, "RIFF") && head.is(8, "WAVE")) {
            return !isWaveOfTheJdk(head);
        }
        return MediaSignatures.match(head);
    }

    /** True also when the first bytes do not contain the format, because the JDK reads more of them. */
    private static boolean isWaveOfTheJdk(LeadingBytes head) throws IOException {
        int format = head.riffChunk("fmt ");
        if (format < 0 || !head.has(format + 2)) {
            return true;
        }
        int tag = head.littleEndian16(format);
        return tag == WaveTags.EXTENSIBLE
                ? !head.has(format + 26) || EXTENSIBLE_OF_THE_JDK.contains(head.littleEndian16(format + 24))
                : WAVE_OF_THE_JDK.contains(tag);
    }
}
