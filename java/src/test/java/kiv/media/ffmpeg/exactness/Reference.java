package kiv.media.ffmpeg.exactness;

import java.io.IOException;
import java.io.InterruptedIOException;
import java.io.UncheckedIOException;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.HashSet;
import java.util.List;
import java.util.Map;
import java.util.Set;
import java.util.concurrent.ConcurrentHashMap;

/** What FFmpeg gives when it is called directly. */
public final class Reference {

    private static final Map<List<String>, Decoding> DECODINGS = new ConcurrentHashMap<>();

    /**
     * One picture.
     *
     * @param packet number of the packet that was being fed when the picture came
     * @param time the timestamp that it carries, which is the number of a packet
     * @param format its pixel format
     * @param decoded the decoder's pixel format
     * @param md5 of the visible bytes
     */
    public record Picture(int packet, long time, int width, int height, String format, String decoded, String md5) {
    }

    /**
     * A whole stream.
     *
     * @param failed numbers of the packets that the decoder refused
     */
    public record Decoding(int packets, List<Picture> pictures, Set<Integer> failed) {
        List<Picture> of(int packet) {
            return pictures.stream().filter(picture -> picture.packet() == packet).toList();
        }
    }

    private Reference() {
    }

    /**
     * Decodes the first video stream.
     *
     * @param track the same stream, for the decoder to use
     * @param format pixel format into which the pictures are converted if they have another one
     * @param whole whether each packet is known to be a whole picture
     */
    public static Decoding decode(Path file, Track track, String format, boolean whole, String... more) {
        List<String> arguments = new ArrayList<>(List.of(file.toString(), "--emu-edge", "--convert", format, "--codec",
                Integer.toString(track.decoderId())));
        if (!whole) {
            arguments.add("--truncated");
        }
        arguments.addAll(List.of(more));
        return DECODINGS.computeIfAbsent(arguments, Reference::decode);
    }

    private static Decoding decode(List<String> arguments) {
        List<Picture> pictures = new ArrayList<>();
        Set<Integer> failed = new HashSet<>();
        int packets = -1;
        for (String[] row : run(arguments)) {
            switch (row[0]) {
                case "picture" -> pictures.add(new Picture(Integer.parseInt(row[2]), Long.parseLong(row[3]),
                        Integer.parseInt(row[4]), Integer.parseInt(row[5]), row[6], row[7], row[8]));
                case "error" -> failed.add(Integer.parseInt(row[1]));
                case "lost" -> { }
                case "packets" -> packets = Integer.parseInt(row[1]);
                default -> throw new IllegalStateException(String.join(" ", row));
            }
        }
        return new Decoding(packets, pictures, failed);
    }

    /** The fields of every line that the program prints. */
    static List<String[]> run(List<String> arguments) {
        List<String> command = new ArrayList<>(
                List.of(TestMedia.referenceDecoder().toString(), TestMedia.ffmpeg().toString()));
        command.addAll(arguments);
        return lines(command).stream().map(line -> line.split("\t")).toList();
    }

    private static ProcessBuilder builder(List<String> command) {
        ProcessBuilder builder = new ProcessBuilder(command).redirectError(ProcessBuilder.Redirect.DISCARD);
        // A sanitizer that was put into this process has no business in a program that is not built for it.
        builder.environment().remove("LD_PRELOAD");
        return builder;
    }

    /** What a program prints; it must succeed. */
    static List<String> lines(List<String> command) {
        try {
            Process process = builder(command).start();
            List<String> lines = process.inputReader().lines().toList();
            if (process.waitFor() != 0) {
                throw new IllegalStateException("failed: " + String.join(" ", command));
            }
            return lines;
        } catch (InterruptedException e) {
            throw new UncheckedIOException((IOException) new InterruptedIOException().initCause(e));
        } catch (IOException e) {
            throw new UncheckedIOException(e);
        }
    }
}
