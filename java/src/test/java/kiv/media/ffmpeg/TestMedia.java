package kiv.media.ffmpeg;

import java.io.IOException;
import java.io.UncheckedIOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.List;

/** The files that tests decode: made and fetched by the build, never part of the sources. */
public final class TestMedia {

    /** A line of the list of made streams; sizes and counts are those that another program finds. */
    public record Stream(String file, String codec, String subtype, int width, int height, int frames, String format,
            List<String> traits) {

        public Path path() {
            return stream(file);
        }

        public boolean is(String trait) {
            return traits.contains(trait);
        }

        /** Whether the pictures' left edge is cut off, which this FFmpeg leaves on for the sake of alignment. */
        public boolean cutsTheLeftEdge() {
            return is("cropped") && width < 1920;
        }

        @Override
        public String toString() {
            return file;
        }
    }

    private TestMedia() {
    }

    /** A made stream. */
    public static Path stream(String name) {
        return existing(directory("KIV_STREAMS_DIR", "../build/streams").resolve(name));
    }

    /** A real file. */
    public static Path media(String name) {
        return existing(directory("KIV_MEDIA_DIR", "../build/media").resolve(name));
    }

    /** A real H.264 film in an MP4 with sound. */
    public static Path film() {
        return media("balle-jbart.mp4");
    }

    /** All made streams that have pictures. */
    public static List<Stream> streams() {
        try {
            return Files.readAllLines(stream("manifest.tsv")).stream().skip(1).map(line -> line.split("\t"))
                    .map(f -> new Stream(f[0], f[1], f[2], Integer.parseInt(f[3]), Integer.parseInt(f[4]),
                            Integer.parseInt(f[5]), f[6], List.of(f[7].split(","))))
                    .toList();
        } catch (IOException e) {
            throw new UncheckedIOException(e);
        }
    }

    private static Path directory(String variable, String otherwise) {
        String named = System.getenv(variable);
        return Path.of(named != null ? named : otherwise).toAbsolutePath().normalize();
    }

    private static Path existing(Path file) {
        if (!Files.isRegularFile(file)) {
            throw new AssertionError("the test file " + file + " is missing: run ./test in the root once, or set"
                    + " KIV_STREAMS_DIR and KIV_MEDIA_DIR");
        }
        return file;
    }
}
