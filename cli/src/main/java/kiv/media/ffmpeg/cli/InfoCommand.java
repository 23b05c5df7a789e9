package kiv.media.ffmpeg.cli;

import java.io.IOException;
import java.io.PrintWriter;
import java.util.concurrent.Callable;
import kiv.media.ffmpeg.MediaReader;
import picocli.CommandLine.Command;
import picocli.CommandLine.Mixin;
import picocli.CommandLine.Model.CommandSpec;
import picocli.CommandLine.Option;
import picocli.CommandLine.Spec;

/** Shows what a file holds. */
@Command(name = "info", mixinStandardHelpOptions = true, versionProvider = Version.class, sortOptions = false,
        header = "Tells what media files hold: their containers, tags, streams, chapters and programs.")
final class InfoCommand implements Callable<Integer> {

    @Mixin
    private MediaInputs inputs;

    @Option(names = "--json", description = "Write JSON: an object, or an array of them for several files. Names and"
            + " forms are those of ffprobe -of json; what a file does not tell is left out.")
    private boolean json;

    @Spec
    private CommandSpec spec;

    private boolean printed;

    @Override
    public Integer call() throws IOException {
        PrintWriter out = spec.commandLine().getOut();
        int status;
        if (json) {
            try (Json objects = new Json(out, inputs.areSeveral())) {
                status = inputs.each(spec.commandLine(), (input, name) -> look(input,
                        reader -> objects.write(to -> new ProbeJson(to).write(input, reader))));
            }
        } else {
            status = inputs.each(spec.commandLine(), (input, name) -> look(input, reader -> print(input, reader, out)));
        }
        OutputFile.flushStandardOutput(out);
        return status;
    }

    /** Shows what a reader tells. */
    @FunctionalInterface
    private interface Display {
        void of(MediaReader reader) throws IOException;
    }

    private int look(MediaInput input, Display display) throws IOException {
        try (MediaReader reader = input.openForward()) {
            display.of(reader);
            OutputFile.flushStandardOutput(spec.commandLine().getOut());
            // Everything asked for is there, so the exit status is that of a whole file.
            input.missingEnd().ifPresent(missing -> FailureReport.warn(spec.commandLine(), input.about(missing)));
        }
        return ExitStatus.OK;
    }

    private void print(MediaInput input, MediaReader reader, PrintWriter out) {
        if (printed) {
            out.println();
        }
        printed = true;
        new InfoText(out).print(input, reader);
    }
}
