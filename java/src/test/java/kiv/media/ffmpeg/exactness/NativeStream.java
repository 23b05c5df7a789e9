package kiv.media.ffmpeg.exactness;

import java.io.IOException;
import java.io.UncheckedIOException;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.List;
import kiv.media.ffmpeg.NativeSources;
import kiv.media.ffmpeg.c_mediareader_ffmpeg;
import kiv.media.ffmpeg.c_multimediaapi_ffmpeg;

/**
 * One stream of a file with all its packets, as the native reader gives it.
 *
 * @param description what {@link c_mediareader_ffmpeg#n_reader_get_stream} tells
 * @param times presentation times of the packets in the container's units
 */
record NativeStream(long[] description, byte[] extradata, List<byte[]> packets, List<Long> times) {

    static final int VIDEO = 0;
    static final int SOUND = 1;

    /** Reads the first stream of a kind. */
    static NativeStream read(Path file, int kind) {
        long context = c_multimediaapi_ffmpeg.n_init(TestMedia.ffmpeg().toString(), null, 0);
        try {
            long reader = c_mediareader_ffmpeg.n_reader_open(context, NativeSources.open(file));
            try {
                int index = 0;
                while (c_mediareader_ffmpeg.n_reader_get_stream(reader, index)[0] != kind) {
                    index++;
                }
                List<byte[]> packets = new ArrayList<>();
                List<Long> times = new ArrayList<>();
                long[] fields = new long[6];
                for (byte[] bytes; (bytes = c_mediareader_ffmpeg.n_reader_read(reader, fields)) != null;) {
                    if (fields[0] == index) {
                        packets.add(bytes);
                        times.add(fields[1]);
                    }
                }
                return new NativeStream(c_mediareader_ffmpeg.n_reader_get_stream(reader, index),
                        c_mediareader_ffmpeg.n_reader_get_extradata(reader, index), packets, times);
            } finally {
                c_mediareader_ffmpeg.n_reader_delete(reader);
            }
        } catch (IOException e) {
            throw new UncheckedIOException(e);
        } finally {
            c_multimediaapi_ffmpeg.n_close(context);
        }
    }
}
