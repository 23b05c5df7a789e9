package kiv.media.ffmpeg;

import static org.assertj.core.api.Assertions.assertThat;

import java.io.IOException;
import java.lang.management.ManagementFactory;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.List;
import java.util.concurrent.TimeUnit;
import java.util.regex.Pattern;
import java.util.stream.Stream;

/** Runs other programs, also virtual machines whose end would be seen here. */
public final class Programs {

    /** What HotSpot says of wrong uses of JNI; tools/check_jvm_output.sh knows the same. */
    private static final Pattern COMPLAINT = Pattern.compile("in native method|WARNING: JNI"
            + "|Warning: Calling other JNI functions|Warning: SIG|warning: You have loaded library");

    private Programs() {
    }

    /** The bytes that a program prints; it must succeed. */
    public static byte[] output(List<String> command) {
        ProcessBuilder builder = new ProcessBuilder(command).redirectError(ProcessBuilder.Redirect.DISCARD);
        // A sanitizer that was put into this process has no business in a program that loads nothing built for it.
        if (!command.get(0).endsWith("/reference_decoder")) {
            builder.environment().remove("LD_PRELOAD");
        }
        try {
            Process process = builder.start();
            byte[] output = process.getInputStream().readAllBytes();
            assertThat(process.waitFor()).as(String.join(" ", command)).isZero();
            return output;
        } catch (IOException | InterruptedException e) {
            throw new AssertionError(String.join(" ", command), e);
        }
    }

    /** The directories of the virtual machines at hand. */
    public static Stream<String> virtualMachines() {
        return Stream.of(System.getProperty("java.home"), System.getProperty("KIV_JDK21", System.getenv("KIV_JDK21")))
                .filter(home -> home != null && !home.isEmpty());
    }

    /** Runs a class in a virtual machine of its own with this one's settings; it must succeed and may not complain. */
    public static void run(Path directory, String home, List<String> options, Class<?> main, String... arguments)
            throws IOException, InterruptedException {
        List<String> command = new ArrayList<>(List.of(home + "/bin/java",
                "-DKIV_STREAMS_DIR=" + TestMedia.stream("manifest.tsv").getParent()));
        command.addAll(options);
        ManagementFactory.getRuntimeMXBean().getInputArguments().stream().filter("-Xcheck:jni"::equals)
                .forEach(command::add);
        System.getProperties().stringPropertyNames().stream()
                .filter(name -> name.startsWith("kiv.") || name.startsWith("KIV_"))
                .forEach(name -> command.add("-D" + name + "=" + System.getProperty(name)));
        command.addAll(List.of("-cp", System.getProperty("java.class.path"), main.getName()));
        command.addAll(List.of(arguments));
        Path log = directory.resolve("output");
        Process process = new ProcessBuilder(command).directory(directory.toFile()).redirectErrorStream(true)
                .redirectOutput(log.toFile()).start();
        if (!process.waitFor(Long.getLong("kiv.test.minutes", 10), TimeUnit.MINUTES)) {
            process.destroyForcibly().waitFor();
        }
        List<String> lines = Files.readAllLines(log, StandardCharsets.ISO_8859_1);
        String tail = String.join("\n", lines.subList(Math.max(0, lines.size() - 60), lines.size()));
        assertThat(process.exitValue()).as("%s: %s", command, tail).isZero();
        assertThat(lines.stream().filter(line -> COMPLAINT.matcher(line).find()).distinct()).as(main.getName()).isEmpty();
    }
}
