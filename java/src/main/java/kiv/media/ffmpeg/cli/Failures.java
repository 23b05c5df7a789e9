package kiv.media.ffmpeg.cli;

import java.io.IOException;
import java.io.UncheckedIOException;
import java.nio.file.AccessDeniedException;
import java.nio.file.FileAlreadyExistsException;
import java.nio.file.FileSystemException;
import java.nio.file.NoSuchFileException;
import kiv.media.ffmpeg.MediaException;
import picocli.CommandLine;
import picocli.CommandLine.ParameterException;
import picocli.CommandLine.ParseResult;

/** Turns every failure into one line on standard error and an exit status. */
final class Failures {

    private Failures() {
    }

    static int wrongUsage(ParameterException failure, String[] args) {
        CommandLine command = failure.getCommandLine();
        print(failure.getMessage().lines().findFirst().orElse("wrong usage") + " (try '"
                + command.getCommandSpec().qualifiedName() + " --help')", command);
        return CommandLine.ExitCode.USAGE;
    }

    static int failed(Exception failure, CommandLine command, ParseResult parsed) {
        if (parsed.subcommand() != null && parsed.subcommand().hasMatchedOption("-v")) {
            failure.printStackTrace(command.getErr());
        }
        print(describe(failure), command);
        return CommandLine.ExitCode.SOFTWARE;
    }

    private static void print(String message, CommandLine command) {
        command.getErr().println("error: " + message.replaceAll("\\R", " "));
        command.getErr().flush();
    }

    private static String describe(Exception failure) {
        if (failure instanceof UncheckedIOException wrapped) {
            return describe(wrapped.getCause());
        }
        if (failure instanceof NoSuchFileException e) {
            return e.getFile() + ": no such file";
        }
        if (failure instanceof AccessDeniedException e) {
            return e.getFile() + ": permission denied";
        }
        if (failure instanceof FileAlreadyExistsException e) {
            return e.getFile() + ": exists and is not a directory";
        }
        if (failure instanceof FileSystemException e) {
            return e.getFile() + ": " + (e.getReason() == null ? "cannot be used" : e.getReason());
        }
        if (failure instanceof MediaException || failure instanceof IOException) {
            return failure.getMessage() == null ? failure.toString() : failure.getMessage();
        }
        return "unexpected: " + failure + " (-v tells more)";
    }
}
