package kiv.media.ffmpeg;

import static org.assertj.core.api.Assertions.assertThat;

import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.List;
import java.util.concurrent.TimeUnit;
import java.util.stream.Stream;
import org.junit.jupiter.api.Tag;
import org.junit.jupiter.api.io.TempDir;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.Arguments;
import org.junit.jupiter.params.provider.MethodSource;

/** Runs {@link Misuse} on every virtual machine at hand, which checks all use of JNI and whose end would be seen here. */
@Tag("misuse")
class MisuseTest {

    static Stream<Arguments> everythingOnEveryVirtualMachine() {
        return Stream.of(System.getProperty("java.home"),
                        System.getProperty("KIV_JDK21", System.getenv("KIV_JDK21")))
                .filter(home -> home != null && !home.isEmpty())
                .flatMap(home -> Stream.of("calls", "races", "callbacks", "garbage", "silence", "logging")
                        .map(what -> Arguments.of(what, home)));
    }

    @ParameterizedTest
    @MethodSource("everythingOnEveryVirtualMachine")
    void harmsNothing(String what, String home, @TempDir Path directory) throws Exception {
        List<String> command = new ArrayList<>(List.of(home + "/bin/java", "-Xcheck:jni", "-Xmx512m", "-ea",
                "-Djava.awt.headless=true", "-XX:ErrorFile=" + directory.resolve("crash.log")));
        System.getProperties().stringPropertyNames().stream().filter(name -> name.startsWith("kiv."))
                .forEach(name -> command.add("-D" + name + "=" + System.getProperty(name)));
        command.addAll(List.of("-cp", System.getProperty("java.class.path"), Misuse.class.getName(), what,
                directory.toString()));
        Path log = directory.resolve("output");
        ProcessBuilder builder = new ProcessBuilder(command).directory(directory.toFile());
        builder.environment().put("KIV_STREAMS_DIR", TestMedia.stream("manifest.tsv").getParent().toString());
        Process process = builder.redirectErrorStream(true).redirectOutput(log.toFile()).start();
        if (!process.waitFor(10, TimeUnit.MINUTES)) {
            process.destroyForcibly().waitFor();
        }
        List<String> lines = Files.readAllLines(log, StandardCharsets.ISO_8859_1);
        String tail = String.join("\n", lines.subList(Math.max(0, lines.size() - 60), lines.size()));
        assertThat(process.exitValue()).as(tail).isZero();
        assertThat(lines).as(tail).noneMatch(line -> line.contains("in native method") || line.contains("FATAL"))
                .anyMatch(line -> line.endsWith("Misuse: done"));
    }
}
