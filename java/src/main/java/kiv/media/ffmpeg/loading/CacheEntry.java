package kiv.media.ffmpeg.loading;

import java.io.FileNotFoundException;
import java.io.IOException;
import java.io.InputStream;
import java.io.OutputStream;
import java.net.JarURLConnection;
import java.net.URL;
import java.net.URLConnection;
import java.nio.file.Files;
import java.nio.file.LinkOption;
import java.nio.file.Path;
import java.util.jar.JarEntry;
import java.util.zip.CRC32;
import java.util.zip.CheckedInputStream;

/** One entry of a directory in the cache: what it must be, and how it gets there. */
sealed interface CacheEntry {

    /** {@return its file name} */
    String name();

    /** {@return what distinguishes it from other versions of it} */
    String identity();

    /** {@return whether the directory holds it, undamaged and written by nobody else} */
    boolean isIn(Path directory);

    /** Creates it in a directory that has no such file. */
    void create(Path directory) throws IOException;

    /** A file of the class path, which may be a program. Other versions and damaged copies have another size or checksum. */
    record Packed(URL source, String name, long size, long crc, boolean program) implements CacheEntry {

        static Packed of(ClassLoader loader, String prefix, String name) throws IOException {
            return of(loader, prefix, name, false);
        }

        static Packed of(ClassLoader loader, String prefix, String name, boolean program) throws IOException {
            URL source = loader.getResource(prefix + name);
            if (source == null) {
                throw new FileNotFoundException(prefix + name + " is not on the class path");
            }
            URLConnection connection = source.openConnection();
            if (connection instanceof JarURLConnection jar) {
                JarEntry entry = jar.getJarEntry();
                if (entry.getSize() >= 0 && entry.getCrc() >= 0) {
                    return new Packed(source, name, entry.getSize(), entry.getCrc(), program);
                }
            }
            try (CheckedInputStream in = new CheckedInputStream(source.openStream(), new CRC32())) {
                long size = in.transferTo(OutputStream.nullOutputStream());
                return new Packed(source, name, size, in.getChecksum().getValue(), program);
            }
        }

        @Override
        public String identity() {
            return size + " " + crc;
        }

        @Override
        public boolean isIn(Path directory) {
            Path copy = directory.resolve(name);
            try {
                if (!Files.isRegularFile(copy, LinkOption.NOFOLLOW_LINKS) || !TrustedDirectory.isTrusted(copy)
                        || Files.size(copy) != size || program && !Files.isExecutable(copy)) {
                    return false;
                }
                try (CheckedInputStream in = new CheckedInputStream(Files.newInputStream(copy), new CRC32())) {
                    return in.transferTo(OutputStream.nullOutputStream()) == size && in.getChecksum().getValue() == crc;
                }
            } catch (IOException e) {
                return false; // unreadable, or moved away by a virtual machine that repairs it
            }
        }

        @Override
        public void create(Path directory) throws IOException {
            Path copy = Files.createFile(directory.resolve(name),
                    program ? TrustedDirectory.PRIVATE_DIRECTORY : TrustedDirectory.PRIVATE_FILE);
            try (InputStream in = source.openStream(); OutputStream out = Files.newOutputStream(copy)) {
                in.transferTo(out);
            }
            if (!isIn(directory)) {
                throw new IOException(name + " was not written whole");
            }
        }
    }

    /** A symbolic link. Whoever can write its target is trusted by the one who named it. */
    record Link(String name, Path target) implements CacheEntry {

        @Override
        public String identity() {
            return target.toString();
        }

        @Override
        public boolean isIn(Path directory) {
            Path link = directory.resolve(name);
            try {
                return TrustedDirectory.isOurs(link) && Files.readSymbolicLink(link).equals(target);
            } catch (IOException e) {
                return false; // no link, or moved away
            }
        }

        @Override
        public void create(Path directory) throws IOException {
            Files.createSymbolicLink(directory.resolve(name), target);
        }
    }
}
