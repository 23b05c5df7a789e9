package kiv.media.ffmpeg.exactness;

import java.util.ArrayList;
import java.util.Arrays;
import java.util.HashSet;
import java.util.List;
import java.util.Set;
import java.util.stream.Stream;
import kiv.media.ffmpeg.TestMedia;
import kiv.media.ffmpeg.VideoBuffers;
import kiv.media.ffmpeg.VideoFormat;
import kiv.media.ffmpeg.c_multimediaapi_ffmpeg;
import kiv.media.ffmpeg.natives.BufferRequest;
import kiv.media.ffmpeg.natives.BufferSlots;
import kiv.media.ffmpeg.natives.PictureLayout;
import kiv.media.ffmpeg.natives.VideoFormatLayout;
import kiv.media.ffmpeg.natives.VideoParams;
import kiv.media.ffmpeg.natives.c_codecoptions_ffmpeg;

/**
 * A video decoder driven through the bare natives, with a library context of its own. It keeps the books of the arrays:
 * each that it allocated is freed exactly once or delivered exactly once.
 */
public class NativeDecoder implements VideoBuffers, AutoCloseable {

    private static final int UNTOUCHED = 0x5a5a5a5a;

    /** An array, and what the library said of its picture and of the array. */
    public record Buffer(Object array, int[] layout, int[] request) {
    }

    /** What a call left; without a picture there is no buffer. */
    public record Result(int code, Buffer out, int[] params) {
        int elementSize() {
            return 1 << params[VideoParams.ARRAY_KIND];
        }
    }

    private final Set<Buffer> live = new HashSet<>();
    private final List<String> faults = new ArrayList<>();
    private final long context;
    private long codec;

    /** Creates and opens a decoder. */
    public NativeDecoder(Track track, boolean whole, PictureModel... models) {
        this(track, whole, null, Stream.of(models).map(PictureModel::description).toArray(int[][]::new));
    }

    /** Creates and opens a decoder for colour models, whose log goes to a receiver. */
    public NativeDecoder(Track track, boolean whole, c_multimediaapi_ffmpeg receiver, int[]... models) {
        context = c_multimediaapi_ffmpeg.n_init(TestMedia.ffmpeg().toString(), receiver, 0);
        byte[] extradata = track.stream().extradata();
        int[] format = new int[VideoFormatLayout.SIZE];
        format[VideoFormatLayout.WIDTH] = track.stream().width();
        format[VideoFormatLayout.HEIGHT] = track.stream().height();
        format[VideoFormatLayout.BITS_PER_PIXEL] = track.stream().bitsPerCodedSample();
        format[VideoFormatLayout.EXTRADATA_LENGTH] = extradata.length;
        codec = c_multimediaapi_ffmpeg.n_create_vcodec_to_raw(context, VideoFormat.of(track.stream()).subtype(), format,
                extradata, models, this);
        if (whole) {
            c_codecoptions_ffmpeg.n_vcodec_set_option(codec, c_codecoptions_ffmpeg.WHOLE_PACKETS, 1);
        }
        if (!c_multimediaapi_ffmpeg.n_vcodec_open(codec)) {
            close();
            throw new AssertionError("the decoder does not open");
        }
    }

    /** Decodes a packet; null only asks for a picture that is waiting. */
    public final Result process(byte[] packet, int flags, long time) {
        int[] params = new int[VideoParams.SIZE];
        Arrays.fill(params, VideoParams.ARRAY_KIND, params.length, UNTOUCHED);
        params[VideoParams.LENGTH] = packet == null ? 0 : packet.length;
        params[VideoParams.FLAGS] = flags;
        params[VideoParams.TIME_LOW] = (int) time;
        params[VideoParams.TIME_HIGH] = (int) (time >>> 32);
        Object[] out = new Object[1];
        try {
            int code = c_multimediaapi_ffmpeg.n_vcodec_process(codec, packet, out, params);
            book(out[0] == null || live.remove(out[0]), "an array was delivered that was not the decoder's");
            return new Result(code, (Buffer) out[0], params);
        } catch (RuntimeException | Error e) {
            book(params[VideoParams.ARRAY_KIND] == UNTOUCHED, "parameters were written although a call failed: " + e);
            throw e;
        }
    }

    /** Forgets what the decoder holds. */
    public final void reset() {
        c_multimediaapi_ffmpeg.n_vcodec_reset(codec);
    }

    /** What the library says about the pictures, or null. */
    public final int[] format() {
        return c_multimediaapi_ffmpeg.n_get_vcodec_dst_format(codec);
    }

    @Override
    public boolean allocate(int[] layout, int[] request, Object[] slots) {
        int bytes = request[BufferRequest.BYTES];
        Object array = layout[PictureLayout.FOURCC] == 0 ? new int[(bytes + 3) / 4] : new byte[bytes];
        Buffer made = new Buffer(array, layout, request);
        slots[BufferSlots.MEMORY] = array;
        slots[BufferSlots.RESULT] = made;
        return live.add(made);
    }

    @Override
    public void free(Object[] slots) {
        book(live.remove(slots[BufferSlots.RESULT]), "an array was freed twice, or after it was delivered");
    }

    private void book(boolean right, String fault) {
        if (!right) {
            faults.add(fault);
        }
    }

    /** Deletes the decoder, after which the books have to balance. */
    @Override
    public final void close() {
        long dead = codec;
        codec = 0;
        if (dead != 0) {
            try {
                // In this order, so that the codec is what keeps the context.
                c_multimediaapi_ffmpeg.n_close(context);
            } finally {
                c_multimediaapi_ffmpeg.n_vcodec_delete(dead);
            }
        }
        book(live.isEmpty(), live.size() + " arrays were never freed");
        Comparison.check(faults.isEmpty(), String.join("; ", faults));
    }
}
