package kiv.media.ffmpeg.loading;

import static org.assertj.core.api.Assertions.assertThat;
import static org.assertj.core.api.Assertions.assertThatThrownBy;
import static org.assertj.core.api.Assumptions.assumeThat;

import java.io.IOException;
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
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.CsvSource;

class ResourceCacheTest {

    private static final List<String> FILES = List.of("one.so", "two.so");

    @TempDir
    Path temp;

    private Path root() {
        return temp.resolve("a/cache");
    }

    /** Unpacks files of random bytes from a directory of the class path. */
    private Path unpack(Path root, long seed) throws IOException {
        Path resources = Files.createDirectories(temp.resolve("resources-" + seed + "/libs"));
        Random random = new Random(seed);
        byte[] bytes = new byte[300_000];
        for (String file : FILES) {
            random.nextBytes(bytes);
            Files.write(resources.resolve(file), bytes);
        }
        ClassLoader loader = new URLClassLoader(new URL[] {resources.resolveSibling("").toUri().toURL()}, null);
        List<CacheEntry> entries = new ArrayList<>();
        for (String file : FILES) {
            entries.add(CacheEntry.Packed.of(loader, "libs/", file));
        }
        Path directory = new ResourceCache(root, "set").directoryOf(entries);
        for (String file : FILES) {
            assertThat(directory.resolve(file)).hasSameBinaryContentAs(resources.resolve(file));
        }
        return directory;
    }

    @Test
    void aSetIsUnpackedOnceAndAnotherVersionBesideIt() throws IOException {
        Path first = unpack(root(), 1);
        Object inode = Files.getAttribute(first.resolve("one.so"), "unix:ino");
        assertThat(unpack(root(), 1)).isEqualTo(first);
        assertThat(Files.getAttribute(first.resolve("one.so"), "unix:ino")).isEqualTo(inode);
        assertThat(unpack(root(), 2)).isNotEqualTo(first);
        assertThat(root().toFile().list()).hasSize(3).contains(".lock", first.getFileName().toString());
    }

    @Test
    void damagedCopiesAreReplaced() throws IOException {
        Path directory = unpack(root(), 1);
        Files.delete(directory.resolve("one.so"));
        unpack(root(), 1);
        Files.write(directory.resolve("two.so"), new byte[10], StandardOpenOption.TRUNCATE_EXISTING);
        unpack(root(), 1);
        byte[] flipped = Files.readAllBytes(directory.resolve("one.so"));
        flipped[1000] ^= 1;
        Files.write(directory.resolve("one.so"), flipped);
        unpack(root(), 1);
        assertThat(root().toFile().list()).containsExactlyInAnyOrder(".lock", directory.getFileName().toString());
    }

    @Test
    void directoriesOfLinksHoldNothingElse() throws IOException {
        Path target = Files.writeString(temp.resolve("target"), "");
        ResourceCache cache = new ResourceCache(root(), "links");
        List<CacheEntry> links = List.of(new CacheEntry.Link("a", target), new CacheEntry.Link("b", target));
        Path directory = cache.directoryOf(links);
        Path link = directory.resolve("a");
        assertThat(cache.directoryOf(List.of(new CacheEntry.Link("a", temp)))).isNotEqualTo(directory);
        for (int damage = 0; damage < 4; damage++) {
            if (damage == 0) {
                Files.writeString(directory.resolve("c"), "one too many");
            } else if (damage < 3) {
                Files.delete(link);
                Files.createSymbolicLink(link, damage == 1 ? temp : Path.of("target"));
            } else {
                assumeThat(TrustedDirectory.user()).as("only root can give files away").isZero();
                Files.setAttribute(link, "unix:uid", 12345, LinkOption.NOFOLLOW_LINKS);
            }
            assertThat(cache.directoryOf(links)).isEqualTo(directory);
            assertThat(directory.toFile().list()).containsExactlyInAnyOrder("a", "b");
            assertThat(Files.readSymbolicLink(link)).isEqualTo(target);
            assertThat(Files.getAttribute(link, "unix:uid", LinkOption.NOFOLLOW_LINKS)).isEqualTo(TrustedDirectory.user());
        }
    }

    /** What somebody else can write may hold anything, so it is not loaded. */
    @ParameterizedTest
    @CsvSource({"cache, rwxrwxrwx, others can write there", "cache, rwxrwx---, others can write there",
        ", rwxrwxrwx, another directory into its place", ", rwxrwxr-x, another directory into its place"})
    void aDirectoryThatOthersCanWriteIsRefused(String at, String permissions, String message) throws IOException {
        unpack(root(), 1);
        assertThat(Files.getPosixFilePermissions(root())).isEqualTo(PosixFilePermissions.fromString("rwx------"));
        Files.setPosixFilePermissions(at == null ? root().getParent() : root(),
                PosixFilePermissions.fromString(permissions));
        assertThatThrownBy(() -> unpack(root(), 1)).isInstanceOf(IOException.class).hasMessageContaining(message);
    }

    @Test
    void whatAnotherUserMadeIsRefused() throws IOException {
        assumeThat(TrustedDirectory.user()).as("only root can give files away").isZero();
        Path directory = unpack(root(), 1);
        Files.setAttribute(directory.resolve("one.so"), "unix:uid", 12345);
        unpack(root(), 1);
        assertThat(Files.getAttribute(directory.resolve("one.so"), "unix:uid")).isEqualTo(0);
        Path link = Files.createSymbolicLink(temp.resolve("link"), root());
        assertThat(unpack(link, 1)).isEqualTo(directory);
        Files.setAttribute(link, "unix:uid", 12345, LinkOption.NOFOLLOW_LINKS);
        for (Path refused : List.of(link, root())) {
            assertThatThrownBy(() -> unpack(refused, 1)).hasMessageContaining("belongs to user 12345");
            Files.setAttribute(root(), "unix:uid", 12345);
        }
        Files.setAttribute(root(), "unix:uid", 0);
        Files.setAttribute(root().getParent(), "unix:uid", 12345);
        assertThatThrownBy(() -> unpack(root(), 1)).hasMessageContaining("they can write in " + root().getParent());
        Files.setAttribute(root().getParent(), "unix:uid", 0);
        // As in /tmp: everybody can write, and nobody can rename what is not theirs.
        Files.setAttribute(root().getParent(), "unix:mode", 01777);
        assertThat(unpack(root(), 1)).isEqualTo(directory);
        Files.setAttribute(root(), "unix:uid", 12345);
        Path ours = Files.createSymbolicLink(temp.resolve("ours"), root());
        assertThatThrownBy(() -> unpack(ours, 1)).hasMessageContaining("belongs to user 12345");
    }

    @Test
    void whatKilledMachinesLeftBehindIsRemoved() throws IOException {
        Path left = Files.createDirectories(root().resolve(".unpacking-1/new"));
        Path atWork = Files.createDirectories(root().resolve(".unpacking-2/new"));
        Files.setPosixFilePermissions(root(), PosixFilePermissions.fromString("rwx------"));
        Files.write(left.resolve("one.so"), new byte[10]);
        Files.setLastModifiedTime(left.getParent(), FileTime.from(Instant.now().minus(Duration.ofDays(1))));
        unpack(root(), 1);
        assertThat(left.getParent()).doesNotExist();
        assertThat(atWork).exists();
    }
}
