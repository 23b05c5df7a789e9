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
import kiv.media.ffmpeg.natives.c_codecoptions_ffmpeg;

/**
 * The native entry points of the library, and the methods that it calls.
 *
 * <p>This is the contract below the public API, for one careful caller. Handles are addresses: 0 raises a
 * {@link RuntimeException}, but the library does not detect a stale or foreign handle. Two threads must not use one codec
 * at the same time. Programs use {@link MediaReader}, {@link VideoDecoder}, {@link AudioDecoder} and
 * {@link AudioEncoder}, which check all of that.
 *
 * <p>The library must be loaded before any native is called; see {@link FfmpegLibrary#loadNatives()}. Failures are a
 * {@link RuntimeException} for a refused argument or state, an {@link OutOfMemoryError} or a plain {@link Error}. An
 * object of this class, or of a subclass, receives the library's log.
 */
public class c_multimediaapi_ffmpeg {

    private static final Logger LOGGER = System.getLogger("kiv.media.ffmpeg");
    private static final ThreadLocal<Boolean> LOGGING = new ThreadLocal<>();

    /** Creates a log receiver that logs to the {@link System.Logger} {@code kiv.media.ffmpeg}. */
    public c_multimediaapi_ffmpeg() {
    }

    /**
     * Creates a library context. The first call in a process loads FFmpeg.
     *
     * @param directory the directory of FFmpeg's five shared libraries; with null the dynamic loader searches for them
     * @param receiver the object whose {@link #print_info} receives the log; null for none
     * @param level a log level, which the library stores but does not filter by
     * @return the context's handle, never 0
     */
    public static native long n_init(String directory, c_multimediaapi_ffmpeg receiver, int level);

    /**
     * Releases Java's reference to a context. The context exists as long as its codecs, readers and converters do. Its
     * end silences the log of all contexts.
     *
     * @param context a handle of {@link #n_init}
     */
    public static native void n_close(long context);

    /**
     * Creates a closed video decoder.
     *
     * @param context a handle of {@link #n_init}
     * @param subtype the media subtype, a GUID of 36 lower-case characters
     * @param format the compressed video, laid out as {@link VideoFormatLayout}
     * @param extradata the codec's private data, of at least the length that {@code format} says; null for none
     * @param models the acceptable picture formats in order of preference, each an {@code int[]} laid out as
     *     {@link ColorModelLayout}, at least one of which the library has; null elements are left out. Null instead of
     *     the array stands for one model without a pixel format, into which no picture can be converted: it is for
     *     {@link c_codecoptions_ffmpeg#NATIVE_FORMAT}
     * @param codec the object that the allocation callbacks receive from now on. The context keeps it until it gets
     *     another codec or this one is deleted
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
     * Closes a video decoder. It can be opened again.
     *
     * @param codec a codec's handle
     * @return true
     */
    public static native boolean n_vcodec_close(long codec);

    /**
     * Drops the data that a video decoder holds, for a jump in the stream.
     *
     * @param codec a codec's handle
     * @return true
     */
    public static native boolean n_vcodec_reset(long codec);

    /**
     * Returns the name of the kind of codec.
     *
     * @param codec a codec's handle
     * @return the name
     */
    public static native String n_vcodec_get_name(long codec);

    /**
     * Decodes one packet and delivers at most one picture.
     *
     * @param codec a codec's handle
     * @param in the compressed bytes; with null the call delivers a waiting picture, or with {@link ProcessFlags#DRAIN}
     *     ends the stream and delivers the pictures that the decoder holds back
     * @param out element 0 receives the object that the allocation callback stored in {@link BufferSlots#RESULT}
     * @param params laid out as {@link VideoParams}
     * @return one of {@link ProcessResult}
     */
    public static native int n_vcodec_process(long codec, byte[] in, Object[] out, int[] params);

    /**
     * Deletes a video decoder, open or not.
     *
     * @param codec a codec's handle, invalid after the call
     */
    public static native void n_vcodec_delete(long codec);

    /**
     * Describes the pictures that a decoder delivers.
     *
     * @param codec a codec's handle
     * @return a new array, laid out as {@link PictureLayout}; null before the decoder has chosen a format
     */
    public static native int[] n_get_vcodec_dst_format(long codec);

    /**
     * Creates an open audio decoder that delivers interleaved 16-bit PCM with the channels and the rate of its source.
     *
     * @param context a handle of {@link #n_init}
     * @param format the compressed sound, laid out as {@link AudioFormatLayout}
     * @param header the specific header, at least as long as {@code format} states; null for none
     * @return the codec's handle, or 0 when the decoder does not open
     * @throws RuntimeException when FFmpeg has no decoder for the format
     */
    public static native long n_create_acodec_to_pcm(long context, int[] format, byte[] header);

    /**
     * Creates an open audio encoder that reads interleaved 16-bit PCM with the channels and the rate of its target.
     *
     * @param context a handle of {@link #n_init}
     * @param format the target, as in {@link #n_create_acodec_to_pcm}
     * @param header the target's specific header, at least as long as {@code format} states; null for none
     * @return the codec's handle, or 0 when the encoder does not open
     * @throws RuntimeException when FFmpeg has no encoder for the format
     */
    public static native long n_create_acodec_from_pcm(long context, int[] format, byte[] header);

    /**
     * Opens a closed audio codec.
     *
     * @param codec a codec's handle
     * @return whether it is open now
     */
    public static native boolean n_acodec_open(long codec);

    /**
     * Closes an audio codec and drops the data that it holds. It can be opened again.
     *
     * @param codec a codec's handle
     * @return true
     */
    public static native boolean n_acodec_close(long codec);

    /**
     * Drops the data that an audio codec holds, with its waiting output, for a jump in the stream.
     *
     * @param codec a codec's handle
     * @return true
     */
    public static native boolean n_acodec_reset(long codec);

    /**
     * Returns the name of the kind of codec.
     *
     * @param codec a codec's handle
     * @return the name
     */
    public static native String n_acodec_get_name(long codec);

    /**
     * Decodes or encodes a block and delivers all output that is ready. While output of an earlier call waits, the
     * codec reads no input. A decoder keeps input that it cannot decode yet, even if {@code params} reports it as not
     * consumed: do not repeat it. An encoder needs the input that it did not consume again, and so does a decoder with
     * {@link ProcessFlags#WHOLE_PACKET}.
     *
     * @param codec a codec's handle
     * @param in the compressed bytes or the PCM; null with a length of 0
     * @param out receives the PCM or the compressed packets, one after the other
     * @param params laid out as {@link AudioParams}; with {@link ProcessFlags#DRAIN} and a length of 0 a decoder
     *     decodes the input that it keeps and ends the stream
     * @return the sum of {@link AudioStatus}
     */
    public static native int n_acodec_process(long codec, byte[] in, byte[] out, int[] params);

    /**
     * Deletes an audio codec, open or not.
     *
     * @param codec a codec's handle, invalid after the call
     */
    public static native void n_acodec_delete(long codec);

    /**
     * Returns the format of an audio codec's input.
     *
     * @param codec a codec's handle
     * @return a WAVE format header: 18 bytes and the specific header
     */
    public static native byte[] n_get_acodec_src_format(long codec);

    /**
     * Returns the format of an audio codec's output.
     *
     * @param codec a codec's handle
     * @return a WAVE format header: 18 bytes and the specific header
     */
    public static native byte[] n_get_acodec_dst_format(long codec);

    /**
     * Provides the memory for a picture. The library calls it inside {@link #n_vcodec_process} only. The memory comes
     * from the buffers that the thread has bound, because the library passes the object of its newest codec, which need
     * not be the codec at work. Otherwise it comes from {@code codec} if that is a {@link VideoBuffers}, or is a new
     * array.
     *
     * @param codec the object passed to the newest {@link #n_create_vcodec_to_raw} of the context; null when that codec
     *     is deleted
     * @param layout see {@link VideoBuffers#allocate}
     * @param buffer see {@link VideoBuffers#allocate}
     * @param slots see {@link VideoBuffers#allocate}
     * @return whether there is memory
     */
    static boolean m_vcodec_alloc_buffer(Object codec, int[] layout, int[] buffer, Object[] slots) {
        return ThreadBuffers.forCallback(codec).allocate(layout, buffer, slots);
    }

    /**
     * Receives memory that the library does not use any more and has not delivered as an array. The library calls it
     * inside natives that decode, reset, close or delete a codec.
     *
     * @param codec as in {@link #m_vcodec_alloc_buffer}: not always the object of the codec whose memory it is
     * @param slots the elements that {@link #m_vcodec_alloc_buffer} filled
     */
    static void m_vcodec_free_buffer(Object codec, Object[] slots) {
        ThreadBuffers.forCallback(codec).free(slots);
    }

    /**
     * Receives one line of the library's log. Errors become ERROR, levels above {@link LogLevel#DEBUG} TRACE, all
     * others DEBUG. A failure of the logger does not affect the logged call. Lines that the library logs while a logger
     * runs on the same thread are dropped, because a logger may use the library itself.
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
            // Otherwise a failure of the logger would fail the decoding of an undamaged picture.
        } finally {
            LOGGING.remove();
        }
    }

    /** {@return whether the logger logs more than errors} */
    static boolean logs() {
        return LOGGER.isLoggable(Level.DEBUG);
    }
}
