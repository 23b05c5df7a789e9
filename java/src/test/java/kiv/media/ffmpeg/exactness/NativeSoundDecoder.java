package kiv.media.ffmpeg.exactness;

import static kiv.media.ffmpeg.exactness.Comparison.check;

import java.util.Arrays;
import kiv.media.ffmpeg.MediaStream;
import kiv.media.ffmpeg.TestMedia;
import kiv.media.ffmpeg.c_multimediaapi_ffmpeg;
import kiv.media.ffmpeg.natives.AudioParams;
import kiv.media.ffmpeg.natives.AudioStatus;
import kiv.media.ffmpeg.natives.ProcessFlags;
import kiv.media.ffmpeg.natives.c_codecoptions_ffmpeg;

/** A decoder of sound driven through the bare natives, which checks what every call leaves in its arrays. */
public final class NativeSoundDecoder implements AutoCloseable {

    private static final int OFFSET = 3;
    private static final int UNTOUCHED = 0x5a5a5a5a;
    private static final byte GUARD = (byte) 0xa5;
    /** A timestamp whose low half reaches into the high one. */
    private static final int[] TIME = {0x80000003, 7};

    /** What became of a block. */
    public record Result(int code, int consumed, byte[] pcm) {
    }

    private final long context = c_multimediaapi_ffmpeg.n_init(TestMedia.ffmpeg().toString(), null, 0);
    private final long codec;
    private byte[] out;
    private int result;

    /** Creates a decoder and sets the stream's bit rate. */
    public NativeSoundDecoder(Track track, int tag) {
        MediaStream stream = track.stream();
        codec = c_multimediaapi_ffmpeg.n_create_acodec_to_pcm(context, new int[] {tag, stream.channels(), stream.sampleRate(),
            (int) stream.bitRate() / 8, stream.blockAlign(), stream.bitsPerCodedSample(), stream.extradata().length},
            stream.extradata());
        check(codec != 0 && c_multimediaapi_ffmpeg.n_acodec_close(codec), "no decoder that closes");
        c_codecoptions_ffmpeg.n_acodec_set_option(codec, c_codecoptions_ffmpeg.BIT_RATE, stream.bitRate());
        check(c_multimediaapi_ffmpeg.n_acodec_open(codec), "it does not open");
    }

    /** The formats of its input and output, as WAVE headers. */
    public byte[][] formats() {
        return new byte[][] {c_multimediaapi_ffmpeg.n_get_acodec_src_format(codec),
            c_multimediaapi_ffmpeg.n_get_acodec_dst_format(codec)};
    }

    /** Decodes a block, or ends the stream with one without bytes; the output grows when the library asks for more room. */
    public Result process(byte[] block, int room) {
        int flags = block.length == 0 ? ProcessFlags.DRAIN : 0x41;
        // What is around the block is not zero, and none of it may show.
        byte[] in = new byte[block.length + 2 * OFFSET + 40];
        Arrays.fill(in, GUARD);
        System.arraycopy(block, 0, in, OFFSET, block.length);
        byte[] guarded = in.clone();
        int[] params = call(in, block.length, flags, room);
        int code = result;
        int consumed = params[AudioParams.OFFSET] - OFFSET;
        String what = Arrays.toString(params);
        check(params[AudioParams.LENGTH] == block.length - consumed && consumed >= 0, "consumed: " + what);
        if (code == AudioStatus.OUTPUT_TOO_SMALL) {
            int needed = params[AudioParams.OUT_LENGTH];
            check(params[AudioParams.OUT_OFFSET] == 0 && needed > room && params[AudioParams.CALL_FLAGS] == UNTOUCHED, what);
            // What waits is fetched first: no input is taken.
            params = call(in, block.length, 0, needed);
            check(result == (block.length > 0 ? AudioStatus.INPUT_LEFT : 0) && params[AudioParams.OFFSET] == OFFSET
                    && params[AudioParams.LENGTH] == block.length && params[AudioParams.OUT_LENGTH] == needed,
                    "fetched: " + Arrays.toString(params));
        } else {
            check(params[AudioParams.CALL_FLAGS] == flags && params[AudioParams.CALL_TIME_LOW] == TIME[0]
                    && params[AudioParams.CALL_TIME_HIGH] == -1, what);
        }
        check(Arrays.equals(in, guarded), "the input was written to");
        return new Result(code, consumed, Arrays.copyOfRange(out, OFFSET, OFFSET + params[AudioParams.OUT_LENGTH]));
    }

    /** One call of the native. @return the parameters afterwards */
    private int[] call(byte[] in, int length, int flags, int room) {
        int[] params = {OFFSET, length, flags, TIME[0], TIME[1], OFFSET, room, UNTOUCHED, UNTOUCHED, UNTOUCHED};
        int[] given = params.clone();
        out = new byte[OFFSET + room + OFFSET];
        Arrays.fill(out, GUARD);
        byte[] expected = out.clone();
        result = c_multimediaapi_ffmpeg.n_acodec_process(codec, in, out, params);
        int written = result == AudioStatus.OUTPUT_TOO_SMALL ? 0 : params[AudioParams.OUT_LENGTH];
        check(written <= room, "more written than there is room for: " + Arrays.toString(params));
        System.arraycopy(out, OFFSET, expected, OFFSET, written);
        check(Arrays.equals(out, expected), "written outside: " + Arrays.toString(params));
        check(Arrays.equals(params, 2, 5, given, 2, 5), "input parameters were changed");
        return params;
    }

    /** Forgets everything. */
    public void reset() {
        check(c_multimediaapi_ffmpeg.n_acodec_reset(codec), "it does not reset");
    }

    @Override
    public void close() {
        // In this order, so that the codec is what keeps the context.
        c_multimediaapi_ffmpeg.n_close(context);
        c_multimediaapi_ffmpeg.n_acodec_delete(codec);
    }
}
