package kiv.media.ffmpeg;

/** Sound could not be encoded. */
public class EncodeException extends MediaException {

    private static final long serialVersionUID = 1L;

    /**
     * Creates an exception.
     *
     * @param message what went wrong and what to do
     */
    public EncodeException(String message) {
        super(message);
    }

    /**
     * Creates an exception that another one caused.
     *
     * @param message what went wrong and what to do
     * @param cause the cause
     */
    public EncodeException(String message, Throwable cause) {
        super(message, cause);
    }
}
