package kiv.media.ffmpeg.loading;

import java.io.IOException;
import java.nio.channels.FileChannel;
import java.nio.channels.OverlappingFileLockException;
import java.nio.charset.StandardCharsets;
import java.nio.file.DirectoryIteratorException;
import java.nio.file.DirectoryStream;
import java.nio.file.FileVisitResult;
import java.nio.file.Files;
import java.nio.file.LinkOption;
import java.nio.file.NoSuchFileException;
import java.nio.file.Path;
import java.nio.file.SimpleFileVisitor;
import java.nio.file.StandardCopyOption;
import java.nio.file.StandardOpenOption;
import java.nio.file.attribute.BasicFileAttributes;
import java.security.MessageDigest;
import java.security.NoSuchAlgorithmException;
import java.time.Duration;
import java.time.Instant;
import java.util.HexFormat;
import java.util.List;
import java.util.Set;
import java.util.concurrent.locks.LockSupport;
import java.util.stream.Stream;

/**
 * Keeps directories for the dynamic loader: of files from the class path, and of links. A set of entries has a directory
 * whose name is derived from their contents. It is written under a temporary name and renamed when it is complete. Any
 * number of virtual machines may do so at the same time. Incomplete directories of interrupted ones are never used.
 */
final class ResourceCache {

    private static final System.Logger LOGGER = System.getLogger("kiv.media.ffmpeg");
    private static final String ASIDE = ".unpacking-";
    private static final Duration LEFT_BEHIND = Duration.ofHours(1);
    private static final Duration PATIENCE = Duration.ofSeconds(30);
    private static final Duration PAUSE = Duration.ofMillis(10);

    private final Path root;
    private final String name;

    /**
     * Creates a cache.
     *
     * @param root the directory of the sets; created for this user alone when needed
     * @param name the first part of the sets' names
     */
    ResourceCache(Path root, String name) {
        this.root = root;
        this.name = name;
    }

    /**
     * Makes a directory of a set of entries, unless a complete and undamaged one exists.
     *
     * @param entries everything that the directory holds
     * @return the directory with exactly these contents
     * @throws IOException when an entry cannot be made, or the cache cannot be written or trusted
     */
    Path directoryOf(List<? extends CacheEntry> entries) throws IOException {
        Files.createDirectories(root, TrustedDirectory.PRIVATE_DIRECTORY);
        Path directory = TrustedDirectory.require(root);
        Path target = directory.resolve(name + "-" + key(entries));
        if (isWhole(target, entries)) {
            return target;
        }
        synchronized (ResourceCache.class) {
            FileChannel lock = lock(directory);
            try {
                // The previous owner of the lock may have unpacked the set.
                if (!isWhole(target, entries)) {
                    sweep(directory);
                    replace(target, entries);
                }
            } finally {
                lock.close();
            }
        }
        return target;
    }

    /**
     * Locks out other virtual machines until the channel is closed, so that none moves away a set that another one has
     * just put into place. Without file locks, or when a process keeps the lock for ever, the atomic moves alone
     * protect the cache, and a repair may have to be repeated.
     */
    private static FileChannel lock(Path directory) throws IOException {
        FileChannel channel = FileChannel.open(directory.resolve(".lock"),
                Set.of(StandardOpenOption.CREATE, StandardOpenOption.WRITE), TrustedDirectory.PRIVATE_FILE);
        long end = System.nanoTime() + PATIENCE.toNanos();
        while (!tryLock(channel) && System.nanoTime() < end) {
            LockSupport.parkNanos(PAUSE.toNanos());
        }
        return channel;
    }

    /** {@return whether waiting is over} */
    private static boolean tryLock(FileChannel channel) {
        try {
            return channel.tryLock() != null;
        } catch (OverlappingFileLockException e) {
            return false; // this class in another class loader has it
        } catch (IOException e) {
            LOGGER.log(System.Logger.Level.DEBUG, "the cache is not locked", e);
            return true;
        }
    }

    /** Removes the directories of killed virtual machines. No unpacking takes that long. */
    private static void sweep(Path directory) throws IOException {
        Instant old = Instant.now().minus(LEFT_BEHIND);
        try (DirectoryStream<Path> entries = Files.newDirectoryStream(directory, ASIDE + "*")) {
            for (Path entry : entries) {
                if (Files.getLastModifiedTime(entry, LinkOption.NOFOLLOW_LINKS).toInstant().isBefore(old)) {
                    deleteTree(entry);
                }
            }
        } catch (NoSuchFileException | DirectoryIteratorException e) {
            LOGGER.log(System.Logger.Level.DEBUG, "somebody else sweeps the cache", e);
        }
    }

    /** Writes the set under a temporary name and renames it when it is complete. It moves a damaged set away first. */
    private static void replace(Path target, List<? extends CacheEntry> entries) throws IOException {
        Path aside = Files.createTempDirectory(target.getParent(), ASIDE, TrustedDirectory.PRIVATE_DIRECTORY);
        try {
            Path written = Files.createDirectory(aside.resolve("new"), TrustedDirectory.PRIVATE_DIRECTORY);
            for (CacheEntry entry : entries) {
                entry.create(written);
            }
            if (Files.exists(target, LinkOption.NOFOLLOW_LINKS) && !isWhole(target, entries)) {
                // Processes that have its files open keep them.
                Files.move(target, aside.resolve("damaged"), StandardCopyOption.ATOMIC_MOVE);
            }
            Files.move(written, target, StandardCopyOption.ATOMIC_MOVE);
        } catch (IOException e) {
            if (!isWhole(target, entries)) {
                throw e;
            }
        } finally {
            deleteTree(aside);
        }
    }

    /** A file that is none of the entries is a fault too: the dynamic loader might choose it. */
    private static boolean isWhole(Path directory, List<? extends CacheEntry> entries) {
        try {
            if (!Files.isDirectory(directory, LinkOption.NOFOLLOW_LINKS) || !TrustedDirectory.isTrusted(directory)) {
                return false;
            }
            try (Stream<Path> files = Files.list(directory)) {
                return files.count() == entries.size() && entries.stream().allMatch(entry -> entry.isIn(directory));
            }
        } catch (IOException e) {
            return false;
        }
    }

    private static String key(List<? extends CacheEntry> entries) {
        StringBuilder text = new StringBuilder();
        for (CacheEntry entry : entries) {
            text.append(entry.name()).append(' ').append(entry.identity()).append('\n');
        }
        try {
            byte[] digest = MessageDigest.getInstance("SHA-256")
                    .digest(text.toString().getBytes(StandardCharsets.UTF_8));
            return HexFormat.of().formatHex(digest, 0, 8);
        } catch (NoSuchAlgorithmException e) {
            throw new IllegalStateException("every Java platform has SHA-256", e);
        }
    }

    private static void deleteTree(Path directory) {
        if (!Files.exists(directory)) {
            return;
        }
        try {
            Files.walkFileTree(directory, new SimpleFileVisitor<>() {
                @Override
                public FileVisitResult visitFile(Path file, BasicFileAttributes attributes) throws IOException {
                    Files.deleteIfExists(file);
                    return FileVisitResult.CONTINUE;
                }

                @Override
                public FileVisitResult postVisitDirectory(Path visited, IOException failure) throws IOException {
                    Files.deleteIfExists(visited);
                    return FileVisitResult.CONTINUE;
                }
            });
        } catch (IOException e) {
            LOGGER.log(System.Logger.Level.DEBUG, "cannot remove " + directory, e);
        }
    }
}
