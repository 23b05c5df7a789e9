package kiv.media.ffmpeg.cli;

import static com.tngtech.archunit.base.DescribedPredicate.describe;
import static com.tngtech.archunit.core.domain.JavaClass.Predicates.resideInAPackage;
import static com.tngtech.archunit.lang.syntax.ArchRuleDefinition.noClasses;

import com.tngtech.archunit.base.DescribedPredicate;
import com.tngtech.archunit.core.domain.JavaClass;
import com.tngtech.archunit.core.domain.JavaClasses;
import com.tngtech.archunit.core.importer.ClassFileImporter;
import com.tngtech.archunit.core.importer.ImportOption;
import java.util.Set;
import org.junit.jupiter.api.Test;

/** The command line uses the library as any program does, which no module system checks on the class path. */
class ArchitectureTest {

    private final JavaClasses classes = new ClassFileImporter().withImportOption(new ImportOption.DoNotIncludeTests())
            .importPackagesOf(Main.class);

    @Test
    void onlyExportedPackagesAreUsed() {
        Set<String> exported = Set.of("kiv.media.ffmpeg", "kiv.media.ffmpeg.javasound", "kiv.media.ffmpeg.natives");
        DescribedPredicate<JavaClass> hidden = describe("are of the library but not in " + exported,
                type -> type.getPackageName().matches("kiv\\.media\\.(?!ffmpeg\\.cli).*")
                        && !exported.contains(type.getPackageName()));
        noClasses().should().dependOnClassesThat(hidden).check(classes);
    }

    @Test
    void thePageKnowsNoCommand() {
        noClasses().that(resideInAPackage("..cli.report")).should().dependOnClassesThat().resideInAPackage("..cli")
                .check(classes);
    }
}
