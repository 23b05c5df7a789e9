package kiv.media.ffmpeg.loading;

import java.io.IOException;
import java.nio.file.AccessDeniedException;
import java.nio.file.FileAlreadyExistsException;
import java.nio.file.FileSystemException;
import java.nio.file.InvalidPathException;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.LinkedHashSet;
import java.util.List;
import java.util.Locale;
import java.util.Set;

/** Makes directories in the user's cache: of files of a jar, because only files can be loaded, and of links. */
final class PackagedFiles {

    private static final System.Logger LOGGER = System.getLogger("kiv.media.ffmpeg");
    private static final String NAME = "kivjniffmpeg";
    private static final ClassLoader LOADER = loader();

    private PackagedFiles() {
    }

    /** {@return whether there is such a resource} */
    static boolean exist(String resource) {
        return LOADER.getResource(resource) != null;
    }

    /**
     * Unpacks files into the first directory where that works.
     *
     * @param what the name of the files in messages
     * @param name the first part of the name of their directory
     * @param prefix their common path in the jar, ending in a slash
     * @param files their names
     * @return the directory with exactly these files
     * @throws LoadingException when it works nowhere
     */
    static Path unpack(String what, String name, String prefix, List<String> files) throws LoadingException {
        return inCache("unpack " + what + " into ", name, () -> {
            List<CacheEntry> entries = new ArrayList<>();
            for (String file : files) {
                entries.add(CacheEntry.Packed.of(LOADER, prefix, file));
            }
            return entries;
        });
    }

    /**
     * Unpacks a program. Otherwise as {@link #unpack}.
     *
     * @param what the name of the program in messages
     * @param name the first part of the name of its directory
     * @param prefix its path in the jar, ending in a slash
     * @param file its name
     * @return the program
     * @throws LoadingException when it works nowhere
     */
    static Path unpackProgram(String what, String name, String prefix, String file) throws LoadingException {
        return inCache("unpack " + what + " into ", name,
                () -> List.of(CacheEntry.Packed.of(LOADER, prefix, file, true))).resolve(file);
    }

    /**
     * Makes a directory of links in the first place where that works.
     *
     * @param what the name of the files in messages
     * @param name the first part of the name of the directory
     * @param targets the files, under whose names the links are
     * @return the directory with exactly these links
     * @throws LoadingException when it works nowhere
     */
    static Path link(String what, String name, List<Path> targets) throws LoadingException {
        return inCache("link " + what + " in ", name, () -> targets.stream()
                .map(target -> new CacheEntry.Link(target.getFileName().toString(), target)).toList());
    }

    /** What a directory in the cache holds. */
    @FunctionalInterface
    private interface Entries {
        List<? extends CacheEntry> get() throws IOException;
    }

    private static Path inCache(String action, String name, Entries entries) throws LoadingException {
        List<String> failures = new ArrayList<>();
        Exception last = null;
        // An interrupted thread can load its library too.
        boolean interrupted = Thread.interrupted();
        try {
            for (Path root : roots()) {
                try {
                    return new ResourceCache(root, name).directoryOf(entries.get());
                } catch (IOException e) {
                    LOGGER.log(System.Logger.Level.DEBUG, "cannot " + action + root, e);
                    failures.add(root + " (" + reason(root, e) + ")");
                    last = e;
                }
            }
        } catch (IOException | InvalidPathException e) {
            failures.add("no directory: " + e.getMessage());
            last = e;
        } finally {
            if (interrupted) {
                Thread.currentThread().interrupt();
            }
        }
        throw new LoadingException("cannot " + action + String.join(" or ", failures)
                + "; name another directory with -D" + LibraryProperties.CACHE + "=DIR", last);
    }

    /** Advice for a library that exists but that the system does not load. */
    static String hint(UnsatisfiedLinkError e) {
        String message = String.valueOf(e.getMessage()).toLowerCase(Locale.ROOT);
        if (message.contains("failed to map segment")) {
            return "; its file system may be mounted noexec: name a directory elsewhere with -D"
                    + LibraryProperties.CACHE + "=DIR";
        }
        if (message.contains("another classloader")) {
            return "; a process loads it once: let the class loader that the applications share have this jar";
        }
        return "";
    }

    /** The directories to try: only the one of the system property, else the user's cache, then one under /tmp. */
    private static Set<Path> roots() throws IOException {
        String named = System.getProperty(LibraryProperties.CACHE, "");
        if (!named.isEmpty()) {
            return Set.of(Path.of(named).toAbsolutePath().normalize());
        }
        Set<Path> roots = new LinkedHashSet<>();
        // A relative path in either is invalid and ignored.
        String shared = System.getenv().getOrDefault("XDG_CACHE_HOME", "");
        if (shared.startsWith("/")) {
            roots.add(Path.of(shared, NAME));
        }
        String home = System.getProperty("user.home", "");
        if (home.startsWith("/")) {
            roots.add(Path.of(home, ".cache", NAME));
        }
        roots.add(Path.of(System.getProperty("java.io.tmpdir", "/tmp"), NAME + "-" + TrustedDirectory.user())
                .toAbsolutePath());
        return roots;
    }

    private static String reason(Path root, IOException e) {
        if (e instanceof AccessDeniedException) {
            return "permission denied";
        }
        if (e instanceof FileAlreadyExistsException) {
            return "a file is in its place";
        }
        if (e instanceof FileSystemException failure && failure.getReason() != null) {
            boolean elsewhere = failure.getFile() != null && !failure.getFile().startsWith(root.toString());
            return elsewhere ? failure.getFile() + ": " + failure.getReason() : failure.getReason();
        }
        return e.getMessage() == null ? e.toString() : e.getMessage();
    }

    private static ClassLoader loader() {
        ClassLoader own = PackagedFiles.class.getClassLoader();
        return own != null ? own : ClassLoader.getSystemClassLoader();
    }
}
