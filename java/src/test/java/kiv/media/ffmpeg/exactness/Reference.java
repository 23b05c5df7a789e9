package kiv.media.ffmpeg.exactness;

import java.io.IOException;
import java.nio.ByteBuffer;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.security.MessageDigest;
import java.security.NoSuchAlgorithmException;
import java.util.ArrayList;
import java.util.HashSet;
import java.util.HexFormat;
import java.util.List;
import java.util.Map;
import java.util.Set;
import java.util.concurrent.ConcurrentHashMap;
import java.util.stream.Stream;
import kiv.media.ffmpeg.Programs;
import kiv.media.ffmpeg.TestMedia;

/** What FFmpeg decodes when it is called directly, without this library. */
public final class Reference {

    private static final Map<List<String>, Decoding> DECODINGS = new ConcurrentHashMap<>();

    /** A picture; its time is the number of a packet, and the sum is that of its visible bytes. */
    public record Picture(int packet, long time, int width, int height, String format, String decoded, String md5) {
    }

    /** A stream of pictures, with the numbers of the packets that the decoder refused. */
    public record Decoding(int packets, List<Picture> pictures, Set<Integer> failed) {
        List<Picture> of(int packet) {
            return pictures.stream().filter(picture -> picture.packet() == packet).toList();
        }
    }

    /** What becomes of a block of sound; the last one has no bytes. Without PCM a piece of a frame was taken for a frame. */
    public record Block(int length, boolean failed, int consumed, byte[] pcm) {
    }

    /** A stream of sound. A decoder that computes with integers has every bit prescribed. */
    public record Sound(List<Block> blocks, boolean integer) {
    }

    private Reference() {
    }

    /** Decodes a stream of pictures, which may be whole packets, into a pixel format. */
    public static Decoding decode(Track track, String format, boolean whole, String... more) {
        return decode(Stream.of(Stream.of(track.file().toString(), "--emu-edge", "--convert", format, "--codec",
                track.decoderId()), Stream.of("--truncated").filter(option -> !whole), Stream.of(more))
                .flatMap(words -> words).toList());
    }

    /** Decodes the first stream of pictures to its end, in the decoder's own pixel format. */
    public static Decoding decode(Path file) {
        return decode(List.of(file.toString(), "--drain"));
    }

    private static Decoding decode(List<String> arguments) {
        return DECODINGS.computeIfAbsent(arguments, unknown -> {
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
        });
    }

    /** Decodes a stream of sound; options tell what is a block. */
    public static Sound decodeSound(Track track, String cut) throws IOException {
        Path pcm = Files.createTempFile("kiv", ".pcm");
        try {
            List<String[]> rows = run(Stream.concat(Stream.of(track.file().toString(), "--pcm", pcm.toString(), "--codec",
                    track.decoderId()), Stream.of(cut.split(" ")).filter(word -> !word.isEmpty())).toList());
            ByteBuffer samples = ByteBuffer.wrap(Files.readAllBytes(pcm));
            List<Block> blocks = rows.stream().filter(row -> row[0].equals("block")).map(row -> {
                byte[] bytes = new byte[Integer.parseInt(row[6])];
                samples.get(bytes);
                return new Block(Integer.parseInt(row[2]), row[3].equals("1"), Integer.parseInt(row[4]),
                        row[8].equals("1") ? null : bytes);
            }).toList();
            return new Sound(blocks, rows.stream().anyMatch(row -> row[0].equals("format") && row[1].startsWith("s")));
        } finally {
            Files.delete(pcm);
        }
    }

    /** The fields of every line that the program prints. */
    public static List<String[]> run(List<String> arguments) {
        byte[] output = Programs.output(Stream.concat(Stream.of(TestMedia.referenceDecoder().toString(),
                TestMedia.ffmpeg().toString()), arguments.stream()).toList());
        return new String(output, StandardCharsets.UTF_8).lines().map(line -> line.split("\t")).toList();
    }

    /** The sum as the program prints it. */
    public static String md5(byte[] bytes) {
        try {
            return HexFormat.of().formatHex(MessageDigest.getInstance("MD5").digest(bytes));
        } catch (NoSuchAlgorithmException e) {
            throw new IllegalStateException(e);
        }
    }
}
