package kiv.media.ffmpeg;

import java.lang.System.Logger;
import java.lang.System.Logger.Level;
import kiv.media.ffmpeg.natives.AudioFormatLayout;
import kiv.media.ffmpeg.natives.AudioParams;
import kiv.media.ffmpeg.natives.AudioStatus;
import kiv.media.ffmpeg.natives.BufferSlots;
import kiv.media.ffmpeg.natives.ColorModelLayout;
import kiv.media.ffmpeg.natives.LogLevel;
import kiv.media.ffmpeg.natives.PictureLayout;
import kiv.media.ffmpeg.natives.ProcessFlags;
import kiv.media.ffmpeg.natives.ProcessResult;
import kiv.media.ffmpeg.natives.VideoFormatLayout;
import kiv.media.ffmpeg.natives.VideoParams;

/**
 * The native entry points of the library and the methods that it calls back.
 *
 * <p>This is the contract underneath the public API, meant for one careful caller: handles are addresses, a null,
 * stale or foreign handle is not detected, and one codec must not be used by two threads at a time. Programs use
 * {@link MediaReader}, {@link VideoDecoder}, {@link AudioDecoder} and {@link AudioEncoder}, which check all of that.
 *
 * <p>The library must have been loaded (see {@link FfmpegLibrary#loadNatives()}) before any native is called. A
 * failure arrives as {@link RuntimeException} (a refused argument or state), {@link OutOfMemoryError} or a plain
 * {@link Error}. An object of this class, or of a subclass, serves as the receiver of the library's log.
 */
public class c_multimediaapi_ffmpeg {

    private static final Logger LOGGER = System.getLogger("kiv.media.ffmpeg");
    private static final ThreadLocal<Boolean> LOGGING = new ThreadLocal<>();

    /** A log receiver that hands the library's lines to the {@link System.Logger} {@code kiv.media.ffmpeg}. */
    public c_multimediaapi_ffmpeg() {
    }

    /**
     * Creates a library context and, the first time in a process, loads FFmpeg.
     *
     * @param directory where FFmpeg's five shared libraries are; null lets the dynamic loader search
     * @param receiver the object whose {@link #print_info} receives the log; null for none
     * @param level a log level that is stored, not used as a filter
     * @return the context's handle, never 0
     */
    public static native long n_init(String directory, c_multimediaapi_ffmpeg receiver, int level);

    /**
     * Drops Java's reference to a context; it lives on while codecs of it exist.
     *
     * @param context a handle of {@link #n_init}
     */
    public static native void n_close(long context);

    /**
     * Creates a video decoder, closed at first.
     *
     * @param context a handle of {@link #n_init}
     * @param subtype the media subtype, a GUID of 36 lower-case characters
     * @param format the compressed video, laid out as {@link VideoFormatLayout}
     * @param extradata the codec's private data, of at least the length that {@code format} says, or null
     * @param models the acceptable picture formats in order of preference, each an {@code int[]} laid out as
     *     {@link ColorModelLayout}; null for the library's default
     * @param codec the object given to the allocation callbacks, held until the codec is deleted
     * @return the codec's handle, never 0
     */
    public static native long n_create_vcodec_to_raw(long context, String subtype, int[] format, byte[] extradata,
            Object[] models, Object codec);

    /**
     * Opens a video decoder.
     *
     * @param codec a codec's handle
     * @return whether it is open now
     */
    public static native boolean n_vcodec_open(long codec);

    /**
     * Closes a video decoder, which can be opened again.
     *
     * @param codec a codec's handle
     * @return true
     */
    public static native boolean n_vcodec_close(long codec);

    /**
     * Forgets what a video decoder holds, for a jump in the stream.
     *
     * @param codec a codec's handle
     * @return true
     */
    public static native boolean n_vcodec_reset(long codec);

    /**
     * Names the kind of codec.
     *
     * @param codec a codec's handle
     * @return the name
     */
    public static native String n_vcodec_get_name(long codec);

    /**
     * Decodes one packet and delivers at most one picture.
     *
     * @param codec a codec's handle
     * @param in the compressed bytes; null only delivers a waiting picture, or with {@link ProcessFlags#DRAIN} ends
     *     the stream: what the decoder holds back comes out
     * @param out element 0 receives what the allocation callback put into {@link BufferSlots#RESULT}
     * @param params laid out as {@link VideoParams}
     * @return one of {@link ProcessResult}
     */
    public static native int n_vcodec_process(long codec, byte[] in, Object[] out, int[] params);

    /**
     * Deletes a video decoder, open or not.
     *
     * @param codec a codec's handle, dead afterwards
     */
    public static native void n_vcodec_delete(long codec);

    /**
     * Describes the pictures that a decoder gives.
     *
     * @param codec a codec's handle
     * @return a new array, laid out as {@link PictureLayout}, or null before a format was chosen
     */
    public static native int[] n_get_vcodec_dst_format(long codec);

    /**
     * Creates an audio decoder, open already, that gives interleaved 16-bit PCM with the channels and rate of its
     * source.
     *
     * @param context a handle of {@link #n_init}
     * @param format the compressed sound, laid out as {@link AudioFormatLayout}
     * @param header the specific header, of at least the length that {@code format} says, or null
     * @return the codec's handle, or 0 when the decoder does not open
     * @throws RuntimeException when there is no decoder for the format
     */
    public static native long n_create_acodec_to_pcm(long context, int[] format, byte[] header);

    /**
     * Creates an audio encoder, open already, that takes interleaved 16-bit PCM with the channels and rate of its
     * target.
     *
     * @param context a handle of {@link #n_init}
     * @param format the target, as in {@link #n_create_acodec_to_pcm}
     * @param header the target's specific header, of at least the length that {@code format} says, or null
     * @return the codec's handle, or 0 when the encoder does not open
     * @throws RuntimeException when there is no encoder for the format
     */
    public static native long n_create_acodec_from_pcm(long context, int[] format, byte[] header);

    /**
     * Opens an audio codec that was closed.
     *
     * @param codec a codec's handle
     * @return whether it is open now
     */
    public static native boolean n_acodec_open(long codec);

    /**
     * Closes an audio codec, which can be opened again; what it holds is dropped.
     *
     * @param codec a codec's handle
     * @return true
     */
    public static native boolean n_acodec_close(long codec);

    /**
     * Forgets what an audio codec holds, output that was not fetched included, for a jump in the stream.
     *
     * @param codec a codec's handle
     * @return true
     */
    public static native boolean n_acodec_reset(long codec);

    /**
     * Names the kind of codec.
     *
     * @param codec a codec's handle
     * @return the name
     */
    public static native String n_acodec_get_name(long codec);

    /**
     * Decodes or encodes a block and delivers everything that is ready. While output of an earlier call waits, no
     * input is taken. A decoder keeps input that it took but could not decode yet, even where {@code params} tells it
     * as not consumed, so it must not be given again; an encoder wants again what it did not consume.
     *
     * @param codec a codec's handle
     * @param in the compressed bytes or the PCM; null with a length of 0
     * @param out receives the PCM or the compressed packets, one behind the other
     * @param params laid out as {@link AudioParams}; with {@link ProcessFlags#DRAIN} and a length of 0 a decoder
     *     decodes what it keeps and comes to its end
     * @return the sum of {@link AudioStatus}
     */
    public static native int n_acodec_process(long codec, byte[] in, byte[] out, int[] params);

    /**
     * Deletes an audio codec, open or not.
     *
     * @param codec a codec's handle, dead afterwards
     */
    public static native void n_acodec_delete(long codec);

    /**
     * Tells the format of what an audio codec takes.
     *
     * @param codec a codec's handle
     * @return a WAVE format header: 18 bytes and the specific header
     */
    public static native byte[] n_get_acodec_src_format(long codec);

    /**
     * Tells the format of what an audio codec gives.
     *
     * @param codec a codec's handle
     * @return a WAVE format header: 18 bytes and the specific header
     */
    public static native byte[] n_get_acodec_dst_format(long codec);

    /**
     * Called by the library to obtain an array for a picture, on the thread that is inside a native. The buffers bound
     * to that thread are asked first, because the library passes the object of the newest codec, which need not be the
     * one at work; then {@code codec} itself when it is a {@link VideoBuffers}; else a plain array is allocated.
     *
     * @param codec the object given to the newest {@link #n_create_vcodec_to_raw}
     * @param layout see {@link VideoBuffers#allocate}
     * @param buffer see {@link VideoBuffers#allocate}
     * @param slots see {@link VideoBuffers#allocate}
     * @return whether there is an array
     */
    static boolean m_vcodec_alloc_buffer(Object codec, int[] layout, int[] buffer, Object[] slots) {
        return ThreadBuffers.forCallback(codec).allocate(layout, buffer, slots);
    }

    /**
     * Called by the library when it is done with an array that it did not hand out.
     *
     * @param codec the object given when the buffer's codec was created
     * @param slots what {@link #m_vcodec_alloc_buffer} filled
     */
    static void m_vcodec_free_buffer(Object codec, Object[] slots) {
        ThreadBuffers.forCallback(codec).free(slots);
    }

    /**
     * Receives one line of the library's log: errors become ERROR, what is more than {@link LogLevel#DEBUG} TRACE and
     * all else DEBUG. A logger that fails does not disturb the call that is logged, and what the library logs while a
     * logger is at work on the same thread is dropped, because a logger may use the library itself.
     *
     * @param level one of {@link LogLevel}
     * @param line the line, with the nesting depth as leading blanks
     */
    public void print_info(int level, String line) {
        if (LOGGING.get() != null) {
            return;
        }
        LOGGING.set(Boolean.TRUE);
        try {
            LOGGER.log(level <= LogLevel.ERROR ? Level.ERROR
                    : level <= LogLevel.DEBUG ? Level.DEBUG : Level.TRACE, line);
        } catch (RuntimeException | Error e) {
            // Thrown on, it would fail the decoding of a picture that is all right.
        } finally {
            LOGGING.remove();
        }
    }

    /** {@return whether the logger takes more than errors} */
    static boolean logs() {
        return LOGGER.isLoggable(Level.DEBUG);
    }
}
