package kiv.media.ffmpeg.cli;

import java.io.IOException;

/** An output cannot be written. */
class OutputException extends IOException {

    private static final long serialVersionUID = 1;

    OutputException(String message, Throwable cause) {
        super(message, cause);
    }

    /** The one who read the output has enough of it, which is nobody's fault. */
    static final class ClosedPipe extends OutputException {
        private static final long serialVersionUID = 1;

        ClosedPipe(Throwable cause) {
            super("the reader of standard output has gone", cause);
        }
    }

    /** Says which output failed, unless that is said already. */
    static OutputException of(Object output, IOException cause) {
        return cause instanceof OutputException own ? own
                : new OutputException(output + ": " + Failures.reason(cause), cause);
    }
}
