package kiv.media.ffmpeg.exactness;

import java.util.ArrayList;
import java.util.Collections;
import java.util.IdentityHashMap;
import java.util.List;
import java.util.Set;
import java.util.stream.Stream;
import kiv.media.ffmpeg.TestMedia;
import kiv.media.ffmpeg.VideoBuffers;
import kiv.media.ffmpeg.c_multimediaapi_ffmpeg;
import kiv.media.ffmpeg.natives.c_codecoptions_ffmpeg;

/**
 * A video decoder driven through the bare natives, which keeps the books of the arrays: every one that it allocated is
 * given back exactly once or handed out exactly once. It has a library context of its own, so that several decoders
 * can work at once.
 */
public class NativeDecoder implements VideoBuffers, AutoCloseable {

    private static final int KIND = 5;
    private static final int UNTOUCHED = 0x5a5a5a5a;

    /**
     * An array that was allocated for a picture; what the process call hands out.
     *
     * @param layout what the library told about the picture
     * @param buffer what it told about the array
     */
    public record Buffer(Object array, int[] layout, int[] buffer) {
    }

    /**
     * What a process call left.
     *
     * @param out the handed-out buffer, or null
     */
    public record Result(int code, Buffer out, int[] params) {
        long time() {
            return (long) params[14] << 32 | params[13] & 0xffffffffL;
        }

        int elementSize() {
            return 1 << params[KIND];
        }
    }

    private final Set<Buffer> live = Collections.newSetFromMap(new IdentityHashMap<>());
    private final List<String> faults = new ArrayList<>();
    private final long context;
    private long codec;
    private int allocated;

    /** Creates and opens a decoder. */
    public NativeDecoder(Track track, boolean whole, int subtype, PictureModel... models) {
        this(track, whole, subtype, null, Stream.of(models).map(PictureModel::description).toArray(int[][]::new));
    }

    /** Creates and opens a decoder for colour models, whose log goes to a receiver. */
    public NativeDecoder(Track track, boolean whole, int subtype, c_multimediaapi_ffmpeg receiver, int[]... models) {
        context = c_multimediaapi_ffmpeg.n_init(TestMedia.ffmpeg().toString(), receiver, 0);
        byte[] extradata = track.stream().extradata();
        int[] format = new int[18];
        format[4] = track.stream().width();
        format[5] = track.stream().height();
        format[7] = track.stream().bitsPerCodedSample();
        format[13] = extradata.length;
        codec = c_multimediaapi_ffmpeg.n_create_vcodec_to_raw(context, track.subtype(subtype), format, extradata, models,
                this);
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
        int length = packet == null ? 0 : packet.length;
        int[] params = {0, length, flags, (int) time, (int) (time >>> 32), UNTOUCHED, UNTOUCHED, UNTOUCHED, UNTOUCHED,
            UNTOUCHED, UNTOUCHED, UNTOUCHED, UNTOUCHED, UNTOUCHED, UNTOUCHED, UNTOUCHED};
        Object[] out = new Object[1];
        int code;
        try {
            code = c_multimediaapi_ffmpeg.n_vcodec_process(codec, packet, out, params);
        } catch (RuntimeException | Error e) {
            if (params[KIND] != UNTOUCHED) {
                faults.add("params were written although a call failed: " + e);
            }
            throw e;
        }
        if (out[0] != null && !live.remove(out[0])) {
            faults.add("an array was handed out that was not the decoder's");
        }
        return new Result(code, (Buffer) out[0], params);
    }

    /** Forgets what the decoder holds. */
    public final void reset() {
        c_multimediaapi_ffmpeg.n_vcodec_reset(codec);
    }

    /** What the library says about the pictures, or null. */
    public final int[] format() {
        return c_multimediaapi_ffmpeg.n_get_vcodec_dst_format(codec);
    }

    /** Arrays allocated so far. */
    public final int allocated() {
        return allocated;
    }

    /** Arrays that the library has and must still give back. */
    public final int live() {
        return live.size();
    }

    /** Makes the array of a buffer; tests make others. */
    protected Object newArray(int[] layout, int[] buffer) {
        return layout[8] == 0 ? new int[(buffer[1] + 3) / 4] : new byte[buffer[1]];
    }

    @Override
    public boolean allocate(int[] layout, int[] buffer, Object[] slots) {
        Object array = newArray(layout, buffer);
        Buffer made = new Buffer(array, layout, buffer);
        slots[0] = array;
        slots[3] = made;
        live.add(made);
        allocated++;
        return true;
    }

    @Override
    public void free(Object[] slots) {
        if (!live.remove(slots[3])) {
            faults.add("an array came back that was not the decoder's: twice, or after it was handed out");
        }
    }

    /**
     * Deletes the decoder.
     *
     * @throws AssertionError when the books do not balance
     */
    @Override
    public final void close() {
        if (codec == 0) {
            return;
        }
        long dead = codec;
        codec = 0;
        try {
            // In this order, so that the codec is what keeps the context.
            c_multimediaapi_ffmpeg.n_close(context);
        } finally {
            c_multimediaapi_ffmpeg.n_vcodec_delete(dead);
        }
        if (!live.isEmpty()) {
            faults.add(live.size() + " arrays never came back");
        }
        if (!faults.isEmpty()) {
            throw new AssertionError(String.join("; ", faults));
        }
    }
}
