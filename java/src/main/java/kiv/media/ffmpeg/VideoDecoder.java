package kiv.media.ffmpeg;

import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import java.util.Objects;

/**
 * Decodes the packets of one video stream into pictures.
 *
 * <pre>{@code
 * try (MediaReader reader = MediaReader.open(Path.of("film.mp4"));
 *         VideoDecoder decoder = VideoDecoder.open(reader.firstVideo().orElseThrow())) {
 *     reader.packets().filter(decoder::accepts).flatMap(packet -> decoder.decode(packet).stream())
 *             .forEach(picture -> show(picture.toBufferedImage()));
 * }
 * }</pre>
 *
 * <p>A decoder may move from thread to thread, but two threads must not call it at the same time: the second one gets a
 * {@link MediaStateException}, as does every use after {@link #close()}. Different decoders work in parallel.
 *
 * <p>Square pictures are not decoded yet, and pictures that a decoder still holds back at the end of a stream, for
 * their order, are not given out yet.
 */
public final class VideoDecoder implements AutoCloseable {

    private static final int ANY_STREAM = -1;

    private static final int PICTURE = 0;
    private static final int MORE_PICTURES = 1;
    private static final int CHANGED_PICTURE = 4;
    private static final int ERROR = 8;

    private final NativeHandle handle;
    private final DecoderBuffers buffers;
    private final VideoFormat format;
    private final PictureFormat pictureFormat;
    private final int streamIndex;
    private final PacketTimes times = new PacketTimes();
    private List<Picture> finished = new ArrayList<>();

    private VideoDecoder(long address, DecoderBuffers buffers, VideoFormat format, PictureFormat pictureFormat,
            int streamIndex) {
        this.handle = new NativeHandle("decoder", this, address, dead -> BoundBuffers.with(buffers, () -> {
            c_multimediaapi_ffmpeg.n_vcodec_delete(dead);
            return null;
        }));
        this.buffers = buffers;
        this.format = format;
        this.pictureFormat = pictureFormat;
        this.streamIndex = streamIndex;
    }

    /**
     * Opens a decoder that gives RGB pictures, ready for {@link Picture#toBufferedImage()}.
     *
     * @param stream a stream of pictures
     * @return the decoder, to be closed
     * @throws UnsupportedCodecException when its video cannot be decoded
     * @throws LibraryException when the library cannot be loaded
     */
    public static VideoDecoder open(MediaStream stream) {
        return open(stream, PictureFormat.RGB32);
    }

    /**
     * Opens a decoder.
     *
     * @param stream a stream of pictures
     * @param pictureFormat the format of the pictures; most video is decoded into {@link PictureFormat#I420} or
     *     {@link PictureFormat#YV12} without any conversion
     * @return the decoder, to be closed
     * @throws UnsupportedCodecException when its video cannot be decoded
     * @throws LibraryException when the library cannot be loaded
     */
    public static VideoDecoder open(MediaStream stream, PictureFormat pictureFormat) {
        return open(VideoFormat.of(stream), pictureFormat, stream.index());
    }

    /**
     * Opens a decoder for video that does not come from a {@link MediaReader}.
     *
     * @param format the compressed video
     * @param pictureFormat the format of the pictures
     * @return the decoder, to be closed
     * @throws UnsupportedCodecException when the video cannot be decoded
     * @throws LibraryException when the library cannot be loaded
     */
    public static VideoDecoder open(VideoFormat format, PictureFormat pictureFormat) {
        return open(format, pictureFormat, ANY_STREAM);
    }

    private static VideoDecoder open(VideoFormat format, PictureFormat pictureFormat, int streamIndex) {
        if (!pictureFormat.fitsArrays()) {
            throw new UnsupportedCodecException("pictures are not given as " + pictureFormat
                    + ", which does not fit into an array; take RGB32");
        }
        if (format.width() == format.height()) {
            throw new UnsupportedCodecException("square pictures (" + format.width() + "x" + format.height()
                    + ") are not supported yet");
        }
        long context = FfmpegLibrary.context();
        DecoderBuffers buffers = new DecoderBuffers();
        long address;
        try {
            address = c_multimediaapi_ffmpeg.n_create_vcodec_to_raw(context, format.subtype(), format.toNative(),
                    format.extradata(), new Object[] {pictureFormat.toColorModel()}, buffers);
        } catch (RuntimeException e) {
            throw new UnsupportedCodecException("no decoder for " + format + ": " + MediaException.plain(e), e);
        }
        VideoDecoder decoder = new VideoDecoder(address, buffers, format, pictureFormat, streamIndex);
        try {
            // A container's packet is a whole picture; told so, no decoder delays it to look for the picture's end.
            c_codecoptions_ffmpeg.n_vcodec_set_option(address, c_codecoptions_ffmpeg.WHOLE_PACKETS, 1);
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

    /** {@return the format of the pictures} */
    public PictureFormat pictureFormat() {
        return pictureFormat;
    }

    /**
     * Whether a packet is of this decoder's stream.
     *
     * @param packet any packet of the reader that the stream is from
     * @return whether {@link #decode} takes it
     */
    public boolean accepts(Packet packet) {
        return streamIndex == ANY_STREAM || packet.streamIndex() == streamIndex;
    }

    /**
     * Decodes a packet. Pictures come in the order in which they are shown, which may be some packets later than the
     * packet that they are made of.
     *
     * @param packet the stream's next packet
     * @return the pictures that are ready, often exactly one; each belongs to the caller
     * @throws DecodeException when the packet is damaged; pictures finished before are given by the next call
     * @throws IllegalArgumentException when the packet is of another stream
     */
    public List<Picture> decode(Packet packet) {
        Objects.requireNonNull(packet, "packet");
        if (!accepts(packet)) {
            throw new IllegalArgumentException(packet + " is not of the decoder's stream " + streamIndex);
        }
        return handle.call(address -> BoundBuffers.with(buffers, () -> {
            try {
                decode(address, packet);
            } catch (RuntimeException | Error e) {
                throw translate(e);
            }
            List<Picture> pictures = finished;
            finished = new ArrayList<>();
            return pictures;
        }));
    }

    /**
     * Forgets what the decoder holds. Call it after a seek, before the first packet from the new place.
     *
     * @throws MediaStateException when the decoder is closed or in use
     */
    public void reset() {
        handle.call(address -> BoundBuffers.with(buffers, () -> {
            c_multimediaapi_ffmpeg.n_vcodec_reset(address);
            times.forget();
            finished.clear();
            return null;
        }));
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

    private void decode(long address, Packet packet) {
        Object[] out = new Object[1];
        int[] params = new int[16];
        params[1] = packet.size();
        params[3] = times.remember(packet);
        int result = c_multimediaapi_ffmpeg.n_vcodec_process(address, packet.bytes(), out, params);
        boolean failed = result == ERROR;
        if (failed) {
            // Pictures that were finished before the fault wait inside.
            result = handOut(address, out, params);
        }
        while (result == MORE_PICTURES) {
            take(out, params, packet);
            result = handOut(address, out, params);
        }
        if (result == PICTURE || result == CHANGED_PICTURE) {
            take(out, params, packet);
        }
        failed |= result == ERROR;
        if (failed) {
            throw new DecodeException("a packet cannot be decoded: " + packet);
        }
    }

    private static int handOut(long address, Object[] out, int[] params) {
        Arrays.fill(params, 0);
        out[0] = null;
        return c_multimediaapi_ffmpeg.n_vcodec_process(address, null, out, params);
    }

    private void take(Object[] out, int[] params, Packet packet) {
        PictureMemory memory = (PictureMemory) out[0];
        int elementSize = memory.format().elementSize();
        int[] planeOffsets = new int[4];
        for (int plane = 0; plane < planeOffsets.length; plane++) {
            planeOffsets[plane] = params[6] * elementSize + params[7 + plane];
        }
        // A picture that was converted has the stream's first size, though the decoder's may have changed since.
        long shown = params[11];
        boolean converted = pictureFormat.packedSize(memory.width(), memory.height()) / elementSize != shown
                && pictureFormat.packedSize(format.width(), format.height()) / elementSize == shown;
        int width = converted ? format.width() : memory.width();
        int height = converted ? format.height() : memory.height();
        long key = params[13] & 0xFFFFFFFFL | (long) params[14] << 32;
        finished.add(new Picture(memory, width, height, planeOffsets, times.of(key, packet), format.timeBase()));
    }

    /** The library's own failures become ours; what Java threw inside it, such as a lack of memory, passes through. */
    private static RuntimeException translate(Throwable e) {
        if (e.getClass() == RuntimeException.class || e.getClass() == Error.class) {
            return new DecodeException("decoding failed: " + MediaException.plain(e), e);
        }
        if (e instanceof Error error) {
            throw error;
        }
        return (RuntimeException) e;
    }
}
