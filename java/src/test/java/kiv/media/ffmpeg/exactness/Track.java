package kiv.media.ffmpeg.exactness;

import java.io.IOException;
import java.io.UncheckedIOException;
import java.nio.file.Path;
import java.util.List;
import java.util.Map;
import java.util.Optional;
import java.util.concurrent.ConcurrentHashMap;
import java.util.function.Function;
import java.util.stream.Collectors;
import java.util.stream.Stream;
import kiv.media.ffmpeg.FourCharacterCode;
import kiv.media.ffmpeg.MediaReader;
import kiv.media.ffmpeg.MediaStream;
import kiv.media.ffmpeg.MediaSubtypes;
import kiv.media.ffmpeg.Packet;
import kiv.media.ffmpeg.TestMedia.Clip;
import kiv.media.ffmpeg.TestMedia.Sound;

/** The first stream of pictures or of sound in a file, as the reader delivers it. */
public record Track(Path file, MediaStream stream, List<byte[]> packets) {

    private static final Map<Object, Track> TRACKS = new ConcurrentHashMap<>();

    /** The media subtypes of FFmpeg's codecs, written down here again so that a slip in the library's table shows. */
    private static final Map<Integer, List<String>> SUBTYPES = Stream.of("1 MPG1 e06d8026-db46-11cf-b4d1-00805f6cbbea"
            + " e436eb81-524f-11ce-9f53-0020af0ba770 e436eb80-524f-11ce-9f53-0020af0ba770", "28 H264 avc1 VSSH", "17 MP43",
            "16 MP42", "13 M4S2 MP4V DX50", "5 H263 68323633-767a-494d-b478-f29d25dc9037", "18 WMV1", "19 WMV2", "72 WMV3",
            "25 dvsd", "46 00000001-0000-0010-8000-00aa00389b71", "44 cvid", "29 IV32").map(row -> List.of(row.split(" ")))
            .collect(Collectors.toMap(row -> Integer.parseInt(row.get(0)), row -> row.subList(1, row.size())));

    /** Reads the pictures of a file; the result is kept. */
    public static Track of(Clip clip) {
        return TRACKS.computeIfAbsent(clip, unknown -> read(clip.file(), MediaReader::firstVideo));
    }

    /** Reads the sound of a file; the result is kept. */
    public static Track of(Sound sound) {
        return TRACKS.computeIfAbsent(sound, unknown -> read(sound.file(), MediaReader::firstAudio));
    }

    private static Track read(Path file, Function<MediaReader, Optional<MediaStream>> choice) {
        try (MediaReader reader = MediaReader.open(file)) {
            MediaStream stream = choice.apply(reader).orElseThrow();
            return new Track(file, stream, reader.packets().filter(packet -> packet.streamIndex() == stream.index())
                    .map(Track::bytes).toList());
        } catch (IOException e) {
            throw new UncheckedIOException(e);
        }
    }

    static byte[] bytes(Packet packet) {
        byte[] bytes = new byte[packet.size()];
        packet.data().get(bytes);
        return bytes;
    }

    /** A media subtype for the codec; different numbers go through all that it has. */
    String subtype(int number) {
        List<String> subtypes = SUBTYPES.get(stream.codecId() == 2 ? 1 : stream.codecId());
        String subtype = subtypes.get(number % subtypes.size());
        return subtype.length() == 4 ? MediaSubtypes.of(FourCharacterCode.of(subtype)) : subtype;
    }

    /** FFmpeg's number of the decoder for the media subtype or the format tag: that of MPEG-2, and that of MP3 for MP2. */
    String decoderId() {
        int codec = stream.codecId();
        return Integer.toString(codec == 1 ? 2 : codec == 0x15000 ? 0x15001 : codec);
    }
}
