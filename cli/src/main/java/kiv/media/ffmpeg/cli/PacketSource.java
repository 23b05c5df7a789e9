package kiv.media.ffmpeg.cli;

import java.io.IOException;
import java.util.Optional;
import java.util.function.Consumer;
import java.util.function.Predicate;
import kiv.media.ffmpeg.MediaFormatException;
import kiv.media.ffmpeg.MediaReader;
import kiv.media.ffmpeg.Packet;
import kiv.media.ffmpeg.WorkerException;

/** Reads a file's packets up to its end, or up to where its container is damaged, so that what came before is kept. */
final class PacketSource {

    private final MediaInput input;
    private final MediaReader reader;
    private final Consumer<String> warnings;
    private boolean begun;
    private boolean ended;
    private boolean incomplete;
    private WorkerException death;

    /**
     * @param input what the reader reads
     * @param warnings receives a line when the rest of the file is left out or missing
     */
    PacketSource(MediaInput input, MediaReader reader, Consumer<String> warnings) {
        this.input = input;
        this.reader = reader;
        this.warnings = warnings;
    }

    /** {@return the next packet, or null at the end} */
    Packet next() throws IOException {
        ShutdownGuard.throwIfEnding();
        if (ended) {
            return null;
        }
        Packet packet;
        try {
            packet = reader.read();
        } catch (MediaFormatException e) {
            if (!begun) {
                throw e;
            }
            end("the container is damaged, and what follows is left out: " + e.getMessage());
            return null;
        }
        begun = true;
        if (packet == null) {
            end(null);
        }
        return packet;
    }

    /** {@return the next packet that is wanted, or null at the end} */
    Packet next(Predicate<Packet> wanted) throws IOException {
        Packet packet = next();
        while (packet != null && !wanted.test(packet)) {
            packet = next();
        }
        return packet;
    }

    private void end(String damage) throws IOException {
        ended = true;
        Optional<String> missing = input.missingEnd();
        incomplete = damage != null || missing.isPresent();
        if (incomplete) {
            warnings.accept(missing.orElse(damage));
        }
    }

    /** Ends the packets, because the process that decodes them has ended. What it decoded before is kept. */
    void endWith(WorkerException failure) {
        ShutdownGuard.throwIfEnding();
        ended = true;
        death = death == null ? failure : death;
    }

    /** {@return whether the process that decodes has ended} */
    boolean isKilled() {
        return death != null;
    }

    /**
     * Reports that the process that decodes has ended, if it has.
     *
     * @param decoded whether it gave anything before
     * @throws KilledException when it has not
     */
    void reportDeath(boolean decoded) {
        if (death == null) {
            return;
        }
        if (!decoded) {
            throw new KilledException(input, death);
        }
        warnings.accept(input.about(KilledException.describe(death)) + "; what was decoded before is kept");
    }

    /** {@return the exit status of work that succeeded: whether the packets were all that the file should hold} */
    int status() {
        return death != null ? ExitStatus.KILLED : incomplete ? ExitStatus.INCOMPLETE : ExitStatus.OK;
    }
}
