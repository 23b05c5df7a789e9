package kiv.media.ffmpeg.exactness;

import java.nio.file.Path;
import java.util.List;
import java.util.Map;
import java.util.concurrent.ConcurrentHashMap;

/**
 * The first stream of sound of a file, as the native reader gives it.
 *
 * @param codecId FFmpeg's number of the codec
 * @param bits bits of a coded sample, if the container tells
 */
public record SoundTrack(int codecId, int channels, int rate, int bitRate, int blockAlign, int bits, byte[] extradata,
        List<byte[]> packets) {

    private static final Map<Path, SoundTrack> TRACKS = new ConcurrentHashMap<>();
    private static final int MP2 = 0x15000;
    private static final int MP3 = 0x15001;

    /** Reads a file; the result is kept. */
    public static SoundTrack of(Path file) {
        return TRACKS.computeIfAbsent(file, SoundTrack::read);
    }

    /** FFmpeg's number of the decoder that the format tags stand for. */
    int decoderId() {
        return codecId == MP2 ? MP3 : codecId;
    }

    /** The seven integers that stand for its format. */
    public int[] format(int tag) {
        return new int[] {tag, channels, rate, bitRate / 8, blockAlign, bits, extradata.length};
    }

    private static SoundTrack read(Path file) {
        NativeStream stream = NativeStream.read(file, NativeStream.SOUND);
        long[] description = stream.description();
        return new SoundTrack((int) description[1], (int) description[13], (int) description[12], (int) description[11],
                (int) description[15], (int) description[14], stream.extradata(), stream.packets());
    }
}
