package kiv.media.ffmpeg;

/** The bytes are not media that can be read: no known container, or one without the wanted stream. */
public class MediaFormatException extends MediaException {

    private static final long serialVersionUID = 1L;

    /**
     * Creates an exception.
     *
     * @param message what went wrong and what to do
     */
    public MediaFormatException(String message) {
        super(message);
    }

    /**
     * Creates an exception that another one caused.
     *
     * @param message what went wrong and what to do
     * @param cause the cause
     */
    public MediaFormatException(String message, Throwable cause) {
        super(message, cause);
    }
}
