package kiv.media.ffmpeg.recipes;

import static org.assertj.core.api.Assertions.assertThat;

import java.awt.image.BufferedImage;
import java.io.InputStream;
import java.lang.reflect.Method;
import java.net.URL;
import java.net.URLClassLoader;
import java.nio.file.Files;
import java.nio.file.Path;
import java.time.Duration;
import java.util.ArrayList;
import java.util.List;
import java.util.Map;
import java.util.function.Consumer;
import java.util.regex.Pattern;
import java.util.stream.Collectors;
import java.util.stream.Stream;
import javax.tools.ToolProvider;
import kiv.media.ffmpeg.TestMedia;
import org.junit.jupiter.api.BeforeAll;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;

/** The recipes of the API's package page, compiled as they stand there. */
class RecipesTest {

    private static final String IMPORTS = Stream.of("java.awt.image", "java.io", "java.nio.file", "java.time", "java.util",
            "java.util.function", "java.util.stream", "javax.imageio", "javax.sound.sampled", "kiv.media.ffmpeg")
            .map(name -> "import " + name + ".*;\n").collect(Collectors.joining());

    @TempDir
    private static Path directory;
    private static Class<?> recipes;

    @BeforeAll
    static void compile() throws Exception {
        String page = Files.readString(Path.of("src/main/java/kiv/media/ffmpeg/package-info.java"));
        String methods = Pattern.compile("<pre>\\{@code\\n(.*?)}</pre>", Pattern.DOTALL).matcher(page).results()
                .map(recipe -> recipe.group(1)).collect(Collectors.joining("\n")).replaceAll("(?m)^ \\*", "");
        Path source = Files.writeString(directory.resolve("Recipes.java"), IMPORTS + "class Recipes {\n" + methods + "}\n");
        assertThat(ToolProvider.getSystemJavaCompiler().run(null, null, null, "-cp", System.getProperty("java.class.path"),
                source.toString())).isZero();
        recipes = new URLClassLoader(new URL[] {directory.toUri().toURL()}).loadClass("Recipes");
    }

    private static Object run(String name, Object... arguments) throws ReflectiveOperationException {
        Method recipe = Stream.of(recipes.getDeclaredMethods()).filter(method -> method.getName().equals(name)).findFirst()
                .orElseThrow();
        recipe.setAccessible(true);
        return recipe.invoke(null, arguments);
    }

    @Test
    void picturesAreMade() throws Exception {
        assertThat((String) run("whatIs", TestMedia.stream("tagged.mp3"))).contains("坂本 龍一", "第二章", "AUDIO mp3 mono");
        run("thumbnails", TestMedia.film(), directory, 3);
        assertThat(Files.readAllBytes(directory.resolve("2.png"))).isNotEqualTo(Files.readAllBytes(directory.resolve("0.png")));
        assertThat(run("thumbnail", TestMedia.film(), directory.resolve("one.png"))).isEqualTo(true);
        List<BufferedImage> shown = new ArrayList<>();
        try (InputStream camera = Files.newInputStream(TestMedia.stream("h264_320x240.h264"))) {
            run("rawH264", camera, (Consumer<BufferedImage>) shown::add);
        }
        assertThat(shown).hasSize(30).allMatch(image -> image.getWidth() == 320);
    }

    @Test
    void soundIsWrittenAndMeasured() throws Exception {
        Path song = TestMedia.stream("mp3.mp3");
        Path wav = directory.resolve("song.wav");
        run("soundToWav", song, wav);
        assertThat(Files.size(wav)).isEqualTo(44 + 44100 * 4);
        assertThat(((Map<?, ?>) run("lengths", List.of(song, wav))).values()).hasSize(2)
                .allMatch(length -> ((Duration) length).toMillis() >= 999);
    }
}
