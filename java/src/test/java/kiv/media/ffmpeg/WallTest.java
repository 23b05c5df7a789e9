package kiv.media.ffmpeg;

import static org.assertj.core.api.Assertions.assertThat;
import static org.assertj.core.api.Assertions.assertThatThrownBy;
import static org.assertj.core.api.InstanceOfAssertFactories.type;

import java.io.IOException;
import java.io.InputStream;
import java.io.OutputStream;
import java.nio.ByteBuffer;
import java.nio.file.Files;
import java.nio.file.Path;
import java.time.Duration;
import java.util.ArrayList;
import java.util.List;
import java.util.Set;
import java.util.concurrent.TimeUnit;
import java.util.stream.Collectors;
import java.util.stream.Stream;
import kiv.media.ffmpeg.exactness.Reference;
import kiv.media.ffmpeg.wall.SpareMemory;
import org.junit.jupiter.api.Tag;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.CsvSource;
import org.junit.jupiter.params.provider.ValueSource;

/** Workers that end, and what they leave. The tests choose the wall themselves: rounds behind it need not repeat them. */
@Tag("wall")
class WallTest {

    private static final Isolation WALL = Isolation.wall().withMemoryLimit(1L << 30).withDeadline(Duration.ofSeconds(2));
    private static final String EVERYTHING = "-Dkiv.media.ffmpeg.isolation=wall";

    private static MediaReader open() throws IOException {
        return MediaReader.open(TestMedia.film(), WALL);
    }

    /** The children of the process that makes workers. */
    private static Set<Long> workers() {
        return ProcessHandle.current().children().flatMap(ProcessHandle::children).filter(ProcessHandle::isAlive)
                .map(ProcessHandle::pid).collect(Collectors.toSet());
    }

    /** The new worker, if there is one. Others may still be about to end. */
    private static Set<Long> fresh(Set<Long> before) throws Exception {
        Set<Long> fresh = workers();
        for (int i = 0; i < 100; i++) {
            fresh.removeAll(before);
            if (fresh.size() <= 1) {
                break;
            }
            Thread.sleep(50);
            fresh = workers();
        }
        return fresh;
    }

    /** Ends the one worker that is new. */
    private static void kill(String signal, Set<Long> before) throws Exception {
        Set<Long> fresh = fresh(before);
        assertThat(fresh).hasSize(1);
        send(signal, fresh.iterator().next());
    }

    private static void send(String signal, long worker) throws Exception {
        new ProcessBuilder("kill", "-" + signal, Long.toString(worker)).start().waitFor();
    }

    private static String sum(Packet packet) {
        return packet + " " + packet.duration() + " " + Reference.md5(packet.bytes());
    }

    /** Reads so many packets, and with the first {@code killed} of them the worker ends in between. */
    private static List<String> packets(MediaReader reader, int most, int killed, Set<Long> before) throws Exception {
        List<String> sums = new ArrayList<>();
        for (int i = 0; i < most; i++) {
            if (i < killed && i % 7 == 3) {
                // There is none while the reader delivers what was read before its worker ended.
                for (long worker : fresh(before)) {
                    send("KILL", worker);
                }
            }
            Packet packet;
            try {
                packet = reader.read();
            } catch (WorkerException e) {
                reader.restart();
                packet = reader.read();
            }
            if (packet == null) {
                break;
            }
            sums.add(sum(packet));
        }
        return sums;
    }

    @ParameterizedTest
    @ValueSource(strings = {"h264_aac.mp4", "h264_vorbis.mkv", "mpeg4_mp3.avi", "mpeg2_ac3.ts", "theora.ogv"})
    void aRestartedReaderGoesOnBehindItsLastPacket(String film) throws Exception {
        Set<Long> before = workers();
        try (MediaReader here = MediaReader.open(TestMedia.stream(film), Isolation.none());
                MediaReader there = MediaReader.open(TestMedia.stream(film), WALL)) {
            assertThat(packets(there, 30, 20, before)).isEqualTo(packets(here, 30, 0, before)).isNotEmpty();
            Duration middle = here.duration().orElseThrow().dividedBy(2);
            here.seek(middle);
            try {
                there.seek(middle);
            } catch (WorkerException e) {
                there.restart(); // packets that were read before the end came behind it
                there.seek(middle);
            }
            assertThat(packets(there, 1_000, 20, before)).isEqualTo(packets(here, 1_000, 0, before)).isNotEmpty();
        }
    }

    /** A call of something whose worker has ended. */
    @FunctionalInterface
    private interface Use<T> {
        void of(T medium) throws Exception;
    }

    /** @param uses the first of them needs the worker, which is killed before it */
    private static <T> void assertEnds(T medium, List<Use<T>> uses) throws Exception {
        for (long worker : workers()) {
            send("KILL", worker);
        }
        uses.forEach(use -> assertThatThrownBy(() -> use.of(medium)).isInstanceOf(WorkerException.class));
    }

    @ParameterizedTest
    @ValueSource(booleans = {true, false})
    void aFilmWhoseProcessEndedStaysEnded(boolean exact) throws Exception {
        try (Film film = exact ? Film.open(TestMedia.film(), WALL) : Film.openApproximate(TestMedia.film(), WALL)) {
            film.picture(0).close();
            assertEnds(film, List.of(it -> it.picture(200), it -> it.picture(0), Film::count, it -> it.pictureAt(Duration.ZERO),
                    it -> it.numberAt(Duration.ZERO), it -> it.timeOf(0), it -> it.pictures(1, 0), Film::picturesAt,
                    it -> it.picturesFrom(Duration.ZERO).count(), it -> it.spread(3), it -> it.spreadOneByOne(3),
                    it -> it.range(0, 9, 1).parallel().count(), it -> it.range(9, -1, -1).count(), Film::index, Film::verify,
                    it -> it.saveIndex(OutputStream.nullOutputStream()), it -> it.loadIndex(InputStream.nullInputStream())));
        }
    }

    @Test
    void aSoundWhoseProcessEndedStaysEnded() throws Exception {
        try (Sound sound = Sound.open(TestMedia.stream("h264_aac.mp4"), SampleFormat.PCM_16, WALL)) {
            sound.samples(0, 1);
            assertEnds(sound, List.of(Sound::length, it -> it.samples(0, 1), it -> it.samples(Duration.ZERO, Duration.ZERO),
                    it -> it.numberAt(Duration.ZERO), it -> it.timeOf(0), it -> it.saveIndex(OutputStream.nullOutputStream()),
                    it -> it.loadIndex(InputStream.nullInputStream())));
        }
    }

    @Test
    void aReaderOfAStreamSaysThatItCannotGoOn() throws Exception {
        try (MediaReader forward = MediaReader.open(Files.newInputStream(TestMedia.stream("mpeg2_ac3.ts")), ReaderLimits.USUAL,
                WALL)) {
            assertThatThrownBy(forward::restart).isInstanceOf(MediaException.class).hasMessageContaining("forward only");
        }
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
    void anEndedWorkerIsAnExceptionAndOthersGoOn(String signal, WorkerException.Reason reason, int number) throws Exception {
        try (MediaReader here = MediaReader.open(TestMedia.film()); VideoDecoder hereDecoder = VideoDecoder.open(here);
                MediaReader other = open(); VideoDecoder otherDecoder = VideoDecoder.open(other)) {
            Picture kept;
            byte[] pixels;
            List<String> pictures = new ArrayList<>();
            Set<Long> before = workers();
            // A worker that waits has other limits, so that this one is new.
            try (MediaReader reader = MediaReader.open(TestMedia.film(), WALL.withMemoryLimit(2L << 30));
                    VideoDecoder decoder = VideoDecoder.open(reader); Stream<Picture> decoded = decoder.pictures(reader)) {
                kept = decoded.iterator().next();
                pixels = kept.toBytes();
                kill(signal, before);
                VideoDecoder.open(reader).close();
                for (int again = 0; again < 2; again++) {
                    assertThatThrownBy(() -> decoder.pictures(reader).forEach(Picture::close))
                            .asInstanceOf(type(WorkerException.class))
                            .satisfies(e -> assertThat(e.signal()).isEqualTo(number))
                            .extracting(WorkerException::reason).isEqualTo(reason);
                }
                assertThatThrownBy(() -> decoder.pictures(reader, Picture::time).count()).isInstanceOf(WorkerException.class);
                assertThatThrownBy(decoder::reset).isInstanceOf(WorkerException.class);
                reader.restart();
                decoder.restart();
                reader.seek(Duration.ZERO);
                decoder.reset();
                pictures.addAll(pictures(decoder, reader));
            }
            assertThat(pictures(otherDecoder, other)).isEqualTo(pictures(hereDecoder, here)).isEqualTo(pictures);
            assertThat(kept.toBytes()).isEqualTo(pixels);
            kept.close();
        }
    }

    @Test
    void aPoolsProcessServesOneMediumAfterTheOtherUntilItDies() throws Exception {
        Set<Long> before = workers();
        Isolation pooled;
        MediaReader last;
        try (WorkerPool pool = WorkerPool.open(WALL.withProcessorTime(Duration.ofMinutes(1)))) {
            pooled = pool.isolation();
            for (int medium = 0; medium < 3; medium++) {
                try (MediaReader reader = MediaReader.open(TestMedia.film(), pooled);
                        VideoDecoder decoder = VideoDecoder.open(reader)) {
                    assertThat(decoder.decode(reader.read())).allSatisfy(Picture::close);
                }
                assertThat(pooled.held()).isEqualTo(Isolation.wall().held()).isNotEmpty();
            }
            kill("KILL", before);
            last = MediaReader.open(TestMedia.film(), pooled);
        }
        assertThat(last.read()).isNotNull();
        last.close();
        assertThatThrownBy(() -> MediaReader.open(TestMedia.film(), pooled)).isInstanceOf(MediaStateException.class);
        for (int i = 0; i < 100 && !before.containsAll(workers()); i++) {
            Thread.sleep(50);
        }
        assertThat(before).containsAll(workers());
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
        assertThat(mappings(0)).isZero();
        assertThat(workers()).isEmpty();
    }

    /** Collects garbage until there are as many mappings, or for a while. {@return how many there are} */
    private static long mappings(long wanted) throws Exception {
        long mappings = -1;
        for (int i = 0; i < 100 && (mappings != wanted || !workers().isEmpty()); i++) {
            SpareMemory.dropAll();
            System.gc();
            Thread.sleep(50);
            mappings = Files.readAllLines(Path.of("/proc/self/maps")).stream().filter(line -> line.contains("memfd:kiv"))
                    .count();
        }
        return mappings;
    }

    private static ByteBuffer planeOfAClosedPicture() throws Exception {
        try (MediaReader reader = open(); VideoDecoder decoder = VideoDecoder.open(reader.firstVideo().orElseThrow(), 1);
                Picture picture = decoder.pictures(reader).iterator().next()) {
            return picture.plane(0).bytes();
        }
    }

    /** The files that are mapped from its worker or from spare memory. */
    private static Set<String> memories() throws IOException {
        return Files.readAllLines(Path.of("/proc/self/maps")).stream().filter(line -> line.contains("memfd:kiv"))
                .map(line -> line.split("\\s+")[4]).collect(Collectors.toSet());
    }

    @Test
    void theMemoryOfAClosedFilmIsTheNextOnesButNotWhereItWas() throws Exception {
        assertThat(mappings(0)).isZero();
        ByteBuffer old = planeOfAClosedPicture();
        Set<String> before = memories();
        boolean again = false;
        for (int film = 0; film < 20; film++) {
            Thread.sleep(20);
            try (MediaReader reader = open(); VideoDecoder decoder = VideoDecoder.open(reader.firstVideo().orElseThrow(), 1)) {
                decoder.pictures(reader).limit(5).forEach(Picture::close);
                again |= memories().stream().anyMatch(before::contains);
            }
            assertThat(mappedBytes(old)).containsOnly(0);
        }
        assertThat(again).as("no memory was used again").isTrue();
        assertThat(mappings(0)).as("memory that nobody uses").isZero();
        assertThat(mappedBytes(old)).containsOnly(0);
    }

    private static byte[] mappedBytes(ByteBuffer buffer) {
        byte[] bytes = new byte[buffer.remaining()];
        buffer.duplicate().get(bytes);
        return bytes;
    }

    @Test
    void aPlaneOfAPictureThatIsOpenKeepsTheMemoryMapped() throws Exception {
        Picture picture;
        try (MediaReader reader = open(); VideoDecoder decoder = VideoDecoder.open(reader.firstVideo().orElseThrow(), 1)) {
            picture = decoder.pictures(reader).iterator().next();
        }
        ByteBuffer plane = picture.plane(0).bytes();
        byte[] bytes = mappedBytes(plane);
        picture.close();
        assertThat(mappings(0)).isEqualTo(1);
        assertThat(mappedBytes(plane)).hasSize(bytes.length).containsOnly(0);
    }

    @Test
    void readersThatNobodyClosesDoNotFillTheMachine() throws Exception {
        for (int i = 0; i < 160; i++) {
            open();
        }
        assertThat(workers()).hasSizeLessThan(130);
    }

    @Test
    void theProcessThatMakesWorkersIsReplaced() throws Exception {
        Set<Long> before = workers();
        try (MediaReader reader = open()) {
            ProcessHandle worker = ProcessHandle.of(fresh(before).iterator().next()).orElseThrow();
            ProcessHandle.current().children().filter(child -> child.info().command().orElse("").contains("worker"))
                    .forEach(ProcessHandle::destroyForcibly);
            worker.onExit().get(30, TimeUnit.SECONDS);
            assertThatThrownBy(() -> reader.packets().count()).isInstanceOf(WorkerException.class);
        }
        open().close();
    }

    /** {@code -Dkiv.wall.kills}, {@code -Dkiv.wall.lies} and {@code -Dkiv.wall.seed} choose how many, and which. */
    @ParameterizedTest
    @CsvSource({"kills, 60", "lies, 1000"})
    void nothingThatAWorkerDoesHarms(String what, long usual, @TempDir Path directory) throws Exception {
        List<String> options = what.equals("kills") ? List.of(EVERYTHING)
                : List.of(EVERYTHING, "-Dkiv.media.ffmpeg.worker=" + TestMedia.referenceDecoder().resolveSibling("lying_worker"));
        Programs.run(directory, System.getProperty("java.home"), options, WallOrdeal.class, what,
                "" + Long.getLong("kiv.wall." + what, usual));
    }
}
