package kiv.media.ffmpeg;

/** Sound cannot be encoded. */
public class EncodeException extends MediaException {

    private static final long serialVersionUID = 1L;

    /**
     * Creates an exception.
     *
     * @param message what failed, and what to do about it
     */
    public EncodeException(String message) {
        super(message);
    }

    /**
     * Creates an exception with a cause.
     *
     * @param message what failed, and what to do about it
     * @param cause the cause
     */
    public EncodeException(String message, Throwable cause) {
        super(message, cause);
    }
}
