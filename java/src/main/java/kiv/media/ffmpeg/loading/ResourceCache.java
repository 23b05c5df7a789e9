package kiv.media.ffmpeg.loading;

import java.io.FileNotFoundException;
import java.io.IOException;
import java.io.InputStream;
import java.io.OutputStream;
import java.net.JarURLConnection;
import java.net.URL;
import java.net.URLConnection;
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
import java.util.ArrayList;
import java.util.HexFormat;
import java.util.List;
import java.util.Set;
import java.util.concurrent.locks.LockSupport;
import java.util.jar.JarEntry;
import java.util.zip.CRC32;
import java.util.zip.CheckedInputStream;

/**
 * Unpacks files from the class path for the dynamic loader. A set of files has a directory whose name is derived from
 * their contents. It is written under a temporary name and renamed when it is complete. Any number of virtual machines
 * may unpack at the same time. Incomplete directories of interrupted ones are never used.
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

    /** The size and checksum of a file, which other versions and damaged copies do not match. */
    private record Expected(URL source, String file, long size, long crc) {

        static Expected of(ClassLoader loader, String prefix, String file) throws IOException {
            URL source = loader.getResource(prefix + file);
            if (source == null) {
                throw new FileNotFoundException(prefix + file + " is not on the class path");
            }
            URLConnection connection = source.openConnection();
            if (connection instanceof JarURLConnection jar) {
                JarEntry entry = jar.getJarEntry();
                if (entry.getSize() >= 0 && entry.getCrc() >= 0) {
                    return new Expected(source, file, entry.getSize(), entry.getCrc());
                }
            }
            try (CheckedInputStream in = new CheckedInputStream(source.openStream(), new CRC32())) {
                long size = in.transferTo(OutputStream.nullOutputStream());
                return new Expected(source, file, size, in.getChecksum().getValue());
            }
        }

        boolean matches(Path directory) {
            Path copy = directory.resolve(file);
            try {
                if (!Files.isRegularFile(copy, LinkOption.NOFOLLOW_LINKS) || !TrustedDirectory.isTrusted(copy)
                        || Files.size(copy) != size) {
                    return false;
                }
                try (CheckedInputStream in = new CheckedInputStream(Files.newInputStream(copy), new CRC32())) {
                    return in.transferTo(OutputStream.nullOutputStream()) == size && in.getChecksum().getValue() == crc;
                }
            } catch (IOException e) {
                return false; // unreadable, or moved away by a virtual machine that repairs it
            }
        }

        void copyTo(Path directory) throws IOException {
            Path copy = Files.createFile(directory.resolve(file), TrustedDirectory.PRIVATE_FILE);
            try (InputStream in = source.openStream(); OutputStream out = Files.newOutputStream(copy)) {
                in.transferTo(out);
            }
            if (!matches(directory)) {
                throw new IOException(file + " was not written whole");
            }
        }
    }

    /**
     * Unpacks a set of files, unless a complete and undamaged copy exists.
     *
     * @param loader the class loader of the files
     * @param prefix their common path, ending in a slash
     * @param files their names
     * @return the directory with exactly these contents
     * @throws IOException when a resource is missing, or the cache cannot be written or trusted
     */
    Path unpack(ClassLoader loader, String prefix, List<String> files) throws IOException {
        List<Expected> expected = new ArrayList<>();
        for (String file : files) {
            expected.add(Expected.of(loader, prefix, file));
        }
        Files.createDirectories(root, TrustedDirectory.PRIVATE_DIRECTORY);
        Path directory = TrustedDirectory.require(root);
        Path target = directory.resolve(name + "-" + key(expected));
        if (isWhole(target, expected)) {
            return target;
        }
        synchronized (ResourceCache.class) {
            FileChannel lock = lock(directory);
            try {
                // The previous owner of the lock may have unpacked the set.
                if (!isWhole(target, expected)) {
                    sweep(directory);
                    replace(target, expected);
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
    private static void replace(Path target, List<Expected> expected) throws IOException {
        Path aside = Files.createTempDirectory(target.getParent(), ASIDE, TrustedDirectory.PRIVATE_DIRECTORY);
        try {
            Path written = Files.createDirectory(aside.resolve("new"), TrustedDirectory.PRIVATE_DIRECTORY);
            for (Expected file : expected) {
                file.copyTo(written);
            }
            if (Files.exists(target, LinkOption.NOFOLLOW_LINKS) && !isWhole(target, expected)) {
                // Processes that have its files open keep them.
                Files.move(target, aside.resolve("damaged"), StandardCopyOption.ATOMIC_MOVE);
            }
            Files.move(written, target, StandardCopyOption.ATOMIC_MOVE);
        } catch (IOException e) {
            if (!isWhole(target, expected)) {
                throw e;
            }
        } finally {
            deleteTree(aside);
        }
    }

    private static boolean isWhole(Path directory, List<Expected> expected) {
        try {
            return Files.isDirectory(directory, LinkOption.NOFOLLOW_LINKS) && TrustedDirectory.isTrusted(directory)
                    && expected.stream().allMatch(file -> file.matches(directory));
        } catch (IOException e) {
            return false;
        }
    }

    private static String key(List<Expected> expected) {
        StringBuilder text = new StringBuilder();
        for (Expected file : expected) {
            text.append(file.file()).append(' ').append(file.size()).append(' ').append(file.crc()).append('\n');
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
