package kiv.media.ffmpeg.cli;

import kiv.media.ffmpeg.WorkerException;

/** A film has ended the process that decoded it, and nothing of it was decoded before. */
final class KilledException extends RuntimeException {

    private static final long serialVersionUID = 1;

    private static final int SIGKILL = 9;

    /** @param input the film */
    KilledException(MediaInput input, WorkerException death) {
        super(input.about(describe(death)), death);
    }

    /** {@return what has happened to the process that decoded, for people} */
    static String describe(WorkerException death) {
        return "its decoder " + switch (death.reason()) {
            case SIGNAL -> (death.signal() == SIGKILL ? "was killed" : "crashed") + " (signal " + death.signal() + ")";
            case EXIT -> "ended by itself";
            case MEMORY -> "needed more memory than it may have";
            case TIME -> "needed more processor time than it may have";
            case DEADLINE -> "made no progress for too long";
            case FORBIDDEN -> "called the system for what is forbidden";
            case LIE -> "gave answers that cannot be";
        } + (death.packets() == 0 ? "" : " at packet " + death.packets());
    }
}
