package kiv.media.ffmpeg;

import java.util.function.BiFunction;

/**
 * The root of what this library throws by itself; unchecked. Failures of reading bytes are {@link java.io.IOException},
 * and null or out-of-range arguments are {@link NullPointerException} and {@link IllegalArgumentException}, as usual.
 *
 * <pre>{@code
 * try {
 *     play(Path.of("film.mp4"));
 * } catch (UnsupportedCodecException e) {
 *     show("Nothing here decodes the film: " + e.getMessage());
 * } catch (MediaException e) {
 *     show("The film cannot be played: " + e.getMessage());
 * }
 * }</pre>
 */
public class MediaException extends RuntimeException {

    private static final long serialVersionUID = 1L;

    /**
     * Creates an exception.
     *
     * @param message what went wrong and what to do
     */
    public MediaException(String message) {
        super(message);
    }

    /**
     * Creates an exception that another one caused.
     *
     * @param message what went wrong and what to do
     * @param cause the cause
     */
    public MediaException(String message, Throwable cause) {
        super(message, cause);
    }

    /** A native failure's message without the place in the native code, which the cause still tells. */
    static String plain(Throwable failure) {
        return String.valueOf(failure.getMessage()).replaceFirst(" in line \\d+$", "");
    }

    /**
     * What a native call threw, as what its caller is told: the library's own failures and a lack of memory become ours,
     * what Java code threw inside the call passes through.
     *
     * @param what what was tried, such as "decoding"
     * @param ours makes an exception of a message and a cause
     */
    static RuntimeException of(Throwable failure, String what, BiFunction<String, Throwable, MediaException> ours) {
        if (failure instanceof OutOfMemoryError) {
            return new MediaException("no memory left for " + what + "; close what is not needed any more, or raise -Xmx",
                    failure);
        }
        if (failure.getClass() == RuntimeException.class || failure.getClass() == Error.class) {
            return ours.apply(what + " failed: " + plain(failure), failure);
        }
        if (failure instanceof Error error) {
            throw error;
        }
        return (RuntimeException) failure;
    }
}
