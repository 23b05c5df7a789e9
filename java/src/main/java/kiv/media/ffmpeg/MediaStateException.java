package kiv.media.ffmpeg;

/** An object was used after it was closed, by a second thread while a call was running, or out of its own callback. */
public class MediaStateException extends MediaException {

    private static final long serialVersionUID = 1L;

    /**
     * Creates an exception.
     *
     * @param message what went wrong and what to do
     */
    public MediaStateException(String message) {
        super(message);
    }

    /**
     * Creates an exception that another one caused.
     *
     * @param message what went wrong and what to do
     * @param cause the cause
     */
    public MediaStateException(String message, Throwable cause) {
        super(message, cause);
    }
}
