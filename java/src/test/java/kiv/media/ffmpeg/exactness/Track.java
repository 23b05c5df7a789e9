package kiv.media.ffmpeg.exactness;

import java.nio.file.Path;
import java.util.List;
import java.util.Map;
import java.util.concurrent.ConcurrentHashMap;

/**
 * The first video stream of a file, as the native reader gives it.
 *
 * @param codecId FFmpeg's number of the codec
 * @param bits bits of a pixel, if the container tells
 * @param times presentation times of the packets in the container's units
 */
public record Track(int codecId, int width, int height, int bits, byte[] extradata, List<byte[]> packets,
        List<Long> times) {

    private static final Map<Path, Track> TRACKS = new ConcurrentHashMap<>();
    private static final int MPEG1VIDEO = 1;
    private static final int MPEG2VIDEO = 2;

    private static final List<String> MPEG_SUBTYPES = List.of("e06d8026-db46-11cf-b4d1-00805f6cbbea",
            "e436eb81-524f-11ce-9f53-0020af0ba770", "e436eb80-524f-11ce-9f53-0020af0ba770", fourCc("MPG1"));

    /** The media subtypes of the codecs, written down here again so that a slip in the library's table shows. */
    private static final Map<Integer, List<String>> SUBTYPES = Map.ofEntries(
            Map.entry(MPEG1VIDEO, MPEG_SUBTYPES),
            Map.entry(MPEG2VIDEO, MPEG_SUBTYPES),
            Map.entry(28, List.of(fourCc("H264"), fourCc("avc1"), fourCc("VSSH"))),
            Map.entry(17, List.of(fourCc("MP43"))),
            Map.entry(16, List.of(fourCc("MP42"))),
            Map.entry(13, List.of(fourCc("M4S2"), fourCc("MP4V"), fourCc("DX50"))),
            Map.entry(5, List.of(fourCc("H263"), "68323633-767a-494d-b478-f29d25dc9037")),
            Map.entry(18, List.of(fourCc("WMV1"))),
            Map.entry(19, List.of(fourCc("WMV2"))),
            Map.entry(72, List.of(fourCc("WMV3"))),
            Map.entry(25, List.of(fourCc("dvsd"))),
            Map.entry(46, List.of("00000001-0000-0010-8000-00aa00389b71")),
            Map.entry(44, List.of(fourCc("cvid"))),
            Map.entry(29, List.of(fourCc("IV32"))));

    private static String fourCc(String characters) {
        int code = 0;
        for (int i = 3; i >= 0; i--) {
            code = code << 8 | characters.charAt(i);
        }
        return String.format("%08x-0000-0010-8000-00aa00389b71", code);
    }

    /** Reads a file; the result is kept. */
    public static Track of(Path file) {
        return TRACKS.computeIfAbsent(file, Track::read);
    }

    /** A media subtype for the codec; different numbers go through all that it has. */
    String subtype(int number) {
        List<String> subtypes = SUBTYPES.get(codecId);
        return subtypes.get(number % subtypes.size());
    }

    /** FFmpeg's number of the decoder that the media subtype stands for. */
    int decoderId() {
        return codecId == MPEG1VIDEO ? MPEG2VIDEO : codecId;
    }

    private static Track read(Path file) {
        NativeStream stream = NativeStream.read(file, NativeStream.VIDEO);
        long[] description = stream.description();
        return new Track((int) description[1], (int) description[3], (int) description[4], (int) description[14],
                stream.extradata(), stream.packets(), stream.times());
    }
}
