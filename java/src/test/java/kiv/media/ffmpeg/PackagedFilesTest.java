package kiv.media.ffmpeg;

import static org.assertj.core.api.Assertions.assertThat;
import static org.assertj.core.api.Assumptions.assumeThat;

import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.attribute.PosixFilePermissions;
import java.util.ArrayList;
import java.util.List;
import java.util.stream.Stream;
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

    /** Stands in for the natives jar: the library under test, where the jar has it. */
    @BeforeEach
    void packNatives() throws IOException {
        cache = temp.resolve("cache");
        Path natives = Files.createDirectories(temp.resolve("natives/kiv/media/ffmpeg/natives/linux-x86_64"));
        Files.createSymbolicLink(natives.resolve("libkivjniffmpeg.so"),
                Path.of(System.getProperty(FfmpegLibrary.LIBRARY_PROPERTY)).toRealPath());
        classPath = System.getProperty("java.class.path") + ":" + temp.resolve("natives");
    }

    /** Loads everything, on a thread that somebody interrupted. */
    static final class Load {
        public static void main(String[] args) {
            Thread.currentThread().interrupt();
            try {
                FfmpegLibrary.load();
                System.out.println("loaded from " + FfmpegLibrary.directory() + ", " + Thread.interrupted());
            } catch (LibraryException e) {
                System.out.println(e);
            }
        }
    }

    private Process start(String classPath, List<String> before, String... properties) throws IOException {
        List<String> command = new ArrayList<>(before);
        command.add(ProcessHandle.current().info().command().orElseThrow());
        command.addAll(List.of(properties));
        command.addAll(List.of("-XX:TieredStopAtLevel=1", "-cp", classPath, Load.class.getName()));
        ProcessBuilder builder = new ProcessBuilder(command).redirectErrorStream(true);
        builder.environment().remove("XDG_CACHE_HOME");
        return builder.start();
    }

    private static String outputOf(Process process) throws Exception {
        String output = new String(process.getInputStream().readAllBytes());
        assertThat(process.waitFor()).as(output).isZero();
        return output;
    }

    private static String cacheIn(Path directory) {
        return "-D" + FfmpegLibrary.CACHE_PROPERTY + "=" + directory;
    }

    private List<Path> unpacked() throws IOException {
        try (Stream<Path> files = Files.walk(cache)) {
            return files.filter(file -> Files.isRegularFile(file) && !file.endsWith(".lock")).sorted().toList();
        }
    }

    @Test
    void aDozenMachinesAtOnceShareOneCopy() throws Exception {
        for (int round = 0; round < 2; round++) {
            List<Process> machines = new ArrayList<>();
            for (int i = 0; i < 12; i++) {
                machines.add(start(classPath, List.of(), cacheIn(cache)));
            }
            for (Process machine : machines) {
                assertThat(outputOf(machine)).contains("loaded from " + cache.toRealPath(), ", true");
            }
            assertThat(unpacked()).hasSize(1 + FfmpegLibrary.LIBRARIES.size());
            // What a crash or a bad disk leaves: the second dozen has to mend it before loading it.
            for (Path file : unpacked()) {
                Files.write(file, new byte[(int) Files.size(file) / 2]);
            }
        }
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
        assertThat(outputOf(start(classPath, mounted, cacheIn(cache.resolve("here"))))).startsWith(
                LibraryException.class.getName()).contains(cache.toString(), message, FfmpegLibrary.CACHE_PROPERTY);
    }

    @Test
    void withoutAHomeItIsAPrivateDirectoryForTemporaryFiles() throws Exception {
        Path home = Files.writeString(temp.resolve("home"), "no directory");
        cache = temp.resolve("kivjniffmpeg-" + Ownership.user());
        String[] properties = {"-Duser.home=" + home, "-Djava.io.tmpdir=" + temp};
        assertThat(outputOf(start(classPath, List.of(), properties))).contains("loaded from " + cache.toRealPath());
        assertThat(unpacked()).hasSize(1 + FfmpegLibrary.LIBRARIES.size());
        Files.setPosixFilePermissions(cache, PosixFilePermissions.fromString("rwxrwxrwx"));
        assertThat(outputOf(start(classPath, List.of(), properties))).contains(home + "/.cache/kivjniffmpeg (",
                cache + " (others can write there");
    }

    @Test
    void whatIsMissingIsNamed() throws Exception {
        assertThat(outputOf(start(classPath, List.of(), "-Dos.arch=aarch64", cacheIn(cache)))).contains(
                "made for Linux on x86-64, and this is Linux on aarch64");
        assertThat(outputOf(start(System.getProperty("java.class.path"), List.of(), cacheIn(cache)))).contains(
                "classifier linux-x86_64", FfmpegLibrary.LIBRARY_PROPERTY);
        assertThat(outputOf(start(classPath, List.of(), "-D" + FfmpegLibrary.LIBRARY_PROPERTY + "=/none.so"))).contains(
                "/none.so", FfmpegLibrary.LIBRARY_PROPERTY);
    }
}
