package kiv.media.ffmpeg;

/** There is no decoder for a stream, or none for the wanted pictures, or no encoder for a format. */
public class UnsupportedCodecException extends MediaException {

    private static final long serialVersionUID = 1L;

    /**
     * Creates an exception.
     *
     * @param message what went wrong and what to do
     */
    public UnsupportedCodecException(String message) {
        super(message);
    }

    /**
     * Creates an exception that another one caused.
     *
     * @param message what went wrong and what to do
     * @param cause the cause
     */
    public UnsupportedCodecException(String message, Throwable cause) {
        super(message, cause);
    }
}
