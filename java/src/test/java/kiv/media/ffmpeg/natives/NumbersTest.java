package kiv.media.ffmpeg.natives;

import static org.assertj.core.api.Assertions.assertThat;

import com.tngtech.archunit.core.domain.JavaClass;
import com.tngtech.archunit.core.importer.ClassFileImporter;
import java.lang.reflect.Field;
import java.lang.reflect.Modifier;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.List;
import java.util.regex.Matcher;
import java.util.regex.Pattern;
import org.junit.jupiter.api.Test;

class NumbersTest {

    /** The head of a table names the class, each row a constant and its number. */
    private static final Pattern HEAD_OR_ROW = Pattern.compile("\\| `(\\w+)` \\| (\\w+|-?\\d+|0x\\w+) \\| .*\\|");

    @Test
    void theDocumentHasARowForEveryNumber() throws Exception {
        List<String> declared = new ArrayList<>();
        for (JavaClass type : new ClassFileImporter().importPackagesOf(VideoParams.class)) {
            for (Field field : type.reflect().getFields()) {
                if (field.getType() == int.class && Modifier.isStatic(field.getModifiers())) {
                    declared.add(type.getSimpleName() + "." + field.getName() + " = " + field.getInt(null));
                }
            }
        }
        List<String> documented = new ArrayList<>();
        String table = "";
        for (String line : Files.readAllLines(Path.of("../docs/java_surface.md"))) {
            Matcher row = HEAD_OR_ROW.matcher(line);
            if (row.matches()) {
                boolean head = Character.isLetter(row.group(2).charAt(0));
                table = head ? row.group(1) : table;
                if (!head) {
                    documented.add(table + "." + row.group(1) + " = " + Integer.decode(row.group(2)));
                }
            }
        }
        assertThat(documented).containsExactlyInAnyOrderElementsOf(declared);
    }
}
