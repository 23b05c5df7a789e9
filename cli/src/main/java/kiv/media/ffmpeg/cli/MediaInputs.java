package kiv.media.ffmpeg.cli;

import java.io.IOException;
import java.util.HashSet;
import java.util.List;
import java.util.Set;
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

    boolean areSeveral() {
        return arguments.size() > 1;
    }

    /** Returns the first file. */
    MediaInput first() {
        return new MediaInput(arguments.get(0), library);
    }

    /**
     * Works on each file. When one of several cannot be read, that is reported and the others follow.
     *
     * @return the exit status of the first failure; else {@link ExitStatus#INCOMPLETE} if one of the files was
     */
    int each(CommandLine command, Work work) throws IOException {
        if (!areSeveral()) {
            return work.on(first(), first().baseName());
        }
        int status = ExitStatus.OK;
        Set<String> names = new HashSet<>();
        for (String argument : arguments) {
            MediaInput input = new MediaInput(argument, library);
            int result;
            try {
                result = work.on(input, unused(input.baseName(), names));
            } catch (IOException | RuntimeException e) {
                result = FailureReport.failed(e, command);
                if (result != ExitStatus.INPUT && result != ExitStatus.UNSUPPORTED || ShutdownGuard.isEnding()) {
                    return result;
                }
            }
            status = status == ExitStatus.OK || status == ExitStatus.INCOMPLETE && result != ExitStatus.OK ? result : status;
        }
        return status;
    }

    private static String unused(String name, Set<String> used) {
        String unused = name;
        for (int number = 2; !used.add(unused); number++) {
            unused = name + "-" + number;
        }
        return unused;
    }
}
