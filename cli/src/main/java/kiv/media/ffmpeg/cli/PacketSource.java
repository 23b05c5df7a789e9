package kiv.media.ffmpeg.cli;

import java.io.IOException;
import java.util.function.Consumer;
import java.util.function.Predicate;
import kiv.media.ffmpeg.MediaFormatException;
import kiv.media.ffmpeg.MediaReader;
import kiv.media.ffmpeg.Packet;

/** Reads a file's packets up to its end, or up to where its container is damaged, so that what came before is kept. */
final class PacketSource {

    private final MediaReader reader;
    private final Consumer<String> warnings;
    private boolean begun;

    /** @param warnings receives a line when the rest of the file is left out */
    PacketSource(MediaReader reader, Consumer<String> warnings) {
        this.reader = reader;
        this.warnings = warnings;
    }

    /** {@return the next packet, or null at the end} */
    Packet next() throws IOException {
        ShutdownGuard.throwIfEnding();
        try {
            Packet packet = reader.read();
            begun = true;
            return packet;
        } catch (MediaFormatException e) {
            if (!begun) {
                throw e;
            }
            warnings.accept("the container is damaged, and what follows is left out: " + e.getMessage());
            return null;
        }
    }

    /** {@return the next packet that is wanted, or null at the end} */
    Packet next(Predicate<Packet> wanted) throws IOException {
        Packet packet = next();
        while (packet != null && !wanted.test(packet)) {
            packet = next();
        }
        return packet;
    }
}
