package kiv.media.ffmpeg;

import static org.assertj.core.api.Assertions.assertThat;
import static org.assertj.core.api.Assertions.assertThatThrownBy;
import static org.assertj.core.api.InstanceOfAssertFactories.type;

import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.List;
import java.util.Set;
import java.util.stream.Collectors;
import java.util.stream.Stream;
import kiv.media.ffmpeg.exactness.Reference;
import kiv.media.ffmpeg.wall.WorkerEnd;
import kiv.media.ffmpeg.wall.WorkerLimits;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.CsvSource;

/** Workers that end, and what they leave. */
class WallTest {

    private static final WorkerLimits LIMITS = new WorkerLimits(1L << 30, 0, 2_000);

    private static MediaReader open() throws IOException {
        return MediaReader.open(Files.newByteChannel(TestMedia.film()), ReaderLimits.USUAL, Workplace.behindWall(LIMITS));
    }

    /** The children of the process that makes workers. */
    private static Set<Long> workers() {
        return ProcessHandle.current().children().flatMap(ProcessHandle::children).filter(ProcessHandle::isAlive)
                .map(ProcessHandle::pid).collect(Collectors.toSet());
    }

    private static List<String> pictures(VideoDecoder decoder, MediaReader reader) {
        return decoder.pictures(reader).map(picture -> {
            try (picture) {
                return Reference.md5(picture.toBytes());
            }
        }).toList();
    }

    @ParameterizedTest
    @CsvSource({"KILL, SIGNAL, 9", "SEGV, SIGNAL, 11", "SYS, FORBIDDEN, 0", "XCPU, TIME, 0", "STOP, DEADLINE, 0"})
    void anEndedWorkerIsAnExceptionAndOthersGoOn(String signal, WorkerEnd.Reason reason, int number) throws Exception {
        try (MediaReader here = MediaReader.open(TestMedia.film()); VideoDecoder hereDecoder = VideoDecoder.open(here);
                MediaReader other = open(); VideoDecoder otherDecoder = VideoDecoder.open(other)) {
            Picture kept;
            byte[] pixels;
            Set<Long> before = workers();
            try (MediaReader reader = open(); VideoDecoder decoder = VideoDecoder.open(reader);
                    Stream<Picture> decoded = decoder.pictures(reader)) {
                kept = decoded.iterator().next();
                pixels = kept.toBytes();
                Set<Long> fresh = workers();
                fresh.removeAll(before);
                assertThat(fresh).hasSize(1);
                new ProcessBuilder("kill", "-" + signal, fresh.iterator().next().toString()).start().waitFor();
                VideoDecoder.open(reader).close();
                for (int again = 0; again < 2; again++) {
                    assertThatThrownBy(() -> decoder.pictures(reader).forEach(Picture::close))
                            .asInstanceOf(type(WorkerException.class))
                            .extracting(WorkerException::end).isEqualTo(new WorkerEnd(reason, number));
                }
                assertThatThrownBy(decoder::reset).isInstanceOf(WorkerException.class);
            }
            assertThat(pictures(otherDecoder, other)).isEqualTo(pictures(hereDecoder, here));
            assertThat(kept.toBytes()).isEqualTo(pixels);
            kept.close();
        }
    }

    @Test
    void nothingIsLeftOfClosedReaders() throws Exception {
        open().close();
        Path descriptors = Path.of("/proc/self/fd");
        long before = Files.list(descriptors).count();
        for (int i = 0; i < 200; i++) {
            try (MediaReader reader = open(); VideoDecoder decoder = VideoDecoder.open(reader.firstVideo().orElseThrow(), 1)) {
                decoder.decode(reader.read()).forEach(Picture::close);
            }
        }
        assertThat(Files.list(descriptors).count()).isLessThan(before + 10);
        long mappings = 200;
        for (int i = 0; i < 100 && (mappings > 0 || !workers().isEmpty()); i++) {
            System.gc();
            Thread.sleep(50);
            mappings = Files.readAllLines(Path.of("/proc/self/maps")).stream().filter(line -> line.contains("memfd:kiv"))
                    .count();
        }
        assertThat(mappings).isZero();
        assertThat(workers()).isEmpty();
    }
}
