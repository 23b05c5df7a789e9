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
 * <p>The pictures have the decoder's own pixel format and lose nothing. {@link Picture} converts them.
 *
 * <p>A decoder may move from thread to thread, but two threads must not call it at the same time: the second one gets a
 * {@link MediaStateException}. So does each call after {@link #close()}. Different decoders work in parallel.
 */
public final class VideoDecoder implements AutoCloseable {

    private static final Packet NO_PACKET = Packet.of(new byte[0], 0, Packet.NO_TIME, Packet.NO_TIME, false);

    private final NativeHandle handle;
    private final PictureMemoryPool pool;
    private final VideoFormat format;
    /** Null when the packets are no reader's. */
    private final MediaStream stream;
    private final PacketFilter filter;
    private final WholePacketCheck wholePackets;
    private final PacketTimes times = new PacketTimes();
    private final PictureClock clock;
    /** Whether pictures state the presentation times of their own packet and of the one whose decoding delivered them. */
    private final boolean numbered;
    private final Deque<Picture> finished = new ArrayDeque<>();

    private VideoDecoder(long address, PictureMemoryPool pool, VideoFormat format, MediaStream stream,
            boolean numbered) {
        this.handle = new NativeHandle("decoder", this, address, dead -> ThreadBuffers.with(pool, () -> {
            c_multimediaapi_ffmpeg.n_vcodec_delete(dead);
            pool.close();
            return null;
        }));
        this.pool = pool;
        this.format = format;
        this.stream = stream;
        this.numbered = numbered;
        this.filter = new PacketFilter(stream);
        this.wholePackets = new WholePacketCheck(format.codecName(), format.extradata());
        this.clock = new PictureClock(stream == null ? new Rational(0, 0) : stream.frameRate(), format.timeBase());
    }

    /**
     * Opens a decoder.
     *
     * @param stream a video stream
     * @return the decoder, to be closed
     * @throws UnsupportedCodecException when the library has no decoder for the stream
     * @throws MediaFormatException when the size of the pictures is unknown
     * @throws IllegalArgumentException when the stream is not a video stream
     * @throws LibraryException when the library cannot be loaded
     */
    public static VideoDecoder open(MediaStream stream) {
        return open(VideoFormat.of(stream), stream, false);
    }

    /**
     * Opens a decoder whose pictures have no times, but two numbers instead: the presentation time of the own packet as
     * {@link Picture#timestamp()}, and that of the packet whose decoding delivered the picture as
     * {@link Picture#duration()}. Each is {@link Packet#NO_TIME} when there is none.
     */
    static VideoDecoder openNumbered(MediaStream stream) {
        return open(VideoFormat.of(stream), stream, true);
    }

    /**
     * Opens a decoder for packets that no {@link MediaReader} reads.
     *
     * @param format the compressed video
     * @return the decoder, to be closed
     * @throws UnsupportedCodecException when the library has no decoder for the format
     * @throws LibraryException when the library cannot be loaded
     */
    public static VideoDecoder open(VideoFormat format) {
        return open(Objects.requireNonNull(format, "format"), null, false);
    }

    private static VideoDecoder open(VideoFormat format, MediaStream stream, boolean numbered) {
        long context = FfmpegLibrary.context();
        PictureMemoryPool pool = new PictureMemoryPool();
        long address;
        try {
            address = format.createDecoder(context, pool);
        } catch (RuntimeException e) {
            throw new UnsupportedCodecException("no decoder for " + format + ": " + MediaException.plain(e), e);
        }
        VideoDecoder decoder = new VideoDecoder(address, pool, format, stream, numbered);
        try {
            // A container's packet is a whole picture. A decoder that knows this does not wait for the next packet.
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
     * Checks whether a packet belongs to this decoder's stream.
     *
     * @param packet any packet of the stream's reader
     * @return whether {@link #decode} accepts it
     */
    public boolean accepts(Packet packet) {
        return filter.accepts(packet);
    }

    /**
     * Decodes a packet. The decoder delivers pictures in the order in which they are shown, so a picture may come some
     * packets later than its own packet.
     *
     * @param packet the stream's next packet, which is whole: one picture or its two fields
     * @return the pictures that are ready, often exactly one; the caller owns each of them
     * @throws DecodeException when the packet is damaged; the next call returns the pictures that were finished before
     * @throws IllegalArgumentException when the packet belongs to another stream, or when a packet of {@link Packet#of} holds
     *     several pictures, as a whole file does. Only the first of those packets is examined, and those that are larger than
     *     all before
     * @throws MediaStateException when the decoder is closed or in use
     * @throws MediaException when there is no memory left for a picture
     */
    public List<Picture> decode(Packet packet) {
        filter.check(packet);
        return call(address -> {
            wholePackets.check(packet);
            decode(address, packet);
            return deliver();
        });
    }

    /**
     * Ends the stream. The decoder delivers the pictures that it holds back for their order, and is then ready for
     * another stream of the same format.
     *
     * @return the last pictures; most codecs hold none back
     * @throws DecodeException when the remaining data is damaged
     * @throws MediaStateException when the decoder is closed or in use
     */
    public List<Picture> finish() {
        return call(address -> {
            end(address);
            return deliver();
        });
    }

    /**
     * Decodes the rest of this decoder's stream. Each packet is read only when a picture is asked for. Damaged packets
     * are skipped. Packets of the reader's other streams are read too, and lost. When the stream of pictures ends
     * early, by {@code limit} or by an exception, the rest stays for the next call of this method or of
     * {@link #decode}. A parallel stream delivers one picture at a time too.
     *
     * @param reader the reader of the decoder's stream
     * @return the pictures up to the end, with those that {@link #finish} returns. The stream throws
     *     {@link UncheckedIOException} when the bytes cannot be read, {@link MediaFormatException} where the container
     *     is damaged, {@link MediaStateException} when the reader or the decoder is closed or in use, and
     *     {@link MediaException} when there is no memory left for a picture
     * @throws IllegalArgumentException when the decoder was opened without a stream, or its stream belongs to another
     *     reader
     */
    public Stream<Picture> pictures(MediaReader reader) {
        return new DecodingSpliterator<>(reader, filter, this::decodeOrEnd, () -> call(address -> finished.poll()))
                .stream();
    }

    /** Null ends the stream. */
    private void decodeOrEnd(Packet packet) {
        call(address -> {
            if (packet == null) {
                end(address);
            } else {
                decode(address, packet);
            }
            return null;
        });
    }

    /**
     * Drops the data and the pictures that the decoder holds. Call it after a seek, before the first packet from the
     * new position. In a stream without times, the pictures from there on have none.
     *
     * @throws MediaStateException when the decoder is closed or in use
     */
    public void reset() {
        call(address -> {
            c_multimediaapi_ffmpeg.n_vcodec_reset(address);
            times.forget();
            clock.forget();
            finished.forEach(Picture::close);
            finished.clear();
            return null;
        });
    }

    /**
     * Frees the decoder. A second call does nothing. Its pictures stay usable.
     *
     * @throws MediaStateException when another thread calls the decoder
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
                pool.releaseFreed();
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
        clock.begin();
    }

    private void process(long address, Packet packet) {
        Object[] out = new Object[1];
        int[] params = new int[VideoParams.DIRECT_SIZE];
        params[VideoParams.LENGTH] = packet.size();
        params[VideoParams.TIME_LOW] = times.remember(packet);
        int result = c_multimediaapi_ffmpeg.n_vcodec_process(address, packet.bytes(), out, params);
        take(result, out, params, packet);
        if (result == ProcessResult.DECODING_ERROR || result == ProcessResult.PICTURE_AND_MORE) {
            // Pictures that were finished before the fault wait in the native queue.
            fetch(address, 0, packet);
        }
        if (result == ProcessResult.DECODING_ERROR) {
            throw new DecodeException("a packet cannot be decoded: " + packet);
        }
    }

    /** Takes the pictures that wait in the native queue. */
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
        memory.share();
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

    /** @param coded the shape of a pixel that the compressed picture states, if it does */
    private Presentation presentation(Rational coded) {
        return stream == null ? new Presentation(coded, 0, false) : stream.presentation(coded);
    }

    private Picture.Details details(int[] params, Packet packet) {
        long key = params[VideoParams.PICTURE_TIME_LOW] & 0xFFFFFFFFL
                | (long) params[VideoParams.PICTURE_TIME_HIGH] << 32;
        int interlaced = params[VideoParams.INTERLACED];
        PacketTimes.Times known = numbered ? times.numbers(key, packet) : clock.complete(times.of(key, packet));
        return new Picture.Details(known, format.timeBase(), params[VideoParams.KEY_PICTURE] != 0,
                interlaced != Interlacing.PROGRESSIVE, interlaced == Interlacing.TOP_FIELD_FIRST,
                params[VideoParams.COLOR_RANGE] == ColorRange.FULL,
                presentation(new Rational(params[VideoParams.PIXEL_WIDTH], params[VideoParams.PIXEL_HEIGHT])),
                params[VideoParams.COLOR_SPACE]);
    }
}
