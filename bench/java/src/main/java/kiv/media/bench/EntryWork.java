package kiv.media.bench;

import java.nio.ByteBuffer;
import java.nio.ByteOrder;
import java.util.ArrayDeque;
import java.util.ArrayList;
import java.util.Deque;
import java.util.List;
import kiv.media.ffmpeg.FfmpegLibrary;
import kiv.media.ffmpeg.FourCharacterCode;
import kiv.media.ffmpeg.MediaReader;
import kiv.media.ffmpeg.MediaStream;
import kiv.media.ffmpeg.MediaSubtypes;
import kiv.media.ffmpeg.Packet;
import kiv.media.ffmpeg.VideoBuffers;
import kiv.media.ffmpeg.WaveFormat;
import kiv.media.ffmpeg.c_multimediaapi_ffmpeg;
import kiv.media.ffmpeg.natives.AudioFormatLayout;
import kiv.media.ffmpeg.natives.AudioParams;
import kiv.media.ffmpeg.natives.BufferRequest;
import kiv.media.ffmpeg.natives.BufferSlots;
import kiv.media.ffmpeg.natives.ColorModelLayout;
import kiv.media.ffmpeg.natives.PictureLayout;
import kiv.media.ffmpeg.natives.ProcessFlags;
import kiv.media.ffmpeg.natives.ProcessResult;
import kiv.media.ffmpeg.natives.VideoFormatLayout;
import kiv.media.ffmpeg.natives.VideoParams;
import kiv.media.ffmpeg.natives.c_codecoptions_ffmpeg;

/** The entry points, with pictures in Java's arrays. Packets are read by the API, into arrays. */
final class EntryWork {

    private static final long CONTEXT;

    static {
        FfmpegLibrary.load();
        CONTEXT = c_multimediaapi_ffmpeg.n_init(FfmpegLibrary.directory().toString(), null, 0);
    }

    private EntryWork() {
    }

    static Work of(Task task) throws Exception {
        switch (task.kind()) {
            case FILM:
                return sink -> film(task, sink);
            case SOUND:
                return sink -> sound(task, sink);
            case PACKETS:
                List<byte[]> packets = new ArrayList<>();
                try (MediaReader reader = MediaReader.open(task.file())) {
                    MediaStream stream = reader.firstVideo().or(reader::firstAudio).orElseThrow();
                    for (Packet packet; (packet = next(reader, stream)) != null;) {
                        packets.add(bytes(packet));
                    }
                    return stream.width() > 0 ? sink -> pictures(stream, packets, sink)
                            : sink -> blocks(stream, packets, sink);
                }
            default:
                throw task.unsupported();
        }
    }

    private static Packet next(MediaReader reader, MediaStream stream) throws Exception {
        Packet packet = reader.read();
        while (packet != null && packet.streamIndex() != stream.index()) {
            packet = reader.read();
        }
        return packet;
    }

    private static byte[] bytes(Packet packet) {
        byte[] bytes = new byte[packet.size()];
        packet.data().get(bytes);
        return bytes;
    }

    private static long film(Task task, Sink sink) throws Exception {
        try (MediaReader reader = MediaReader.open(task.file())) {
            MediaStream stream = reader.firstVideo().orElseThrow();
            try (Pictures decoder = new Pictures(stream, sink)) {
                for (Packet packet; (packet = next(reader, stream)) != null;) {
                    decoder.process(bytes(packet), 0);
                }
                return decoder.drained();
            }
        }
    }

    private static long pictures(MediaStream stream, List<byte[]> packets, Sink sink) {
        try (Pictures decoder = new Pictures(stream, sink)) {
            for (byte[] packet : packets) {
                decoder.process(packet, 0);
            }
            return decoder.drained();
        }
    }

    private static long sound(Task task, Sink sink) throws Exception {
        try (MediaReader reader = MediaReader.open(task.file())) {
            MediaStream stream = reader.firstAudio().orElseThrow();
            try (Blocks decoder = new Blocks(stream, sink)) {
                for (Packet packet; (packet = next(reader, stream)) != null;) {
                    decoder.process(bytes(packet), 0);
                }
                return decoder.drained();
            }
        }
    }

    private static long blocks(MediaStream stream, List<byte[]> packets, Sink sink) {
        try (Blocks decoder = new Blocks(stream, sink)) {
            for (byte[] packet : packets) {
                decoder.process(packet, 0);
            }
            return decoder.drained();
        }
    }

    /** A decoder of pictures. Arrays of delivered pictures are Java's, which uses them again. */
    private static final class Pictures implements VideoBuffers, AutoCloseable {
        private final Deque<byte[]> spare = new ArrayDeque<>();
        private final int[] params = new int[VideoParams.SIZE];
        private final Object[] out = new Object[1];
        private final Sink sink;
        private final long codec;
        private int[] layout;
        private long count;

        Pictures(MediaStream stream, Sink sink) {
            this.sink = sink;
            byte[] extradata = stream.extradata();
            int[] format = new int[VideoFormatLayout.SIZE];
            format[VideoFormatLayout.WIDTH] = stream.width();
            format[VideoFormatLayout.HEIGHT] = stream.height();
            format[VideoFormatLayout.BITS_PER_PIXEL] = stream.bitsPerCodedSample();
            format[VideoFormatLayout.EXTRADATA_LENGTH] = extradata.length;
            codec = c_multimediaapi_ffmpeg.n_create_vcodec_to_raw(CONTEXT, MediaSubtypes.find(stream).orElseThrow(), format,
                    extradata, new Object[] {model()}, this);
            c_codecoptions_ffmpeg.n_vcodec_set_option(codec, c_codecoptions_ffmpeg.WHOLE_PACKETS, 1);
            if (!c_multimediaapi_ffmpeg.n_vcodec_open(codec)) {
                throw new IllegalStateException("the decoder does not open");
            }
        }

        private static int[] model() {
            int[] model = new int[ColorModelLayout.SIZE];
            model[ColorModelLayout.FOURCC] = FourCharacterCode.of("I420");
            model[ColorModelLayout.BITS_PER_PIXEL] = 12;
            return model;
        }

        void process(byte[] packet, int flags) {
            params[VideoParams.OFFSET] = 0;
            params[VideoParams.LENGTH] = packet == null ? 0 : packet.length;
            params[VideoParams.FLAGS] = flags;
            int result = c_multimediaapi_ffmpeg.n_vcodec_process(codec, packet, out, params);
            while (take(result)) {
                params[VideoParams.LENGTH] = 0;
                params[VideoParams.FLAGS] = 0;
                result = c_multimediaapi_ffmpeg.n_vcodec_process(codec, null, out, params);
            }
        }

        /** Takes a picture. @return whether more are waiting */
        private boolean take(int result) {
            if (result == ProcessResult.NO_PICTURE || result == ProcessResult.DECODING_ERROR) {
                return false;
            }
            byte[] array = (byte[]) out[0];
            count++;
            if (sink != null) {
                ByteBuffer memory = ByteBuffer.wrap(array);
                for (int plane = 0; plane < 3; plane++) {
                    int shift = plane == 0 ? 0 : 1;
                    int start = params[VideoParams.PICTURE_OFFSET] + params[VideoParams.PLANE_OFFSETS + plane];
                    sink.plane(memory.slice(start, array.length - start), layout[PictureLayout.LINE_SIZES + plane],
                            layout[PictureLayout.WIDTH] + shift >> shift, layout[PictureLayout.HEIGHT] + shift >> shift);
                }
            }
            spare.push(array);
            return result == ProcessResult.PICTURE_AND_MORE;
        }

        long drained() {
            long before;
            do {
                before = count;
                process(null, ProcessFlags.DRAIN);
            } while (count > before);
            return count;
        }

        @Override
        public boolean allocate(int[] layoutNow, int[] request, Object[] slots) {
            layout = layoutNow;
            byte[] array = spare.poll();
            if (array == null || array.length < request[BufferRequest.BYTES]) {
                array = new byte[request[BufferRequest.BYTES]];
            }
            slots[BufferSlots.MEMORY] = array;
            slots[BufferSlots.RESULT] = array;
            return true;
        }

        @Override
        public void free(Object[] slots) {
            spare.push((byte[]) slots[BufferSlots.MEMORY]);
        }

        @Override
        public void close() {
            c_multimediaapi_ffmpeg.n_vcodec_delete(codec);
        }
    }

    /** A decoder of sound. */
    private static final class Blocks implements AutoCloseable {
        private final byte[] pcm = new byte[1 << 20];
        private final int[] params = new int[AudioParams.SIZE];
        private final Sink sink;
        private final long codec;
        private final int frameBytes;
        private long count;

        Blocks(MediaStream stream, Sink sink) {
            this.sink = sink;
            WaveFormat wave = WaveFormat.of(stream);
            byte[] header = wave.specificHeader();
            int[] format = new int[AudioFormatLayout.SIZE];
            format[AudioFormatLayout.FORMAT_TAG] = wave.formatTag();
            format[AudioFormatLayout.CHANNELS] = wave.channels();
            format[AudioFormatLayout.SAMPLE_RATE] = wave.sampleRate();
            format[AudioFormatLayout.BYTES_PER_SECOND] = wave.bytesPerSecond();
            format[AudioFormatLayout.BLOCK_ALIGN] = wave.blockAlign();
            format[AudioFormatLayout.BITS_PER_SAMPLE] = wave.bitsPerSample();
            format[AudioFormatLayout.HEADER_LENGTH] = header.length;
            frameBytes = 2 * wave.channels();
            codec = c_multimediaapi_ffmpeg.n_create_acodec_to_pcm(CONTEXT, format, header);
        }

        void process(byte[] packet, int flags) {
            params[AudioParams.OFFSET] = 0;
            params[AudioParams.LENGTH] = packet == null ? 0 : packet.length;
            params[AudioParams.FLAGS] = flags | ProcessFlags.WHOLE_PACKET;
            do {
                params[AudioParams.OUT_OFFSET] = 0;
                params[AudioParams.OUT_LENGTH] = pcm.length;
                c_multimediaapi_ffmpeg.n_acodec_process(codec, packet, pcm, params);
                count += params[AudioParams.OUT_LENGTH] / frameBytes;
                if (sink != null) {
                    sink.sound(ByteBuffer.wrap(pcm, 0, params[AudioParams.OUT_LENGTH]).order(ByteOrder.LITTLE_ENDIAN)
                            .asShortBuffer());
                }
            } while (params[AudioParams.LENGTH] > 0 && params[AudioParams.OUT_LENGTH] > 0);
        }

        long drained() {
            long before;
            do {
                before = count;
                process(null, ProcessFlags.DRAIN);
            } while (count > before);
            return count;
        }

        @Override
        public void close() {
            c_multimediaapi_ffmpeg.n_acodec_delete(codec);
        }
    }
}
