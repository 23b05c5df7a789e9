package kiv.media.ffmpeg;

import static org.assertj.core.api.Assertions.assertThat;

import com.sun.management.ThreadMXBean;
import java.io.IOException;
import java.lang.management.ManagementFactory;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.List;
import java.util.function.ToIntFunction;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.condition.EnabledIfSystemProperty;
import org.junit.jupiter.api.io.TempDir;

/**
 * How much of the Java heap decoding takes for each picture and block, in a virtual machine that does not compile, so that
 * it is always the same.
 */
@EnabledIfSystemProperty(named = "kiv.test.tier", matches = "full")
class AllocationTest {

    private static final int ROUNDS = 3;
    /** What was measured, and a twentieth more. */
    private static final int MOST_FOR_PICTURE = 280 + 14;
    private static final int MOST_FOR_BLOCK = 515 + 26;

    @TempDir
    private Path directory;

    @Test
    void decoding() throws Exception {
        Programs.run(directory, System.getProperty("java.home"), List.of("-Xint"), AllocationTest.class);
    }

    /** Measures in a virtual machine of its own. */
    public static void main(String[] args) throws IOException {
        try (MediaReader reader = MediaReader.open(TestMedia.stream("h264_b_320x240.mp4"));
                VideoDecoder decoder = VideoDecoder.open(reader.firstVideo().orElseThrow(), 1)) {
            assertThat(bytesEach(packets(reader), packet -> {
                List<Picture> pictures = packet == null ? decoder.finish() : decoder.decode(packet);
                pictures.forEach(Picture::close);
                return pictures.size();
            })).isPositive().isLessThanOrEqualTo(MOST_FOR_PICTURE);
        }
        try (MediaReader reader = MediaReader.open(TestMedia.stream("mp2.mp2"));
                AudioDecoder decoder = AudioDecoder.open(reader.firstAudio().orElseThrow())) {
            int[] largest = new int[1];
            long each = bytesEach(packets(reader), packet -> {
                List<AudioBlock> blocks = packet == null ? decoder.finish() : decoder.decode(packet);
                blocks.forEach(block -> largest[0] = Math.max(largest[0], block.data().remaining()));
                return blocks.size();
            });
            assertThat(each - largest[0]).isPositive().isLessThanOrEqualTo(MOST_FOR_BLOCK);
        }
    }

    private static List<Packet> packets(MediaReader reader) throws IOException {
        List<Packet> packets = new ArrayList<>();
        for (Packet packet; (packet = reader.read()) != null;) {
            packets.add(packet);
        }
        return packets;
    }

    /** The least bytes of a round for each of what it returns; the first one loads classes. Null is the end. */
    private static long bytesEach(List<Packet> packets, ToIntFunction<Packet> decode) {
        ThreadMXBean threads = (ThreadMXBean) ManagementFactory.getThreadMXBean();
        long least = Long.MAX_VALUE;
        for (int round = 0; round < ROUNDS; round++) {
            long before = threads.getCurrentThreadAllocatedBytes();
            int count = 0;
            for (Packet packet : packets) {
                count += decode.applyAsInt(packet);
            }
            count += decode.applyAsInt(null);
            least = Math.min(least, (threads.getCurrentThreadAllocatedBytes() - before) / count);
        }
        return least;
    }
}
