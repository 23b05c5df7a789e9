package kiv.media.ffmpeg.cli;

import java.io.IOException;
import java.io.PrintWriter;
import java.io.StringWriter;
import java.io.UncheckedIOException;
import java.nio.file.AccessDeniedException;
import java.nio.file.FileAlreadyExistsException;
import java.nio.file.FileSystemException;
import java.nio.file.Files;
import java.nio.file.NoSuchFileException;
import java.nio.file.Path;
import kiv.media.ffmpeg.LibraryException;
import kiv.media.ffmpeg.MediaException;
import kiv.media.ffmpeg.UnsupportedCodecException;
import kiv.media.ffmpeg.WorkerException;
import kiv.media.ffmpeg.cli.report.VisibleText;
import picocli.CommandLine;
import picocli.CommandLine.ParameterException;
import picocli.CommandLine.ParseResult;
import picocli.CommandLine.UnmatchedArgumentException;

/** Reports a failure as one line on standard error and an exit status, and a warning as a line. */
final class FailureReport {

    private FailureReport() {
    }

    static int wrongUsage(ParameterException failure, String[] args) {
        CommandLine command = failure.getCommandLine();
        String message = failure instanceof UnmatchedArgumentException unmatched ? describe(unmatched)
                : failure.getMessage().lines().findFirst().orElse("wrong usage");
        print(message + " (try '" + command.getCommandSpec().qualifiedName() + " --help')", command.getErr());
        return ExitStatus.USAGE;
    }

    private static String describe(UnmatchedArgumentException failure) {
        CommandLine command = failure.getCommandLine();
        String first = failure.getUnmatched().get(0);
        if (!failure.isUnknownOption() && command.getSubcommands().isEmpty()) {
            return "one argument too many: '" + first + "'";
        }
        if (!failure.isUnknownOption() && Files.exists(Path.of(FileNames.encodable(first)))) {
            return "what to do with '" + first + "'? Write a command in front of it, such as info or decode";
        }
        return "unknown " + (failure.isUnknownOption() ? "option" : "command") + " '" + first + "'"
                + failure.getSuggestions().stream().findFirst().map(likely -> "; did you mean '" + likely + "'?").orElse("");
    }

    static int failed(Exception failure, CommandLine command, ParseResult parsed) {
        return failed(failure, command);
    }

    /** Reports the failure of a subcommand. */
    static int failed(Exception failure, CommandLine command) {
        if (failure instanceof ParameterException wrong) {
            return wrongUsage(wrong, new String[0]);
        }
        if (ShutdownGuard.isEnding()) {
            // The work fails because of the signal, which has a status of its own.
            return ExitStatus.INPUT;
        }
        int status = status(failure);
        if (command.getParseResult().hasMatchedOption("-v")) {
            StringWriter trace = new StringWriter();
            failure.printStackTrace(new PrintWriter(trace));
            trace.toString().lines().map(line -> line.replace("\t", "    ")).map(VisibleText::of)
                    .forEach(command.getErr()::println);
        }
        if (status != ExitStatus.CLOSED_PIPE) {
            print(describe(failure), command.getErr());
        }
        return status;
    }

    /** Reports what the virtual machine lacks, such as memory or a class. */
    static int failed(Error failure) {
        print(failure instanceof OutOfMemoryError ? "not enough memory (" + failure.getMessage() + ")"
                : "unexpected: " + failure, new PrintWriter(System.err, true));
        return ExitStatus.INTERNAL;
    }

    static void warn(CommandLine command, String message) {
        warn(command.getErr(), message);
    }

    static void warn(PrintWriter to, String message) {
        to.println("warning: " + oneLine(message));
        to.flush();
    }

    private static int status(Exception failure) {
        if (failure instanceof UncheckedIOException wrapped) {
            return status(wrapped.getCause());
        }
        if (failure instanceof OutputException) {
            return failure instanceof OutputException.ClosedPipe ? ExitStatus.CLOSED_PIPE : ExitStatus.OUTPUT;
        }
        if (failure instanceof UnsupportedCodecException || failure instanceof UnsupportedOperationException) {
            return ExitStatus.UNSUPPORTED;
        }
        if (failure instanceof LibraryException) {
            return ExitStatus.LIBRARY;
        }
        if (failure instanceof KilledException || failure instanceof WorkerException) {
            return ExitStatus.KILLED;
        }
        return failure instanceof MediaException || failure instanceof IOException ? ExitStatus.INPUT
                : ExitStatus.INTERNAL;
    }

    static void failed(PrintWriter to, String message) {
        print(message, to);
    }

    private static void print(String message, PrintWriter to) {
        to.println("error: " + oneLine(message));
        to.flush();
    }

    private static String oneLine(String message) {
        return VisibleText.of(message.replaceAll("\\R", " "));
    }

    private static String describe(Exception failure) {
        if (failure instanceof UncheckedIOException wrapped) {
            return describe(wrapped.getCause());
        }
        if (failure instanceof FileSystemException e) {
            return e.getFile() + ": " + reason(e);
        }
        if (status(failure) != ExitStatus.INTERNAL) {
            return reason(failure);
        }
        return "unexpected: " + failure + " (-v tells more)";
    }

    /** Returns why something failed, without the file's name where the exception holds that apart. */
    static String reason(Exception failure) {
        if (failure instanceof NoSuchFileException) {
            return "no such file";
        }
        if (failure instanceof AccessDeniedException) {
            return "permission denied";
        }
        if (failure instanceof FileAlreadyExistsException) {
            return "exists and is not a directory";
        }
        if (failure instanceof FileSystemException e) {
            return e.getReason() == null ? "cannot be used" : e.getReason();
        }
        return failure.getMessage() == null ? failure.toString() : failure.getMessage();
    }
}
