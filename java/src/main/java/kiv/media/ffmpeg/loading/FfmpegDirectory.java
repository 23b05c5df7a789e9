package kiv.media.ffmpeg.loading;

import java.io.IOException;
import java.io.InputStream;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.LinkedHashSet;
import java.util.List;
import java.util.Optional;
import java.util.OptionalInt;
import java.util.Properties;
import java.util.Set;
import java.util.stream.Collectors;
import java.util.stream.Stream;

/** Finds the directory of FFmpeg's libraries and prepares the process for them. */
public final class FfmpegDirectory {

    private static final int PRELOADED = 2;

    /** The directory of the libraries in the current class-path package. */
    private static final String PACKAGE = "org/bytedeco/ffmpeg/linux-x86_64/";
    /** The same in the older package, which has FFmpeg's own line. */
    private static final String OLD_PACKAGE = "org/bytedeco/javacpp/linux-x86_64/";

    /** Where systems have their libraries, behind the directories of the dynamic loader's own variable. */
    private static final List<String> SYSTEM = List.of("/usr/local/lib/x86_64-linux-gnu", "/usr/local/lib64",
            "/usr/local/lib", "/usr/lib/x86_64-linux-gnu", "/usr/lib64", "/usr/lib");

    private FfmpegDirectory() {
    }

    /**
     * Finds FFmpeg when the program names none: in the directory of the system property, else in a class-path package,
     * which it unpacks, else in the system.
     *
     * @return its place
     * @throws LoadingException when there is none, or when the first that there is cannot be used
     */
    public static FoundFfmpeg find() throws LoadingException {
        String named = System.getProperty(LibraryProperties.DIRECTORY);
        if (named != null) {
            return in(Path.of(named).toAbsolutePath().normalize());
        }
        NativeLibrary.requirePlatform();
        Properties known = packageProperties();
        for (FfmpegLine line : FfmpegLine.NEWER) {
            if (PackagedFiles.exist(PACKAGE + line.mark())) {
                List<String> files = Stream.concat(line.libraries().stream(),
                        FfmpegLine.HELPERS.stream().filter(name -> PackagedFiles.exist(PACKAGE + name))).toList();
                return bridged(line, PackagedFiles.unpack("FFmpeg", "ffmpeg", PACKAGE, files));
            }
        }
        if (PackagedFiles.exist(OLD_PACKAGE + FfmpegLine.OWN.mark())) {
            Path unpacked = PackagedFiles.unpack("FFmpeg", "ffmpeg", OLD_PACKAGE, FfmpegLine.OWN.libraries());
            return new FoundFfmpeg(unpacked, unpacked);
        }
        Set<Path> system = systemDirectories();
        for (Path directory : system) {
            if (FfmpegLine.of(directory).isPresent()) {
                return in(directory);
            }
        }
        throw new LoadingException("no FFmpeg: -D" + LibraryProperties.DIRECTORY + " is not set; "
                + (PackagedFiles.exist(PACKAGE) ? "the package org.bytedeco:ffmpeg on the class path is of none of the"
                + " supported versions" : "neither " + known.getProperty("current") + " nor " + known.getProperty("old")
                + " (classifier " + known.getProperty("classifier") + ") is on the class path") + "; "
                + system.stream().map(FfmpegDirectory::whatIsMissing).collect(Collectors.joining(", ")) + ". Add the"
                + " package to the class path (a program of modules too) or name a directory with -D"
                + LibraryProperties.DIRECTORY + "=DIR; " + FfmpegLine.SUPPORTED);
    }

    /**
     * Takes FFmpeg from a directory, and puts the bridge before it when it is a newer one.
     *
     * @param home an absolute path
     * @return its place
     * @throws LoadingException when the directory has no supported FFmpeg, or the bridge is missing
     */
    public static FoundFfmpeg in(Path home) throws LoadingException {
        FfmpegLine line = FfmpegLine.of(home)
                .orElseThrow(() -> new LoadingException(whatIsMissing(home) + "; " + FfmpegLine.SUPPORTED));
        return line.equals(FfmpegLine.OWN) ? new FoundFfmpeg(home, home) : bridged(line, home);
    }

    /** Returns what a directory lacks to be that of a supported FFmpeg. */
    private static String whatIsMissing(Path directory) {
        OptionalInt major = FfmpegLine.newestIn(directory);
        if (major.isEmpty()) {
            return "no FFmpeg in " + directory;
        }
        return FfmpegLine.ALL.stream().filter(line -> line.avcodec() == major.getAsInt()).findAny()
                .flatMap(line -> line.missingIn(directory)).map(library -> "no " + library + " in " + directory)
                .orElse("unsupported libavcodec " + major.getAsInt() + " in " + directory);
    }

    /**
     * Loads the libraries that the others need, so that the dynamic loader matches them by name.
     *
     * @param directory the directory for {@code n_init}, an absolute path
     * @throws LoadingException when one of the libraries is missing or does not load
     */
    public static void preload(Path directory) throws LoadingException {
        Optional<String> missing = FfmpegLine.OWN.missingIn(directory);
        if (missing.isPresent()) {
            throw new LoadingException("no " + missing.get() + " in the FFmpeg directory " + directory);
        }
        for (String name : FfmpegLine.OWN.libraries().subList(0, PRELOADED)) {
            try {
                System.load(directory.resolve(name).toString());
            } catch (UnsatisfiedLinkError e) {
                throw new LoadingException("cannot load FFmpeg: " + e.getMessage() + PackagedFiles.hint(e), e);
            }
        }
    }

    /** The bridge takes the FFmpeg that lies beside it, so a directory of links has both. */
    private static FoundFfmpeg bridged(FfmpegLine line, Path home) throws LoadingException {
        Path bridge = BridgeLibraries.find();
        List<Path> targets = new ArrayList<>();
        FfmpegLine.OWN.libraries().forEach(name -> targets.add(bridge.resolve(name)));
        line.libraries().forEach(name -> targets.add(home.resolve(name)));
        // The dynamic loader finds those of the system by itself.
        if (!systemDirectories().contains(home)) {
            FfmpegLine.HELPERS.stream().map(home::resolve).filter(Files::isRegularFile).forEach(targets::add);
        }
        return new FoundFfmpeg(PackagedFiles.link("the bridge and FFmpeg", "bridged", targets), home);
    }

    private static Set<Path> systemDirectories() {
        Set<Path> directories = new LinkedHashSet<>();
        Stream.concat(Stream.of(System.getenv().getOrDefault("LD_LIBRARY_PATH", "").split("[:;]")), SYSTEM.stream())
                .filter(directory -> directory.startsWith("/")).map(Path::of).map(Path::normalize).forEach(directories::add);
        return directories;
    }

    /** The coordinates of the packages, which the build writes. */
    private static Properties packageProperties() {
        Properties properties = new Properties();
        try (InputStream in = FfmpegDirectory.class.getResourceAsStream("ffmpeg.properties")) {
            properties.load(in);
        } catch (IOException e) {
            throw new IllegalStateException("the jar is damaged", e);
        }
        return properties;
    }
}
