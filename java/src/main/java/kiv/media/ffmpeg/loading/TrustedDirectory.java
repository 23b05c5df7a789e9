package kiv.media.ffmpeg.loading;

import java.io.IOException;
import java.nio.file.FileSystemException;
import java.nio.file.Files;
import java.nio.file.LinkOption;
import java.nio.file.Path;
import java.nio.file.attribute.FileAttribute;
import java.nio.file.attribute.PosixFilePermission;
import java.nio.file.attribute.PosixFilePermissions;
import java.util.Map;
import java.util.Set;

/**
 * Decides from which directories libraries may be loaded. A user who can write there can run code in this process, so a
 * trusted directory belongs to this user or to root, and no other user can write there. The same holds for all
 * directories above it, but that one like /tmp may be among them, in which only owners can rename their entries.
 */
final class TrustedDirectory {

    /** For a directory that no other user may enter. */
    static final FileAttribute<Set<PosixFilePermission>> PRIVATE_DIRECTORY =
            PosixFilePermissions.asFileAttribute(PosixFilePermissions.fromString("rwx------"));
    /** For a file that no other user may open. */
    static final FileAttribute<Set<PosixFilePermission>> PRIVATE_FILE =
            PosixFilePermissions.asFileAttribute(PosixFilePermissions.fromString("rw-------"));

    private static final int ROOT = 0;
    private static final int WRITABLE_BY_GROUP = 0020;
    private static final int WRITABLE_BY_ALL = 0002;
    /** In such a directory only owners can rename their entries: their own, and those of a directory that is theirs. */
    private static final int STICKY = 01000;

    private TrustedDirectory() {
    }

    /**
     * Checks that a directory is trusted.
     *
     * @return its real path, because a link on its path could change later
     * @throws IOException when it is not trusted or does not exist
     */
    static Path require(Path directory) throws IOException {
        // The entry itself, which may be a link that another user made in /tmp.
        requireOwner(directory, read(directory).get("uid"));
        Path real = directory.toRealPath();
        Map<String, Object> attributes = read(real);
        requireOwner(real, attributes.get("uid"));
        if ((mode(attributes) & (WRITABLE_BY_GROUP | WRITABLE_BY_ALL)) != 0) {
            throw new FileSystemException(real.toString(), null, "others can write there, so what it holds cannot be"
                    + " trusted; remove it, or make it yours alone (chmod 700) when you trust what it holds");
        }
        for (Path above = real.getParent(); above != null; above = above.getParent()) {
            requireNoReplacement(real, above, read(above));
        }
        return real;
    }

    /** {@return whether only this user or root can write the file itself, not the target of a link} */
    static boolean isTrusted(Path file) throws IOException {
        Map<String, Object> attributes = read(file);
        return isOurs(attributes.get("uid")) && (mode(attributes) & (WRITABLE_BY_GROUP | WRITABLE_BY_ALL)) == 0;
    }

    /** {@return whether the file itself, such as a link, belongs to this user or root} */
    static boolean isOurs(Path file) throws IOException {
        return isOurs(read(file).get("uid"));
    }

    /** {@return the number of the user of this process} */
    static int user() throws IOException {
        Path status = Path.of("/proc/self/status");
        for (String line : Files.readAllLines(status)) {
            if (line.startsWith("Uid:")) {
                return (int) Long.parseLong(line.trim().split("\\s+")[2]); // real, effective, ...
            }
        }
        throw new FileSystemException(status.toString(), null, "does not name the user");
    }

    private static void requireOwner(Path directory, Object owner) throws IOException {
        if (!isOurs(owner)) {
            throw new FileSystemException(directory.toString(), null, "belongs to user " + owner + ", not to user "
                    + user() + " who runs this, so what it holds cannot be trusted");
        }
    }

    /** The owner of a directory can always rename what it holds, others can where they can write. */
    private static void requireNoReplacement(Path directory, Path above, Map<String, Object> attributes)
            throws IOException {
        boolean writable = (mode(attributes) & (WRITABLE_BY_GROUP | WRITABLE_BY_ALL)) != 0;
        if (!isOurs(attributes.get("uid")) || writable && (mode(attributes) & STICKY) == 0) {
            throw new FileSystemException(directory.toString(), null, "others can put another directory into its"
                    + " place, because they can write in " + above);
        }
    }

    private static boolean isOurs(Object owner) throws IOException {
        return owner.equals(ROOT) || owner.equals(user());
    }

    private static int mode(Map<String, Object> attributes) {
        return (Integer) attributes.get("mode");
    }

    private static Map<String, Object> read(Path file) throws IOException {
        return Files.readAttributes(file, "unix:mode,uid", LinkOption.NOFOLLOW_LINKS);
    }
}
