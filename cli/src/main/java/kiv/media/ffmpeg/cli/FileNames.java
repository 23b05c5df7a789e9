package kiv.media.ffmpeg.cli;

import java.io.IOException;
import java.nio.file.DirectoryStream;
import java.nio.file.FileSystemException;
import java.nio.file.Files;
import java.nio.file.InvalidPathException;
import java.nio.file.LinkOption;
import java.nio.file.NoSuchFileException;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.List;
import java.util.regex.Matcher;
import java.util.regex.Pattern;
import picocli.CommandLine.ITypeConverter;
import picocli.CommandLine.TypeConversionException;

/**
 * Finds files by the names that the shell passes. Java decodes an argument in the locale's character set, so of a name
 * that is in another one only a part is left. A directory that is listed still has the name's own bytes.
 */
final class FileNames {

    private static final Pattern ADDRESS = Pattern.compile("(?<scheme>[A-Za-z][A-Za-z0-9+.-]+)://(?<path>.*)", Pattern.DOTALL);
    /** Stands for bytes that are no characters. */
    private static final char UNKNOWN = '\uFFFD';
    private static final String CHARACTERS = System.getProperty("sun.jnu.encoding");

    private FileNames() {
    }

    /**
     * Returns the file that an argument names.
     *
     * @throws NoSuchFileException when there is none, which some file systems report later
     * @throws FileSystemException when the argument names no file
     */
    static Path existing(String name) throws IOException {
        if (isPath(name) && (name.indexOf(UNKNOWN) < 0 || Files.exists(Path.of(name), LinkOption.NOFOLLOW_LINKS))) {
            Path path = Path.of(name);
            Matcher address = ADDRESS.matcher(name);
            if (address.matches() && !Files.exists(path)) {
                throw new FileSystemException(name, null, address.group("scheme").equals("file")
                        ? "is an address; name the file itself, as in " + address.group("path")
                        : "is an address, and only files are read; download it first, or pipe what a download program"
                                + " writes to standard input, which - names");
            }
            return path;
        }
        return listed(name);
    }

    private static boolean isPath(String name) {
        try {
            Path.of(name);
            return true;
        } catch (InvalidPathException e) {
            return false;
        }
    }

    /** Returns the only file whose name, decoded as the argument was, is the argument. */
    private static Path listed(String name) throws IOException {
        Path found = Path.of(name.startsWith("/") ? "/" : "");
        for (String part : name.split("/+")) {
            if (part.isEmpty()) {
                continue;
            }
            if (isPath(part) && part.indexOf(UNKNOWN) < 0) {
                found = found.resolve(part);
                continue;
            }
            List<Path> candidates = new ArrayList<>();
            try (DirectoryStream<Path> entries = Files.newDirectoryStream(found,
                    entry -> entry.getFileName().toString().equals(part))) {
                entries.forEach(candidates::add);
            }
            if (candidates.isEmpty()) {
                throw new NoSuchFileException(name);
            }
            if (candidates.size() > 1) {
                throw new FileSystemException(name, null, "stands for several files, because it is not in the locale's"
                        + " character set " + CHARACTERS + "; rename one");
            }
            found = candidates.get(0);
        }
        return found;
    }

    /** Returns a name in characters that the locale has, for new files. */
    static String encodable(String name) {
        return isPath(name) ? name : name.replaceAll("[^ -~]", "_");
    }

    /** Reads the name of an output, whose file or directory need not exist. */
    static final class OutputConverter implements ITypeConverter<Path> {
        @Override
        public Path convert(String name) {
            if (ADDRESS.matcher(name).matches()) {
                throw new TypeConversionException("'" + name + "' is an address, and only files are written");
            }
            if (isPath(name) && name.indexOf(UNKNOWN) < 0) {
                return Path.of(name);
            }
            try {
                return existing(name);
            } catch (IOException e) {
                throw new TypeConversionException("'" + name + "' is no name in the locale's character set " + CHARACTERS
                        + ", and nothing of that name exists");
            }
        }
    }
}
