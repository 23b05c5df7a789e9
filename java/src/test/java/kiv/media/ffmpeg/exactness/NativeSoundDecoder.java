package kiv.media.ffmpeg.exactness;

import static kiv.media.ffmpeg.exactness.Comparison.check;

import java.util.Arrays;
import kiv.media.ffmpeg.TestMedia;
import kiv.media.ffmpeg.c_multimediaapi_ffmpeg;
import kiv.media.ffmpeg.natives.AudioStatus;
import kiv.media.ffmpeg.natives.ProcessFlags;
import kiv.media.ffmpeg.natives.c_codecoptions_ffmpeg;

/**
 * A decoder of sound driven through the bare natives, which checks what every call leaves in its arrays. It has a
 * library context of its own.
 */
public final class NativeSoundDecoder implements AutoCloseable {

    private static final int UNTOUCHED = 0x5a5a5a5a;
    private static final byte GUARD = (byte) 0xa5;
    /** A timestamp whose low half reaches into the high one. */
    private static final int TIME_LOW = 0x80000003;
    private static final int TIME_HIGH = 7;

    /** What became of a block. */
    public record Result(int code, int consumed, byte[] pcm) {
    }

    private final long context;
    private long codec;
    private byte[] out;

    /** Creates a decoder and gives it the stream's bit rate. */
    public NativeSoundDecoder(Track track, int tag) {
        context = c_multimediaapi_ffmpeg.n_init(TestMedia.ffmpeg().toString(), null, 0);
        try {
            codec = c_multimediaapi_ffmpeg.n_create_acodec_to_pcm(context, track.format(tag), track.stream().extradata());
            check(codec != 0, "no decoder");
            check(c_multimediaapi_ffmpeg.n_acodec_close(codec), "it does not close");
            c_codecoptions_ffmpeg.n_acodec_set_option(codec, c_codecoptions_ffmpeg.BIT_RATE, track.stream().bitRate());
            check(c_multimediaapi_ffmpeg.n_acodec_open(codec), "it does not open");
        } catch (RuntimeException | Error e) {
            close();
            throw e;
        }
    }

    /** The formats that it takes and gives, as WAVE headers. */
    public byte[][] formats() {
        return new byte[][] {c_multimediaapi_ffmpeg.n_get_acodec_src_format(codec),
            c_multimediaapi_ffmpeg.n_get_acodec_dst_format(codec)};
    }

    /**
     * Decodes a block; one without bytes ends the stream.
     *
     * @param room bytes of the output array at first; a larger one is taken when the library asks for it
     */
    public Result process(byte[] block, int room) {
        int flags = block.length == 0 ? ProcessFlags.DRAIN : 0x41;
        int offset = 3;
        // What is around the block is not zero, and none of it may show.
        byte[] in = new byte[block.length + 2 * offset + 40];
        Arrays.fill(in, GUARD);
        System.arraycopy(block, 0, in, offset, block.length);
        byte[] guarded = in.clone();
        int[] params = call(in, offset, block.length, flags, room);
        int code = params[10];
        int consumed = params[0] - offset;
        check(params[1] == block.length - consumed && consumed >= 0, "consumed: " + Arrays.toString(params));
        if (code == AudioStatus.OUTPUT_TOO_SMALL) {
            check(params[5] == 0 && params[6] > room && params[7] == UNTOUCHED,
                    "too small: " + Arrays.toString(params));
            int needed = params[6];
            // What waits is fetched first: no input is taken.
            params = call(in, offset, block.length, 0, needed);
            check(params[10] == (block.length > 0 ? AudioStatus.INPUT_LEFT : 0) && params[0] == offset
                    && params[1] == block.length && params[6] == needed, "fetching: " + Arrays.toString(params));
        } else {
            check(params[7] == flags && params[8] == TIME_LOW && params[9] == -1, "told: " + Arrays.toString(params));
        }
        check(Arrays.equals(in, guarded), "the input was written to");
        return new Result(code, consumed, Arrays.copyOfRange(out, offset, offset + params[6]));
    }

    /** One call of the native. @return the parameters afterwards and the call's result behind them */
    private int[] call(byte[] in, int offset, int length, int flags, int room) {
        int[] params = {offset, length, flags, TIME_LOW, TIME_HIGH, offset, room, UNTOUCHED, UNTOUCHED, UNTOUCHED};
        out = new byte[offset + room + offset];
        Arrays.fill(out, GUARD);
        byte[] expected = out.clone();
        int code = c_multimediaapi_ffmpeg.n_acodec_process(codec, in, out, params);
        int written = code == AudioStatus.OUTPUT_TOO_SMALL ? 0 : params[6];
        check(written <= room, "more written than there is room for: " + Arrays.toString(params));
        System.arraycopy(out, offset, expected, offset, written);
        check(Arrays.equals(out, expected), "written outside: " + Arrays.toString(params));
        check(params[2] == flags && params[3] == TIME_LOW && params[4] == TIME_HIGH, "input parameters were changed");
        int[] all = Arrays.copyOf(params, 11);
        all[10] = code;
        return all;
    }

    /** Forgets everything. */
    public void reset() {
        check(c_multimediaapi_ffmpeg.n_acodec_reset(codec), "it does not reset");
    }

    @Override
    public void close() {
        // In this order, so that the codec is what keeps the context.
        c_multimediaapi_ffmpeg.n_close(context);
        if (codec != 0) {
            c_multimediaapi_ffmpeg.n_acodec_delete(codec);
            codec = 0;
        }
    }
}
