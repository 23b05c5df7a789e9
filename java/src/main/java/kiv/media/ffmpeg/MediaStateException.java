package kiv.media.ffmpeg;

/** A closed object was called, or one that is inside a call: by a second thread, or by its own callback. */
public class MediaStateException extends MediaException {

    private static final long serialVersionUID = 1L;

    /**
     * Creates an exception.
     *
     * @param message what failed, and what to do about it
     */
    public MediaStateException(String message) {
        super(message);
    }

    /**
     * Creates an exception with a cause.
     *
     * @param message what failed, and what to do about it
     * @param cause the cause
     */
    public MediaStateException(String message, Throwable cause) {
        super(message, cause);
    }
}
