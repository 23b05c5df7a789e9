package kiv.media.ffmpeg.exactness;

import java.io.IOException;
import java.io.UncheckedIOException;
import java.nio.file.Path;
import java.util.List;
import java.util.Map;
import java.util.Optional;
import java.util.concurrent.ConcurrentHashMap;
import java.util.function.Function;
import kiv.media.ffmpeg.FourCharacterCode;
import kiv.media.ffmpeg.MediaReader;
import kiv.media.ffmpeg.MediaStream;
import kiv.media.ffmpeg.MediaSubtypes;
import kiv.media.ffmpeg.Packet;
import kiv.media.ffmpeg.TestMedia.Clip;
import kiv.media.ffmpeg.TestMedia.Sound;

/**
 * The first stream of pictures or of sound in a file, as the reader gives it.
 *
 * @param times presentation times of the packets in the container's units
 */
public record Track(Path file, MediaStream stream, List<byte[]> packets, List<Long> times) {

    private static final Map<Object, Track> TRACKS = new ConcurrentHashMap<>();
    private static final int MPEG1VIDEO = 1;
    private static final int MPEG2VIDEO = 2;
    private static final int MP2 = 0x15000;
    private static final int MP3 = 0x15001;

    private static final String MPEG_SUBTYPES = "e06d8026-db46-11cf-b4d1-00805f6cbbea"
            + " e436eb81-524f-11ce-9f53-0020af0ba770 e436eb80-524f-11ce-9f53-0020af0ba770 MPG1";

    /** The media subtypes of the codecs, written down here again so that a slip in the library's table shows. */
    private static final Map<Integer, String> SUBTYPES = Map.ofEntries(
            Map.entry(MPEG1VIDEO, MPEG_SUBTYPES), Map.entry(MPEG2VIDEO, MPEG_SUBTYPES), Map.entry(28, "H264 avc1 VSSH"),
            Map.entry(17, "MP43"), Map.entry(16, "MP42"), Map.entry(13, "M4S2 MP4V DX50"),
            Map.entry(5, "H263 68323633-767a-494d-b478-f29d25dc9037"), Map.entry(18, "WMV1"), Map.entry(19, "WMV2"),
            Map.entry(72, "WMV3"), Map.entry(25, "dvsd"), Map.entry(46, "00000001-0000-0010-8000-00aa00389b71"),
            Map.entry(44, "cvid"), Map.entry(29, "IV32"));

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
            List<Packet> packets = reader.packets().filter(packet -> packet.streamIndex() == stream.index()).toList();
            return new Track(file, stream, packets.stream().map(Track::bytes).toList(),
                    packets.stream().map(Packet::presentationTime).toList());
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
        String[] subtypes = SUBTYPES.get(stream.codecId()).split(" ");
        String subtype = subtypes[number % subtypes.length];
        return subtype.length() == 4 ? MediaSubtypes.of(FourCharacterCode.of(subtype)) : subtype;
    }

    /** The seven integers that stand for a format of sound. */
    int[] format(int tag) {
        return new int[] {tag, stream.channels(), stream.sampleRate(), (int) stream.bitRate() / 8, stream.blockAlign(),
            stream.bitsPerCodedSample(), stream.extradata().length};
    }

    /** FFmpeg's number of the decoder that the media subtype or the format tags stand for. */
    int decoderId() {
        return switch (stream.codecId()) {
            case MPEG1VIDEO -> MPEG2VIDEO;
            case MP2 -> MP3;
            default -> stream.codecId();
        };
    }
}
