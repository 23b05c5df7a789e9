package kiv.media.ffmpeg;

import static com.tngtech.archunit.base.DescribedPredicate.not;
import static com.tngtech.archunit.core.domain.JavaClass.Predicates.resideInAPackage;
import static com.tngtech.archunit.library.Architectures.layeredArchitecture;

import com.tngtech.archunit.core.importer.ClassFileImporter;
import com.tngtech.archunit.core.importer.ImportOption;
import org.junit.jupiter.api.Test;

/**
 * Who may use whom, seen in the compiled classes: constants, which the compiler copies, leave no trace there. That public
 * signatures name exported types only is checked by the compiler.
 */
class ArchitectureTest {

    @Test
    void everyArrowPointsDown() {
        layeredArchitecture().consideringAllDependencies()
                .layer("javasound").definedBy("kiv.media.ffmpeg.javasound")
                .layer("API").definedBy("kiv.media.ffmpeg")
                .layer("loading").definedBy("kiv.media.ffmpeg.loading")
                .layer("headers").definedBy("kiv.media.ffmpeg.headers")
                .layer("io").definedBy("kiv.media.ffmpeg.io")
                .layer("index").definedBy("kiv.media.ffmpeg.index")
                .layer("wall").definedBy("kiv.media.ffmpeg.wall")
                .layer("natives").definedBy("kiv.media.ffmpeg.natives")
                .whereLayer("javasound").mayNotBeAccessedByAnyLayer()
                .whereLayer("API").mayOnlyBeAccessedByLayers("javasound")
                .whereLayer("loading").mayOnlyBeAccessedByLayers("API")
                .whereLayer("headers").mayOnlyBeAccessedByLayers("javasound", "API")
                .whereLayer("io").mayOnlyBeAccessedByLayers("javasound", "API")
                .whereLayer("index").mayOnlyBeAccessedByLayers("API")
                .whereLayer("wall").mayOnlyBeAccessedByLayers("API")
                .whereLayer("natives").mayOnlyBeAccessedByLayers("API", "wall")
                .ensureAllClassesAreContainedInArchitectureIgnoring(not(resideInAPackage("kiv.media..")))
                .check(new ClassFileImporter().withImportOption(new ImportOption.DoNotIncludeTests())
                        .importPackagesOf(FfmpegLibrary.class));
    }
}
