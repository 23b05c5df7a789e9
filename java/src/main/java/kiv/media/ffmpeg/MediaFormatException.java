package kiv.media.ffmpeg;

/** The bytes are no readable media: an unknown or damaged container, or one without the wanted stream. */
public class MediaFormatException extends MediaException {

    private static final long serialVersionUID = 1L;

    /**
     * Creates an exception.
     *
     * @param message what failed, and what to do about it
     */
    public MediaFormatException(String message) {
        super(message);
    }

    /**
     * Creates an exception with a cause.
     *
     * @param message what failed, and what to do about it
     * @param cause the cause
     */
    public MediaFormatException(String message, Throwable cause) {
        super(message, cause);
    }
}
