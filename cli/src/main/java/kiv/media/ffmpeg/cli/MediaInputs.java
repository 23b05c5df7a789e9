package kiv.media.ffmpeg.cli;

import java.io.IOException;
import java.util.HashSet;
import java.util.List;
import java.util.Set;
import kiv.media.ffmpeg.WorkerException;
import picocli.CommandLine;
import picocli.CommandLine.Mixin;
import picocli.CommandLine.Parameters;

/** The media files that a command reads, one after the other. */
final class MediaInputs {

    /** What a command does with a file. */
    @FunctionalInterface
    interface Work {

        /**
         * @param name the name of its outputs, which no other of the files has
         * @return the exit status
         */
        int on(MediaInput input, String name) throws IOException;
    }

    @Parameters(paramLabel = "FILE", arity = "1..*", description = "The media files; - reads standard input.")
    private List<String> arguments;

    @Mixin
    private LibraryOptions library;

    @Mixin
    private WallOption wall;

    boolean areSeveral() {
        return arguments.size() > 1;
    }

    /** Returns the first file. */
    MediaInput first() {
        return new MediaInput(arguments.get(0), library, wall);
    }

    /**
     * Works on each file. When one of several cannot be read, that is reported and the others follow.
     *
     * @return the exit status of the first failure; else {@link ExitStatus#INCOMPLETE} if one of the files was
     */
    int each(CommandLine command, Work work) throws IOException {
        if (!areSeveral()) {
            return run(work, first(), first().baseName());
        }
        int status = ExitStatus.OK;
        Set<String> names = new HashSet<>();
        for (String argument : arguments) {
            MediaInput input = new MediaInput(argument, library, wall);
            int result;
            try {
                result = run(work, input, unused(input.baseName(), names));
            } catch (IOException | RuntimeException e) {
                result = FailureReport.failed(e, command);
                boolean isInputs = List.of(ExitStatus.INPUT, ExitStatus.UNSUPPORTED, ExitStatus.KILLED).contains(result);
                if (!isInputs || ShutdownGuard.isEnding()) {
                    return result;
                }
            }
            status = status == ExitStatus.OK || status == ExitStatus.INCOMPLETE && result != ExitStatus.OK ? result : status;
        }
        return status;
    }

    private static int run(Work work, MediaInput input, String name) throws IOException {
        try {
            return work.on(input, name);
        } catch (WorkerException e) {
            throw new KilledException(input, e);
        }
    }

    private static String unused(String name, Set<String> used) {
        String unused = name;
        for (int number = 2; !used.add(unused); number++) {
            unused = name + "-" + number;
        }
        return unused;
    }
}
