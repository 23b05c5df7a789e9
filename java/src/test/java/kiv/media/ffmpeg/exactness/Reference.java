package kiv.media.ffmpeg.exactness;

import java.io.IOException;
import java.nio.ByteBuffer;
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
import kiv.media.ffmpeg.Programs;
import kiv.media.ffmpeg.TestMedia;

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

    /**
     * What becomes of one block of sound.
     *
     * @param length its bytes; the last block has none and ends the stream
     * @param consumed how many of them count as consumed
     * @param pcm the interleaved samples of 16 bits, or null when they have other channels or another rate than the
     *     stream: a piece of a frame was taken for a frame
     */
    public record Block(int length, boolean failed, int consumed, byte[] pcm) {
    }

    /**
     * A whole stream of sound.
     *
     * @param integer whether the decoder computes with integers, so that every bit is prescribed
     */
    public record Sound(List<Block> blocks, boolean integer) {
    }

    private Reference() {
    }

    /**
     * Decodes the first video stream.
     *
     * @param track the stream, for the decoder to use
     * @param format pixel format into which the pictures are converted if they have another one
     * @param whole whether each packet is known to be a whole picture
     */
    public static Decoding decode(Track track, String format, boolean whole, String... more) {
        List<String> arguments = new ArrayList<>(List.of(track.file().toString(), "--emu-edge", "--convert", format, "--codec",
                Integer.toString(track.decoderId())));
        if (!whole) {
            arguments.add("--truncated");
        }
        arguments.addAll(List.of(more));
        return DECODINGS.computeIfAbsent(arguments, Reference::decode);
    }

    /** Decodes the first video stream to its end, in the decoder's own pixel format. */
    public static Decoding decode(Path file) {
        return decode(List.of(file.toString(), "--drain"));
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

    /** Decodes the first stream of sound. @param cut the options that say what is a block */
    public static Sound decodeSound(Track track, List<String> cut) throws IOException {
        Path pcm = Files.createTempFile("kiv", ".pcm");
        try {
            List<String> arguments = new ArrayList<>(List.of(track.file().toString(), "--pcm", pcm.toString(), "--codec",
                    Integer.toString(track.decoderId())));
            arguments.addAll(cut);
            List<String[]> rows = run(arguments);
            ByteBuffer samples = ByteBuffer.wrap(Files.readAllBytes(pcm));
            List<Block> blocks = new ArrayList<>();
            boolean integer = false;
            for (String[] row : rows) {
                if (row[0].equals("format")) {
                    integer = row[1].startsWith("s");
                    continue;
                }
                byte[] bytes = new byte[Integer.parseInt(row[6])];
                samples.get(bytes);
                blocks.add(new Block(Integer.parseInt(row[2]), row[3].equals("1"), Integer.parseInt(row[4]),
                        row[8].equals("1") ? null : bytes));
            }
            return new Sound(blocks, integer);
        } finally {
            Files.delete(pcm);
        }
    }

    /** The fields of every line that the program prints. */
    static List<String[]> run(List<String> arguments) {
        List<String> command = new ArrayList<>(
                List.of(TestMedia.referenceDecoder().toString(), TestMedia.ffmpeg().toString()));
        command.addAll(arguments);
        return Programs.lines(command).stream().map(line -> line.split("\t")).toList();
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
