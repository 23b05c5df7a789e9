package kiv.media.ffmpeg;

import static org.assertj.core.api.Assertions.assertThat;
import static org.assertj.core.api.Assertions.assertThatThrownBy;
import static org.assertj.core.api.Assumptions.assumeThat;

import java.io.IOException;
import java.io.OutputStream;
import java.net.URL;
import java.net.URLClassLoader;
import java.nio.file.Files;
import java.nio.file.LinkOption;
import java.nio.file.Path;
import java.nio.file.StandardOpenOption;
import java.nio.file.attribute.FileTime;
import java.nio.file.attribute.PosixFilePermissions;
import java.time.Duration;
import java.time.Instant;
import java.util.ArrayList;
import java.util.List;
import java.util.Random;
import java.util.concurrent.Callable;
import java.util.concurrent.CyclicBarrier;
import java.util.concurrent.ExecutorService;
import java.util.concurrent.Executors;
import java.util.concurrent.Future;
import java.util.stream.Stream;
import java.util.zip.ZipEntry;
import java.util.zip.ZipOutputStream;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.CsvSource;

class ResourceCacheTest {

    private static final List<String> FILES = List.of("one.so", "two.so");

    @TempDir
    Path temp;

    private Path root;
    private ResourceCache cache;

    @BeforeEach
    void makeCache() {
        root = temp.resolve("a/cache");
        cache = new ResourceCache(root, "set");
    }

    private ClassLoader jar(long seed) throws IOException {
        Path jar = temp.resolve("package-" + seed + ".jar");
        try (OutputStream to = Files.newOutputStream(jar); ZipOutputStream zip = new ZipOutputStream(to)) {
            for (String file : FILES) {
                zip.putNextEntry(new ZipEntry("libs/" + file));
                zip.write(contents(seed, file));
                zip.closeEntry();
            }
        }
        return new URLClassLoader(new URL[] {jar.toUri().toURL()}, null);
    }

    private static byte[] contents(long seed, String file) {
        byte[] bytes = new byte[300_000];
        new Random(seed + file.hashCode()).nextBytes(bytes);
        return bytes;
    }

    private void assertHolds(Path directory, long seed) throws IOException {
        for (String file : FILES) {
            assertThat(directory.resolve(file)).hasBinaryContent(contents(seed, file));
        }
    }

    private List<String> inRoot() throws IOException {
        try (Stream<Path> paths = Files.list(root)) {
            return paths.map(path -> path.getFileName().toString()).filter(file -> !file.equals(".lock")).toList();
        }
    }

    @Test
    void aSetIsUnpackedOnceAndAnotherVersionBesideIt() throws IOException {
        Path first = cache.unpack(jar(1), "libs/", FILES);
        assertHolds(first, 1);
        Object written = Files.getLastModifiedTime(first.resolve("one.so"));
        Object inode = Files.getAttribute(first, "unix:ino");
        assertThat(cache.unpack(jar(1), "libs/", FILES)).isEqualTo(first);
        assertThat(Files.getLastModifiedTime(first.resolve("one.so"))).isEqualTo(written);
        assertThat(Files.getAttribute(first, "unix:ino")).isEqualTo(inode);
        Path second = cache.unpack(jar(2), "libs/", FILES);
        assertThat(second).isNotEqualTo(first);
        assertHolds(second, 2);
        assertThat(inRoot()).hasSize(2);
    }

    @Test
    void damagedCopiesAreReplaced() throws IOException {
        Path directory = cache.unpack(jar(1), "libs/", FILES);
        Files.delete(directory.resolve("one.so"));
        assertHolds(cache.unpack(jar(1), "libs/", FILES), 1);
        Files.write(directory.resolve("two.so"), new byte[10], StandardOpenOption.TRUNCATE_EXISTING);
        assertHolds(cache.unpack(jar(1), "libs/", FILES), 1);
        byte[] flipped = contents(1, "one.so");
        flipped[1000] ^= 1;
        Files.write(directory.resolve("one.so"), flipped);
        assertHolds(cache.unpack(jar(1), "libs/", FILES), 1);
        assertThat(inRoot()).hasSize(1);
    }

    /** What somebody else can write may hold anything, so it is not loaded. */
    @ParameterizedTest
    @CsvSource({"cache, rwxrwxrwx, others can write there", "cache, rwxrwx---, others can write there",
        ", rwxrwxrwx, another directory into its place"})
    void aDirectoryThatOthersCanWriteIsRefused(String at, String permissions, String message) throws IOException {
        assertHolds(cache.unpack(jar(1), "libs/", FILES), 1);
        assertThat(Files.getPosixFilePermissions(root)).isEqualTo(PosixFilePermissions.fromString("rwx------"));
        Files.setPosixFilePermissions(at == null ? root.getParent() : root,
                PosixFilePermissions.fromString(permissions));
        assertThatThrownBy(() -> cache.unpack(jar(1), "libs/", FILES)).isInstanceOf(IOException.class)
                .hasMessageContaining(message);
    }

    @Test
    void whatAnotherUserMadeIsRefused() throws IOException {
        assumeThat(Ownership.user()).as("only root can give files away").isZero();
        Path directory = cache.unpack(jar(1), "libs/", FILES);
        Files.setAttribute(directory.resolve("one.so"), "unix:uid", 12345);
        assertHolds(cache.unpack(jar(1), "libs/", FILES), 1);
        assertThat(Files.getAttribute(directory.resolve("one.so"), "unix:uid")).isEqualTo(0);
        Path link = Files.createSymbolicLink(temp.resolve("link"), root);
        assertThat(new ResourceCache(link, "set").unpack(jar(1), "libs/", FILES)).isEqualTo(directory);
        Files.setAttribute(link, "unix:uid", 12345, LinkOption.NOFOLLOW_LINKS);
        for (Path refused : List.of(link, root)) {
            assertThatThrownBy(() -> new ResourceCache(refused, "set").unpack(jar(1), "libs/", FILES))
                    .hasMessageContaining("belongs to user 12345");
            Files.setAttribute(root, "unix:uid", 12345);
        }
    }

    @Test
    void whatKilledMachinesLeftBehindIsRemoved() throws IOException {
        Path left = Files.createDirectories(root.resolve(".unpacking-1/new"));
        Path atWork = Files.createDirectories(root.resolve(".unpacking-2/new"));
        Files.setPosixFilePermissions(root, PosixFilePermissions.fromString("rwx------"));
        Files.write(left.resolve("one.so"), new byte[10]);
        Files.setLastModifiedTime(left.getParent(), FileTime.from(Instant.now().minus(Duration.ofDays(1))));
        assertHolds(cache.unpack(jar(1), "libs/", FILES), 1);
        assertThat(left.getParent()).doesNotExist();
        assertThat(atWork).exists();
    }

    @Test
    void manyAtOnceEndWithOneWholeSet() throws Exception {
        int count = 8;
        ClassLoader jar = jar(1);
        ExecutorService threads = Executors.newFixedThreadPool(count);
        try {
            for (int round = 0; round < 5; round++) {
                CyclicBarrier start = new CyclicBarrier(count);
                List<Callable<Path>> calls = new ArrayList<>();
                for (int i = 0; i < count; i++) {
                    calls.add(() -> {
                        start.await();
                        return new ResourceCache(root, "set").unpack(jar, "libs/", FILES);
                    });
                }
                Path directory = null;
                for (Future<Path> result : threads.invokeAll(calls)) {
                    directory = result.get();
                    assertHolds(directory, 1);
                }
                assertThat(inRoot()).hasSize(1);
                // The next round has to repair what this one made.
                Files.delete(directory.resolve("two.so"));
            }
        } finally {
            threads.shutdownNow();
        }
    }

    @Test
    void whatCannotBeUnpackedIsToldAndLeavesNothing() throws IOException {
        ClassLoader jar = jar(1);
        assertThatThrownBy(() -> cache.unpack(jar, "libs/", List.of("one.so", "none.so"))).hasMessageContaining("none");
        Files.createDirectories(root.getParent());
        Files.writeString(root, "a file where the directory should be");
        assertThatThrownBy(() -> cache.unpack(jar, "libs/", FILES)).isInstanceOf(IOException.class);
    }
}
