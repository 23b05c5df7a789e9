package kiv.media.ffmpeg.cli;

import java.io.IOException;
import java.time.Duration;
import java.util.List;
import java.util.Optional;
import java.util.Set;
import kiv.media.ffmpeg.MediaException;
import kiv.media.ffmpeg.MediaReader;
import kiv.media.ffmpeg.MediaStream;
import kiv.media.ffmpeg.Packet;

/**
 * Opens a file near the beginning of a part, so that decoding from there gives the part exactly as decoding the whole
 * file does. It seeks and then verifies that the packets there begin early enough.
 */
final class VerifiedSeek {

    /** Without a container the times of packets follow from their count, so no packet may be left out. */
    private static final Set<String> COUNTED = Set.of("h264", "hevc", "mpegvideo", "m4v", "h263", "cavsvideo", "dirac",
            "vc1", "dv", "mjpeg");
    /** Tried one after the other: seeking uses an index or a guess, and may end too late for the decoder. */
    private static final List<Duration> MARGINS = List.of(Duration.ofSeconds(1), Duration.ofSeconds(6),
            Duration.ofSeconds(30));
    private static final int MOST_PACKETS = 5000;

    private VerifiedSeek() {
    }

    /**
     * Opens a file so that its next packets are the ones to decode.
     *
     * @param time the part's beginning, counted from the file's beginning, or null
     * @return a reader, at the file's beginning when no later place is early enough
     */
    static MediaReader open(MediaInput input, Duration time) throws IOException {
        MediaReader reader = time == null ? input.openForward() : input.open();
        try {
            Optional<MediaStream> video = reader.firstVideo();
            if (time == null || video.isEmpty() || COUNTED.contains(reader.formatName())) {
                return reader;
            }
            Duration wanted = time.plus(TimeRange.beginning(reader));
            boolean moved = false;
            for (Duration margin : MARGINS) {
                if (margin.compareTo(time) >= 0) {
                    break;
                }
                moved = true;
                if (!seek(reader, wanted.minus(margin))) {
                    break;
                }
                if (isEarlyEnough(reader, video.get(), wanted)) {
                    reader.seek(wanted.minus(margin));
                    return reader;
                }
            }
            if (!moved) {
                return reader;
            }
        } catch (Throwable e) {
            reader.close();
            throw e;
        }
        reader.close();
        return input.open();
    }

    private static boolean seek(MediaReader reader, Duration time) throws IOException {
        try {
            reader.seek(time);
            return true;
        } catch (MediaException e) {
            return false;
        }
    }

    private static boolean isEarlyEnough(MediaReader reader, MediaStream video, Duration wanted) throws IOException {
        for (int packets = 0; packets < MOST_PACKETS; packets++) {
            Packet packet = reader.read();
            if (packet == null) {
                return false;
            }
            if (packet.streamIndex() == video.index() && packet.isKey()) {
                return time(reader, packet).filter(time -> time.compareTo(wanted) <= 0).isPresent();
            }
        }
        return false;
    }

    private static Optional<Duration> time(MediaReader reader, Packet packet) {
        MediaStream stream = reader.streams().get(packet.streamIndex());
        return stream.time(packet.presentationTime() != Packet.NO_TIME ? packet.presentationTime()
                : packet.decodingTime());
    }
}
