package kiv.media.ffmpeg.cli;

import java.nio.file.Files;
import java.nio.file.Path;
import java.util.Optional;

/** Says before the work how much pictures will take, when that is much. */
final class DiskSpace {

    private static final double MUCH = 20e9;

    private DiskSpace() {
    }

    /**
     * Compares the size of pictures to the room for them.
     *
     * @param bytes about as many as will be written
     * @param where a directory
     * @return the line to show; empty when they take little, or when there is no such directory
     */
    static Optional<String> announcement(double bytes, Path where) {
        if (!Files.isDirectory(where)) {
            return Optional.empty();
        }
        // A FileStore is not found in a changed root, as in some containers.
        long free = where.toFile().getUsableSpace();
        if (bytes < Math.min(MUCH, free)) {
            return Optional.empty();
        }
        return Optional.of("the pictures will take about " + ConsoleText.size(bytes) + ", and " + ConsoleText.size(free)
                + " are free in " + where + (bytes < free ? "" : "; --every, --limit and --size make them fewer or smaller"));
    }
}
