package kiv.media.ffmpeg.cli;

import java.io.PrintWriter;
import java.util.concurrent.Callable;
import picocli.AutoComplete;
import picocli.CommandLine;
import picocli.CommandLine.Command;
import picocli.CommandLine.Model.CommandSpec;
import picocli.CommandLine.Spec;

/** Writes the script that lets a shell complete commands and options. */
@Command(name = "completion", mixinStandardHelpOptions = true, versionProvider = Version.class, sortOptions = false,
        header = "Writes a script that lets bash or zsh complete commands.",
        description = {"", "It is for a program named kivjniffmpeg, and goes to standard output:", "",
            "  source <(kivjniffmpeg completion)", ""})
final class CompletionCommand implements Callable<Integer> {

    @Spec
    private CommandSpec spec;

    @Override
    public Integer call() throws OutputException {
        CommandLine root = spec.root().commandLine();
        PrintWriter out = spec.commandLine().getOut();
        out.print(AutoComplete.bash(root.getCommandName(), root));
        OutputFile.flushStandardOutput(out);
        return ExitStatus.OK;
    }
}
