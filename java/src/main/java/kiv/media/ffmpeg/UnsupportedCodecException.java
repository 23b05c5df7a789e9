package kiv.media.ffmpeg;

/** The library has no decoder for a stream, or no encoder for a format. */
public class UnsupportedCodecException extends MediaException {

    private static final long serialVersionUID = 1L;

    /**
     * Creates an exception.
     *
     * @param message what failed, and what to do about it
     */
    public UnsupportedCodecException(String message) {
        super(message);
    }

    /**
     * Creates an exception with a cause.
     *
     * @param message what failed, and what to do about it
     * @param cause the cause
     */
    public UnsupportedCodecException(String message, Throwable cause) {
        super(message, cause);
    }
}
