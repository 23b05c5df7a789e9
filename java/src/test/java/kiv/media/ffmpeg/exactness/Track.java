package kiv.media.ffmpeg.exactness;

import java.io.IOException;
import java.io.UncheckedIOException;
import java.nio.file.Path;
import java.util.List;
import java.util.Map;
import java.util.Optional;
import java.util.concurrent.ConcurrentHashMap;
import java.util.function.Function;
import kiv.media.ffmpeg.MediaReader;
import kiv.media.ffmpeg.MediaStream;
import kiv.media.ffmpeg.Packet;
import kiv.media.ffmpeg.TestMedia.Clip;
import kiv.media.ffmpeg.TestMedia.Sound;

/** The first stream of pictures or of sound in a file, as the reader delivers it. */
public record Track(Path file, MediaStream stream, List<byte[]> packets) {

    private static final Map<Object, Track> TRACKS = new ConcurrentHashMap<>();

    /** Returns the pictures of a file, and keeps them. */
    public static Track of(Clip clip) {
        return TRACKS.computeIfAbsent(clip, unknown -> read(clip.file(), MediaReader::firstVideo));
    }

    /** Returns the sound of a file, and keeps it. */
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

    private static byte[] bytes(Packet packet) {
        byte[] bytes = new byte[packet.size()];
        packet.data().get(bytes);
        return bytes;
    }

    /** FFmpeg's number of the decoder for the media subtype or the format tag: that of MPEG-2, and that of MP3 for MP2. */
    String decoderId() {
        int codec = stream.codecId();
        return Integer.toString(codec == 1 ? 2 : codec == 0x15000 ? 0x15001 : codec);
    }
}
