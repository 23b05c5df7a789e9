package kiv.media.ffmpeg.cli;

import java.io.IOException;

/** An output cannot be written. */
class OutputException extends IOException {

    private static final long serialVersionUID = 1;

    OutputException(String message, Throwable cause) {
        super(message, cause);
    }

    /** The program that reads the output has closed it, which is no failure. */
    static final class ClosedPipe extends OutputException {
        private static final long serialVersionUID = 1;

        ClosedPipe(Throwable cause) {
            super("the reader of standard output has gone", cause);
        }
    }

    /** Names the output that failed, unless the cause names it already. */
    static OutputException of(Object output, IOException cause) {
        return cause instanceof OutputException own ? own
                : new OutputException(output + ": " + FailureReport.reason(cause), cause);
    }
}
