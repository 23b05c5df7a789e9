package kiv.media.ffmpeg;

import java.io.UncheckedIOException;
import java.util.ArrayDeque;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.Deque;
import java.util.List;
import java.util.Objects;
import java.util.stream.Stream;
import kiv.media.ffmpeg.natives.ColorRange;
import kiv.media.ffmpeg.natives.Interlacing;
import kiv.media.ffmpeg.natives.PictureLayout;
import kiv.media.ffmpeg.natives.ProcessFlags;
import kiv.media.ffmpeg.natives.ProcessResult;
import kiv.media.ffmpeg.natives.VideoParams;
import kiv.media.ffmpeg.natives.c_codecoptions_ffmpeg;

/**
 * Decodes the packets of one video stream into pictures.
 *
 * <pre>{@code
 * try (MediaReader reader = MediaReader.open(Path.of("film.mp4"));
 *         VideoDecoder decoder = VideoDecoder.open(reader.firstVideo().orElseThrow())) {
 *     decoder.pictures(reader).forEach(picture -> show(picture.toBufferedImage()));
 * }
 * }</pre>
 *
 * <p>Pictures come in the decoder's own pixel format, without any loss; {@link Picture} converts them.
 *
 * <p>A decoder may move from thread to thread, but two threads must not call it at the same time: the second one gets a
 * {@link MediaStateException}, as does every use after {@link #close()}. Different decoders work in parallel.
 */
public final class VideoDecoder implements AutoCloseable {

    private static final Packet NO_PACKET = Packet.of(new byte[0], 0, Packet.NO_TIME, Packet.NO_TIME, false);

    private final NativeHandle handle;
    private final PictureMemoryPool pool;
    private final VideoFormat format;
    private final PacketFilter filter;
    private final PacketTimes times = new PacketTimes();
    private final Deque<Picture> finished = new ArrayDeque<>();

    private VideoDecoder(long address, PictureMemoryPool pool, VideoFormat format, MediaStream stream) {
        this.handle = new NativeHandle("decoder", this, address, dead -> ThreadBuffers.with(pool, () -> {
            c_multimediaapi_ffmpeg.n_vcodec_delete(dead);
            pool.close();
            return null;
        }));
        this.pool = pool;
        this.format = format;
        this.filter = new PacketFilter(stream);
    }

    /**
     * Opens a decoder.
     *
     * @param stream a stream of pictures
     * @return the decoder, to be closed
     * @throws UnsupportedCodecException when its video cannot be decoded
     * @throws MediaFormatException when the size of its pictures is not known
     * @throws IllegalArgumentException when the stream is not one of pictures
     * @throws LibraryException when the library cannot be loaded
     */
    public static VideoDecoder open(MediaStream stream) {
        return open(VideoFormat.of(stream), stream);
    }

    /**
     * Opens a decoder for video that does not come from a {@link MediaReader}.
     *
     * @param format the compressed video
     * @return the decoder, to be closed
     * @throws UnsupportedCodecException when the video cannot be decoded
     * @throws LibraryException when the library cannot be loaded
     */
    public static VideoDecoder open(VideoFormat format) {
        return open(Objects.requireNonNull(format, "format"), null);
    }

    private static VideoDecoder open(VideoFormat format, MediaStream stream) {
        long context = FfmpegLibrary.context();
        PictureMemoryPool pool = new PictureMemoryPool();
        long address;
        try {
            address = c_multimediaapi_ffmpeg.n_create_vcodec_to_raw(context, format.subtype(), format.toNative(),
                    format.extradata(), null, pool);
        } catch (RuntimeException e) {
            throw new UnsupportedCodecException("no decoder for " + format + ": " + MediaException.plain(e), e);
        }
        VideoDecoder decoder = new VideoDecoder(address, pool, format, stream);
        try {
            // A container's packet is a whole picture; told so, no decoder delays it to look for the picture's end.
            c_codecoptions_ffmpeg.n_vcodec_set_option(address, c_codecoptions_ffmpeg.WHOLE_PACKETS, 1);
            c_codecoptions_ffmpeg.n_vcodec_set_option(address, c_codecoptions_ffmpeg.NATIVE_FORMAT, 1);
            if (!c_multimediaapi_ffmpeg.n_vcodec_open(address)) {
                throw new UnsupportedCodecException("the decoder does not open for " + format
                        + "; its private data may be missing or damaged");
            }
            return decoder;
        } catch (Throwable e) {
            decoder.close();
            throw e;
        }
    }

    /** {@return the compressed video} */
    public VideoFormat format() {
        return format;
    }

    /**
     * Whether a packet is of this decoder's stream.
     *
     * @param packet any packet of the reader that the stream is from
     * @return whether {@link #decode} takes it
     */
    public boolean accepts(Packet packet) {
        return filter.accepts(packet);
    }

    /**
     * Decodes a packet. Pictures come in the order in which they are shown, which may be some packets later than the
     * packet that they are made of.
     *
     * @param packet the stream's next packet
     * @return the pictures that are ready, often exactly one; each belongs to the caller
     * @throws DecodeException when the packet is damaged; pictures finished before are given by the next call
     * @throws IllegalArgumentException when the packet is of another stream
     * @throws MediaStateException when the decoder is closed or in use
     * @throws MediaException when there is no memory left for a picture
     */
    public List<Picture> decode(Packet packet) {
        filter.check(packet);
        return call(address -> {
            decode(address, packet);
            return deliver();
        });
    }

    /**
     * Ends the stream: gives the pictures that the decoder holds back for their order, and leaves it ready for another
     * stream of the same format.
     *
     * @return the last pictures; none from most codecs
     * @throws DecodeException when what it holds is damaged
     * @throws MediaStateException when the decoder is closed or in use
     */
    public List<Picture> finish() {
        return call(address -> {
            end(address);
            return deliver();
        });
    }

    /**
     * Decodes everything that a reader still has of this decoder's stream, packet by packet as the pictures are asked for;
     * damaged packets are left out, packets of the reader's other streams are passed over and lost. A stream that ends
     * early, be it by {@code limit} or by an exception, leaves the rest for the next call of this method or of
     * {@link #decode}. Made parallel it gives one picture at a time all the same.
     *
     * @param reader the reader that the stream is from
     * @return the pictures, the last ones included. The stream throws {@link UncheckedIOException} when the bytes cannot
     *     be read, {@link MediaFormatException} where the container is damaged, {@link MediaStateException} when the
     *     reader or the decoder is closed or in use, and {@link MediaException} when there is no memory left for a picture
     * @throws IllegalArgumentException when the decoder was opened without a stream, or its stream is not one of the
     *     reader's
     */
    public Stream<Picture> pictures(MediaReader reader) {
        filter.check(reader);
        return new DecodingSpliterator<>(reader, this::decodeOrEnd, () -> call(address -> finished.poll())).stream();
    }

    /** Skips packets of other streams. Null ends the stream. */
    private void decodeOrEnd(Packet packet) {
        call(address -> {
            if (packet == null) {
                end(address);
            } else if (accepts(packet)) {
                decode(address, packet);
            }
            return null;
        });
    }

    /**
     * Forgets what the decoder holds. Call it after a seek, before the first packet from the new place.
     *
     * @throws MediaStateException when the decoder is closed or in use
     */
    public void reset() {
        call(address -> {
            c_multimediaapi_ffmpeg.n_vcodec_reset(address);
            times.forget();
            finished.forEach(Picture::close);
            finished.clear();
            return null;
        });
    }

    /**
     * Frees the decoder; does nothing the second time. Its pictures stay usable.
     *
     * @throws MediaStateException when another thread is inside a call
     */
    @Override
    public void close() {
        handle.close();
    }

    private <T> T call(NativeHandle.Call<T, RuntimeException> work) {
        return handle.call(address -> {
            try {
                return ThreadBuffers.with(pool, () -> work.on(address));
            } finally {
                pool.settle();
            }
        });
    }

    private List<Picture> deliver() {
        List<Picture> pictures = new ArrayList<>(finished);
        finished.clear();
        return pictures;
    }

    private void decode(long address, Packet packet) {
        DecodeException.translate(() -> process(address, packet));
    }

    private void end(long address) {
        DecodeException.translate(() -> {
            fetch(address, ProcessFlags.DRAIN, NO_PACKET);
            c_multimediaapi_ffmpeg.n_vcodec_reset(address);
        });
        times.forget();
    }

    private void process(long address, Packet packet) {
        Object[] out = new Object[1];
        int[] params = new int[VideoParams.DIRECT_SIZE];
        params[VideoParams.LENGTH] = packet.size();
        params[VideoParams.TIME_LOW] = times.remember(packet);
        int result = c_multimediaapi_ffmpeg.n_vcodec_process(address, packet.bytes(), out, params);
        take(result, out, params, packet);
        if (result == ProcessResult.DECODING_ERROR || result == ProcessResult.PICTURE_AND_MORE) {
            // Pictures that were finished before a fault wait inside.
            fetch(address, 0, packet);
        }
        if (result == ProcessResult.DECODING_ERROR) {
            throw new DecodeException("a packet cannot be decoded: " + packet);
        }
    }

    /** Takes the pictures that wait. */
    private void fetch(long address, int flags, Packet fed) {
        int result;
        do {
            Object[] out = new Object[1];
            int[] params = new int[VideoParams.DIRECT_SIZE];
            params[VideoParams.FLAGS] = flags;
            result = c_multimediaapi_ffmpeg.n_vcodec_process(address, null, out, params);
            take(result, out, params, fed);
        } while (result == ProcessResult.PICTURE_AND_MORE);
    }

    private void take(int result, Object[] out, int[] params, Packet packet) {
        if (result != ProcessResult.PICTURE && result != ProcessResult.PICTURE_AND_MORE
                && result != ProcessResult.PICTURE_MODEL_CHANGED) {
            return;
        }
        PictureMemory memory = (PictureMemory) out[0];
        memory.hold();
        int[] offsets = new int[PictureLayout.PLANES];
        for (int plane = 0; plane < offsets.length; plane++) {
            offsets[plane] = params[VideoParams.PICTURE_OFFSET] + params[VideoParams.PLANE_OFFSETS + plane];
        }
        int number = params[VideoParams.PIXEL_FORMAT];
        PixelFormat pixels = PixelFormat.of(number)
                .orElseThrow(() -> new DecodeException("pictures of FFmpeg's format " + number + " are not in memory"));
        int[] lineSizes = Arrays.copyOfRange(params, VideoParams.LINE_SIZES, VideoParams.LINE_SIZES + offsets.length);
        finished.add(new Picture(memory, pixels, params[VideoParams.WIDTH], params[VideoParams.HEIGHT], offsets,
                lineSizes, details(params, packet)));
    }

    private Picture.Details details(int[] params, Packet packet) {
        long key = params[VideoParams.PICTURE_TIME_LOW] & 0xFFFFFFFFL
                | (long) params[VideoParams.PICTURE_TIME_HIGH] << 32;
        int interlaced = params[VideoParams.INTERLACED];
        return new Picture.Details(times.of(key, packet), format.timeBase(), params[VideoParams.KEY_PICTURE] != 0,
                interlaced != Interlacing.PROGRESSIVE, interlaced == Interlacing.TOP_FIELD_FIRST,
                params[VideoParams.COLOR_RANGE] == ColorRange.FULL,
                new Rational(params[VideoParams.PIXEL_WIDTH], params[VideoParams.PIXEL_HEIGHT]),
                params[VideoParams.COLOR_SPACE]);
    }
}
