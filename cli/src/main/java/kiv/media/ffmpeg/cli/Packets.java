package kiv.media.ffmpeg.cli;

import java.io.IOException;
import java.util.function.Consumer;
import kiv.media.ffmpeg.MediaFormatException;
import kiv.media.ffmpeg.MediaReader;
import kiv.media.ffmpeg.Packet;

/** A file's packets up to its end, or to where its container is damaged: what came before is worth keeping. */
final class Packets {

    private final MediaReader reader;
    private final Consumer<String> warnings;
    private boolean begun;

    /** @param warnings told in a line when the file is given up before its end */
    Packets(MediaReader reader, Consumer<String> warnings) {
        this.reader = reader;
        this.warnings = warnings;
    }

    /** {@return the next packet, or null at the end} */
    Packet next() throws IOException {
        Unfinished.check();
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
}
