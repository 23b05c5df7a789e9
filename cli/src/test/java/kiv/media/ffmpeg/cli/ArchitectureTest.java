package kiv.media.ffmpeg.cli;

import static com.tngtech.archunit.base.DescribedPredicate.describe;
import static com.tngtech.archunit.base.DescribedPredicate.not;
import static com.tngtech.archunit.core.domain.JavaClass.Predicates.resideInAPackage;
import static com.tngtech.archunit.lang.syntax.ArchRuleDefinition.noClasses;

import com.tngtech.archunit.core.importer.ImportOption;
import com.tngtech.archunit.junit.AnalyzeClasses;
import com.tngtech.archunit.junit.ArchTest;
import com.tngtech.archunit.lang.ArchRule;
import java.lang.module.ModuleFinder;
import java.net.URISyntaxException;
import java.nio.file.Path;
import java.util.Set;
import java.util.stream.Collectors;
import kiv.media.ffmpeg.FfmpegLibrary;

/** The command line uses the library as any program does, which no module system checks on the class path. */
@AnalyzeClasses(packagesOf = Main.class, importOptions = ImportOption.DoNotIncludeTests.class)
class ArchitectureTest {

    private static final Set<String> EXPORTED = exportedPackages();

    @ArchTest
    static final ArchRule ONLY_EXPORTED_PACKAGES_ARE_USED = noClasses().should().dependOnClassesThat(
            resideInAPackage("kiv.media..").and(not(resideInAPackage("kiv.media.ffmpeg.cli..")))
                    .and(describe("are not in " + EXPORTED, type -> !EXPORTED.contains(type.getPackageName()))));

    @ArchTest
    static final ArchRule THE_PAGE_KNOWS_NO_COMMAND = noClasses().that().resideInAPackage("..cli.report")
            .should().dependOnClassesThat().resideInAPackage("..cli");

    /** As the library's compiled module declaration says. */
    private static Set<String> exportedPackages() {
        try {
            Path library = Path.of(FfmpegLibrary.class.getProtectionDomain().getCodeSource().getLocation().toURI());
            return ModuleFinder.of(library).find("kiv.media.ffmpeg").orElseThrow().descriptor().exports().stream()
                    .map(exports -> exports.source()).collect(Collectors.toSet());
        } catch (URISyntaxException e) {
            throw new AssertionError(e);
        }
    }
}
