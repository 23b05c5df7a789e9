package kiv.media.ffmpeg.loading;

import static org.assertj.core.api.Assertions.assertThat;
import static org.assertj.core.api.Assumptions.assumeThat;

import java.io.File;
import java.io.IOException;
import java.lang.reflect.InvocationTargetException;
import java.net.URL;
import java.net.URLClassLoader;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.attribute.PosixFilePermissions;
import java.util.ArrayList;
import java.util.List;
import java.util.stream.IntStream;
import java.util.stream.Stream;
import javax.sound.sampled.AudioSystem;
import javax.sound.sampled.UnsupportedAudioFileException;
import kiv.media.ffmpeg.FfmpegLibrary;
import kiv.media.ffmpeg.LibraryException;
import kiv.media.ffmpeg.TestMedia;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.CsvSource;

/** Virtual machines that find the native library and FFmpeg on their class path and nothing unpacked yet. */
class PackagedFilesTest {

    @TempDir
    Path temp;
    private Path cache;
    private String classPath;

    /** Stands in for the natives jar: the library under test and its bridge, where the jar has them. */
    @BeforeEach
    void packNatives() throws IOException {
        cache = temp.resolve("cache");
        Path natives = Files.createDirectories(temp.resolve("natives/kiv/media/ffmpeg/natives/linux-x86_64"));
        Path library = Path.of(System.getProperty(FfmpegLibrary.LIBRARY_PROPERTY)).toRealPath();
        Files.createSymbolicLink(natives.resolve("libkivjniffmpeg.so"), library);
        for (String beside : List.of("bridge", "kivjniffmpeg-worker")) {
            Files.createSymbolicLink(natives.resolve(beside), library.resolveSibling(beside));
        }
        classPath = System.getProperty("java.class.path") + ":" + temp.resolve("natives");
    }

    /** Loads everything, on a thread that somebody interrupted; then FFmpeg from directories, or JavaSound's sounds. */
    static final class Load {
        public static void main(String[] more) throws Exception {
            Thread.currentThread().interrupt();
            for (String path : Stream.concat(Stream.of(""), Stream.of(more)).toList()) {
                try {
                    System.out.print(loaded(path));
                } catch (LibraryException | UnsupportedAudioFileException e) {
                    System.out.print(e);
                }
                System.out.println(", " + Thread.interrupted());
            }
        }

        private static String loaded(String path) throws Exception {
            if (Files.isRegularFile(Path.of(path))) {
                return AudioSystem.getAudioInputStream(new File(path)).readAllBytes().length + " bytes";
            }
            if (path.equals("worker")) {
                return "executable " + Files.isExecutable(WorkerProgram.find());
            }
            if (path.isEmpty()) {
                FfmpegLibrary.load();
            } else {
                FfmpegLibrary.load(Path.of(path));
            }
            return "loaded from " + FfmpegLibrary.directory() + ": " + FfmpegLibrary.build();
        }
    }

    private ProcessBuilder machine(List<String> options, Object... arguments) {
        List<String> command = new ArrayList<>(List.of(ProcessHandle.current().info().command().orElseThrow(),
                "-XX:TieredStopAtLevel=1", "-cp", classPath));
        command.addAll(options);
        command.add(Load.class.getName());
        Stream.of(arguments).map(Object::toString).forEach(command::add);
        ProcessBuilder builder = new ProcessBuilder(command).redirectErrorStream(true);
        builder.environment().remove("XDG_CACHE_HOME");
        return builder;
    }

    private static String outputOf(ProcessBuilder machine) throws Exception {
        Process process = machine.start();
        String output = new String(process.getInputStream().readAllBytes());
        assertThat(process.waitFor()).as(output).isZero();
        return output;
    }

    private static String cacheIn(Path directory) {
        return "-D" + FfmpegLibrary.CACHE_PROPERTY + "=" + directory;
    }

    private void assertUnpacked() throws IOException {
        try (Stream<Path> files = Files.walk(cache)) {
            // The native library, the bridge, FFmpeg and three libraries that it needs; links to all but the first.
            assertThat(files.filter(Files::isRegularFile).filter(file -> !file.endsWith(".lock")))
                    .hasSize(1 + 13 + 13);
        }
    }

    @Test
    void aDozenMachinesAtOnceShareOneCopy() throws Exception {
        List<Process> machines = new ArrayList<>();
        for (int i = 0; i < 12; i++) {
            machines.add(machine(List.of(cacheIn(cache))).start());
        }
        for (Process machine : machines) {
            assertThat(new String(machine.getInputStream().readAllBytes())).contains("loaded from " + cache.toRealPath(),
                    "FFmpeg 8.0.1 (LGPL version 3 or later) in " + cache + "/ffmpeg-", ", behind the bridge, true");
            assertThat(machine.waitFor()).isZero();
        }
        assertUnpacked();
    }

    @Test
    void theWorkerIsUnpackedAsAProgram() throws Exception {
        assertThat(outputOf(machine(List.of(cacheIn(cache)), "worker"))).contains("executable true");
    }

    @ParameterizedTest
    @CsvSource({"'size=3m', No space left on device", "'ro', Read-only file system", "'noexec', mounted noexec"})
    void aFileSystemThatWillNotDoIsTold(String options, String message) throws Exception {
        // In a mount namespace of its own, which ends with the process.
        List<String> mounted = List.of("unshare", "-rm", "sh", "-c",
                "mount -t tmpfs -o " + options + " none " + Files.createDirectory(cache) + " && exec \"$@\"", "sh");
        List<String> probe = new ArrayList<>(mounted);
        probe.add("true");
        assumeThat(new ProcessBuilder(probe).start().waitFor()).as("mounting is allowed").isZero();
        ProcessBuilder machine = machine(List.of(cacheIn(cache.resolve("here"))));
        machine.command().addAll(0, mounted);
        assertThat(outputOf(machine)).startsWith(LibraryException.class.getName()).contains(cache.toString(),
                message, FfmpegLibrary.CACHE_PROPERTY);
    }

    @Test
    void withoutAHomeItIsAPrivateDirectoryForTemporaryFiles() throws Exception {
        Path home = Files.writeString(temp.resolve("home"), "no directory");
        cache = temp.resolve("kivjniffmpeg-" + TrustedDirectory.user());
        List<String> options = List.of("-Duser.home=" + home, "-Djava.io.tmpdir=" + temp);
        assertThat(outputOf(machine(options))).contains("loaded from " + cache.toRealPath());
        assertUnpacked();
        Files.setPosixFilePermissions(cache, PosixFilePermissions.fromString("rwxrwxrwx"));
        assertThat(outputOf(machine(options)))
                .contains(home + "/.cache/kivjniffmpeg (", cache + " (others can write there");
    }

    /** What goes wrong before the native library is called can be tried again; what goes wrong in it can not. */
    @ParameterizedTest
    @CsvSource({"0, 0, no FFmpeg in, true", "0, 5, cannot load FFmpeg: , true",
        "2, 3, failed to initialize ffmpeg, false"})
    void aBrokenFfmpegIsTold(int healthy, int damaged, String message, boolean thenAnother) throws Exception {
        Path whole = FfmpegLibrary.directory();
        Path broken = Files.createDirectory(temp.resolve("broken"));
        for (String library : FfmpegLine.OWN.libraries().subList(0, healthy)) {
            Files.createSymbolicLink(broken.resolve(library), whole.resolve(library));
        }
        for (String library : FfmpegLine.OWN.libraries().subList(healthy, healthy + damaged)) {
            Files.writeString(broken.resolve(library), "not a library");
        }
        String property = "-D" + FfmpegLibrary.DIRECTORY_PROPERTY + "=" + broken;
        String output = outputOf(machine(List.of(cacheIn(cache), property), whole, whole, broken));
        assertThat(output).contains(message);
        // Loaded, loaded again, and told to the one who wants yet another.
        assertThat(output.split("loaded from " + whole, -1)).as(output).hasSize(thenAnother ? 1 + 3 : 1);
    }

    @Test
    void whatTheBridgeCannotLoadIsTold() throws Exception {
        Path broken = ffmpeg("broken", FfmpegLine.NEWER.get(0).libraries());
        String property = "-D" + FfmpegLibrary.DIRECTORY_PROPERTY + "=" + broken;
        assertThat(outputOf(machine(List.of(cacheIn(cache), property)))).contains(LibraryException.class.getName()
                + ": cannot load FFmpeg from " + broken + ": ", "libavutil.so.60: file too short");
    }

    /** Stands in for a package or a directory of FFmpeg's: what is in the files does not matter before they are loaded. */
    private Path ffmpeg(String place, List<String> libraries) throws IOException {
        Path directory = Files.createDirectories(temp.resolve(place));
        for (String library : libraries) {
            Files.writeString(directory.resolve(library), library);
        }
        return directory;
    }

    /** Searches in another class loader, whose class path has the packages below some directories. */
    private String find(String... packages) {
        try {
            List<URL> urls = new ArrayList<>(List.of(
                    FfmpegDirectory.class.getProtectionDomain().getCodeSource().getLocation()));
            for (String one : packages) {
                urls.add(temp.resolve(one).toUri().toURL());
            }
            try (URLClassLoader loader = new URLClassLoader(urls.toArray(URL[]::new), null)) {
                return loader.loadClass(FfmpegDirectory.class.getName()).getMethod("find").invoke(null).toString();
            }
        } catch (InvocationTargetException e) {
            return e.getCause().getMessage();
        } catch (IOException | ReflectiveOperationException e) {
            throw new AssertionError(e);
        }
    }

    /** The first that there is, whichever line it is of; the libraries that it needs come with it. */
    @Test
    void theSearchHasAnOrder() throws IOException {
        FfmpegLine six = FfmpegLine.NEWER.get(2);
        ffmpeg("old/org/bytedeco/javacpp/linux-x86_64", FfmpegLine.OWN.libraries());
        ffmpeg("six/org/bytedeco/ffmpeg/linux-x86_64", six.libraries());
        ffmpeg("six/org/bytedeco/ffmpeg/linux-x86_64", List.of("libdrm.so.2"));
        ffmpeg("unknown/org/bytedeco/ffmpeg/linux-x86_64", List.of("libavcodec.so.99"));
        Path named = ffmpeg("named", FfmpegLine.NEWER.get(1).libraries());
        System.setProperty(LibraryProperties.CACHE, cache.toString());
        String before = System.setProperty(LibraryProperties.DIRECTORY, named.toString());
        try {
            assertThat(find("six", "old")).contains("directory=" + cache + "/bridged-", "home=" + named);
            Files.delete(named.resolve("libswscale.so.8"));
            assertThat(find("six", "old")).contains("no libswscale.so.8 in " + named, "5.1 to 8.0");
            Files.move(named.resolve("libavcodec.so.61"), named.resolve("libavcodec.so.63"));
            assertThat(find("six", "old")).contains("unsupported libavcodec 63 in " + named);
            System.clearProperty(LibraryProperties.DIRECTORY);
            List<String> found = IntStream.range(0, 8).parallel().mapToObj(i -> find("old", "six")).distinct().toList();
            assertThat(found).singleElement().asString().contains("home=" + cache + "/ffmpeg-");
            Path directory = Path.of(found.get(0).replaceAll(".*directory=(.*), .*", "$1"));
            assertThat(directory.toFile().list()).contains("libdrm.so.2").hasSize(11);
            assertThat(directory.resolve(six.mark())).content().isEqualTo(six.mark());
            assertThat(find("old", "unknown")).contains("directory=" + cache + "/ffmpeg-").doesNotContain("bridged");
            assertThat(find()).containsPattern("home=/(usr|lib)|no FFmpeg: .*2.8.1-1.1 .*in /usr/local/lib, ");
        } finally {
            System.clearProperty(LibraryProperties.CACHE);
            if (before != null) {
                System.setProperty(LibraryProperties.DIRECTORY, before);
            }
        }
    }

    @Test
    void whatIsMissingIsNamedAndJavaSoundDoesWithoutIt() throws Exception {
        assertThat(outputOf(machine(List.of(cacheIn(cache), "-Dos.arch=aarch64")))).contains(
                "made for Linux on x86-64, and this is Linux on aarch64");
        assertThat(outputOf(machine(List.of("-D" + FfmpegLibrary.LIBRARY_PROPERTY + "=/none.so"),
                TestMedia.stream("pcm_s16.wav"), TestMedia.stream("mp3.mp3")))).contains("/none.so",
                FfmpegLibrary.LIBRARY_PROPERTY, "176400 bytes", UnsupportedAudioFileException.class.getName());
        classPath = System.getProperty("java.class.path");
        assertThat(outputOf(machine(List.of(cacheIn(cache))))).contains("classifier linux-x86_64",
                FfmpegLibrary.LIBRARY_PROPERTY);
    }
}
