package kiv.media.ffmpeg;

import static org.assertj.core.api.Assertions.assertThat;

import java.nio.file.Path;
import java.util.List;
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
        return Programs.virtualMachines()
                .flatMap(home -> Stream.of("calls", "races", "callbacks", "garbage", "silence", "logging")
                        .map(what -> Arguments.of(what, home)));
    }

    @ParameterizedTest
    @MethodSource("everythingOnEveryVirtualMachine")
    void harmsNothing(String what, String home, @TempDir Path directory) throws Exception {
        List<String> lines = Programs.run(directory, home, List.of("-Xcheck:jni", "-Xmx512m", "-ea",
                "-Djava.awt.headless=true", "-XX:ErrorFile=" + directory.resolve("crash.log")), Misuse.class, what,
                directory.toString());
        assertThat(lines).anyMatch(line -> line.endsWith("Misuse: done"));
    }
}
