package kiv.media.ffmpeg;

import java.io.UncheckedIOException;
import java.util.ArrayDeque;
import java.util.ArrayList;
import java.util.Deque;
import java.util.Iterator;
import java.util.List;
import java.util.Objects;
import java.util.function.Function;
import java.util.stream.Stream;
import kiv.media.ffmpeg.natives.PacketFields;
import kiv.media.ffmpeg.natives.PacketFlags;
import kiv.media.ffmpeg.natives.PictureCall;
import kiv.media.ffmpeg.natives.PictureResult;
import kiv.media.ffmpeg.natives.ProcessFlags;
import kiv.media.ffmpeg.natives.c_codecoptions_ffmpeg;
import kiv.media.ffmpeg.wall.PictureDecoder;

/**
 * Decodes the packets of one video stream into pictures.
 *
 * <pre>{@code
 * try (MediaReader reader = MediaReader.open(Path.of("film.mp4"));
 *         VideoDecoder decoder = VideoDecoder.open(reader)) {
 *     for (Picture picture : decoder.each(reader)) {
 *         try (picture) {
 *             show(picture.toShownImage());
 *         }
 *     }
 * }
 * }</pre>
 *
 * <p>The pictures have the decoder's own pixel format and lose nothing. {@link Picture} converts them.
 *
 * <p>A decoder may move from thread to thread, but two threads must not call it at the same time: the second one gets a
 * {@link MediaStateException}. So does each call after {@link #close()}. Different decoders work in parallel.
 */
public final class VideoDecoder implements AutoCloseable {

    /** Stands for the key of a packet that does not exist. */
    private static final int NO_KEY = -1;
    /** Pictures of the usual size of old films and smaller ones are decoded before another thread takes them over. */
    private static final int PIXELS_FOR_ONE_THREAD = 320 * 240;
    /** Stands for as many threads as the pictures are worth. */
    private static final int USUAL_THREADS = 0;

    private final NativeHandle<Made> handle;
    private PictureMemoryPool pool;
    private final int threads;
    private final VideoFormat format;
    /** Null when the packets are no reader's. */
    private final MediaStream stream;
    private final PacketFilter filter;
    private final WholePacketCheck wholePackets;
    private final PacketTimes times = new PacketTimes();
    private long errors;
    private final PictureClock clock;
    /** Whether pictures state the presentation times of their own packet and of the one whose decoding delivered them. */
    private final boolean numbered;
    private final Deque<Picture> finished = new ArrayDeque<>();
    private final long[] call = new long[PictureCall.SIZE];
    private PictureKind kind;
    private final boolean strict;
    private final Workplace place;

    /**
     * What works for a decoder, until it is closed or restarted.
     *
     * @param pool the memory of its pictures
     */
    private record Made(PictureDecoder decoder, PictureMemoryPool pool) {

        void delete() {
            decoder.delete();
            pool.close();
        }
    }

    private VideoDecoder(Made made, int threads, VideoFormat format, MediaStream stream,
            boolean numbered, boolean strict, Workplace place) {
        boolean usual = threads == USUAL_THREADS;
        int taken = usual && format.width() * format.height() > PIXELS_FOR_ONE_THREAD ? ThreadBudget.take() : 0;
        this.handle = new NativeHandle<>("decoder", this, made, dead -> {
            dead.delete();
            ThreadBudget.putBack(taken);
        });
        this.pool = made.pool;
        this.strict = strict;
        this.place = place;
        this.threads = usual ? Math.max(1, taken) : threads;
        this.format = format;
        this.stream = stream;
        this.numbered = numbered;
        this.filter = new PacketFilter(stream);
        this.wholePackets = new WholePacketCheck(format.codecName(), format.extradata(), place);
        this.clock = new PictureClock(stream == null ? new Rational(0, 0) : stream.frameRate(), format.timeBase());
    }

    /**
     * Opens a decoder for the pictures of a medium: its {@linkplain MediaReader#firstVideo() first video stream}. Otherwise as
     * {@link #open(MediaStream)}.
     *
     * @param reader the reader of the medium, which stays with the caller
     * @return the decoder, to be closed
     * @throws UnsupportedCodecException when the library has no decoder for the stream
     * @throws MediaFormatException when there are no pictures in the medium, or their size is unknown
     */
    public static VideoDecoder open(MediaReader reader) {
        return open(reader.firstVideoOrThrow());
    }

    /**
     * Opens a decoder that uses all processors, up to 16, unless the pictures are small or many decoders are open.
     *
     * @param stream a video stream
     * @return the decoder, to be closed
     * @throws UnsupportedCodecException when the library has no decoder for the stream
     * @throws MediaFormatException when the size of the pictures is unknown
     * @throws IllegalArgumentException when the stream is not a video stream
     * @throws LibraryException when the library cannot be loaded
     */
    public static VideoDecoder open(MediaStream stream) {
        return open(stream, false, false, USUAL_THREADS);
    }

    /**
     * Opens a decoder with a number of threads. It delivers the same pictures in the same order whatever that number is,
     * but later: with many codecs each further thread holds back one more picture until {@link #finish()}, and the error
     * of a damaged packet may come with one of the next packets. What a decoder guesses for damaged parts of pictures may
     * depend on the number. Threads take memory, a few pictures each.
     *
     * @param stream a video stream
     * @param threads 1 to 64; more than the processors are of no use
     * @return the decoder, to be closed
     * @throws UnsupportedCodecException when the library has no decoder for the stream
     * @throws MediaFormatException when the size of the pictures is unknown
     * @throws IllegalArgumentException when the stream is not a video stream, or for another number of threads
     * @throws LibraryException when the library cannot be loaded
     */
    public static VideoDecoder open(MediaStream stream, int threads) {
        return open(stream, false, false, checked(threads));
    }

    private static int checked(int threads) {
        if (threads < 1 || threads > c_codecoptions_ffmpeg.MOST_THREADS) {
            throw new IllegalArgumentException("no decoder has " + threads + " threads; 1 to "
                    + c_codecoptions_ffmpeg.MOST_THREADS + " are possible");
        }
        return threads;
    }

    /**
     * Opens a decoder whose pictures have no times, but two numbers instead: the presentation time of the own packet as
     * {@link Picture#timestamp()}, and that of the packet whose decoding delivered the picture as
     * {@link Picture#duration()}. Each is {@link Packet#NO_TIME} when there is none.
     *
     * @param strict whether damage that the decoder notices is an error, instead of something to guess at
     */
    static VideoDecoder openNumbered(MediaStream stream, boolean strict) {
        return open(stream, true, strict, 1);
    }

    /**
     * Opens a decoder with one thread for packets that no {@link MediaReader} reads.
     *
     * @param format the compressed video
     * @return the decoder, to be closed
     * @throws UnsupportedCodecException when the library has no decoder for the format
     * @throws LibraryException when the library cannot be loaded
     */
    public static VideoDecoder open(VideoFormat format) {
        return open(format, 1);
    }

    /**
     * Opens a decoder with a number of threads for packets that no {@link MediaReader} reads.
     *
     * @param format the compressed video
     * @param threads 1 to 64, as for {@link #open(MediaStream, int)}
     * @return the decoder, to be closed
     * @throws UnsupportedCodecException when the library has no decoder for the format
     * @throws IllegalArgumentException for another number of threads
     * @throws LibraryException when the library cannot be loaded
     */
    public static VideoDecoder open(VideoFormat format, int threads) {
        return open(format, threads, Isolation.usual());
    }

    /**
     * Opens a decoder in a place of the caller's for packets that no {@link MediaReader} reads. Otherwise as
     * {@link #open(VideoFormat, int)}. Decoders of a reader's streams work where the reader does.
     *
     * @param format the compressed video
     * @param threads 1 to 64, as for {@link #open(MediaStream, int)}
     * @param isolation where the decoder works
     * @return the decoder, to be closed
     * @throws UnsupportedCodecException when the library has no decoder for the format
     * @throws IllegalArgumentException for another number of threads
     */
    public static VideoDecoder open(VideoFormat format, int threads, Isolation isolation) {
        return open(Objects.requireNonNull(format, "format"), null, false, false, checked(threads),
                Objects.requireNonNull(isolation, "isolation").place());
    }

    private static VideoDecoder open(MediaStream stream, boolean numbered, boolean strict, int threads) {
        return open(VideoFormat.of(stream), stream, numbered, strict, threads, stream.place());
    }

    private static VideoDecoder open(VideoFormat format, MediaStream stream, boolean numbered, boolean strict,
            int threads, Workplace place) {
        Made made = make(format, place);
        VideoDecoder decoder = new VideoDecoder(made, threads, format, stream, numbered, strict, place);
        try {
            decoder.configure(made.decoder);
            return decoder;
        } catch (Throwable e) {
            decoder.close();
            throw e;
        }
    }

    private static Made make(VideoFormat format, Workplace place) {
        try {
            PictureDecoder made = format.createDecoder(place);
            return new Made(made, new PictureMemoryPool(made.memory()));
        } catch (MediaException e) {
            throw e;
        } catch (RuntimeException e) {
            throw new UnsupportedCodecException("no decoder for " + format + ": " + MediaException.plain(e), e);
        }
    }

    private void configure(PictureDecoder made) {
        try {
            configureAndOpen(made);
        } catch (RuntimeException | Error e) {
            throw MediaException.of(e, "opening a decoder", UnsupportedCodecException::new);
        }
    }

    private void configureAndOpen(PictureDecoder made) {
        // A container's packet is a whole picture. A decoder that knows this does not wait for the next packet.
        made.setOption(c_codecoptions_ffmpeg.WHOLE_PACKETS, 1);
        made.setOption(c_codecoptions_ffmpeg.POOLED_PICTURES, 1);
        made.setOption(c_codecoptions_ffmpeg.THREADS, threads);
        if (stream != null && !stream.isOfSplitter()) {
            stream.describePictures(made);
        }
        made.setOption(c_codecoptions_ffmpeg.DAMAGE_IS_ERROR, strict ? 1 : 0);
        if (!made.open()) {
            throw new UnsupportedCodecException("the decoder does not open for " + format
                    + "; its private data may be missing or damaged");
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
        return call(codec -> {
            wholePackets.check(packet);
            decode(codec, packet);
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
        return call(codec -> {
            end(codec);
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
        return decoding(reader).stream();
    }

    private PullSpliterator<Picture> decoding(MediaReader reader) {
        filter.check(reader);
        PacketMemory memory = new PacketMemory();
        return new DecodingSpliterator<>(() -> reader.read(memory), filter, this::decodeOrEnd, () -> call(codec -> {
            codec.expectAhead();
            Picture picture = finished.poll();
            if (picture != null) {
                goOn(codec, reader);
            }
            return picture;
        }));
    }

    /** Has a decoder behind the wall decode the packets that come next, while the caller looks at a picture. */
    private void goOn(PictureDecoder codec, MediaReader reader) {
        int[] key = {times.nextKey() + codec.taken()};
        reader.demuxer().decodeAhead(codec, stream, packet -> {
            long[] ahead = codec.nextCall();
            pool.stock(ahead, false);
            ahead[PictureCall.KEY] = key[0]++;
            boolean isKey = (packet.fields()[PacketFields.FLAGS] & PacketFlags.KEY) != 0;
            codec.add(packet, isKey ? ProcessFlags.KEY : 0, ahead);
        });
    }

    /**
     * Decodes the rest of this decoder's stream and converts each picture, on other threads while the thread that reads the
     * stream decodes on. It is the quickest way to an image of every picture:
     *
     * <pre>{@code
     * Queue<BufferedImage> spare = new ConcurrentLinkedQueue<>();
     * try (Stream<BufferedImage> images = decoder.pictures(reader, picture -> picture.toShownImage(spare.poll()))) {
     *     images.forEach(image -> {
     *         show(image);
     *         spare.add(image);
     *     });
     * }
     * }</pre>
     *
     * <p>Without the queue of images that are used again each picture would become a new one, whose memory the virtual machine
     * clears.
     *
     * <p>The results come in the order of the pictures. There are few of them at a time, some more than processors: what is
     * ready waits until it is asked for. Pictures that were decoded ahead are lost when the stream ends early; otherwise it
     * is as that of {@link #pictures(MediaReader)}. Close it when it may end early: after that no conversion is running.
     *
     * @param reader the reader of the decoder's stream
     * @param conversion makes something of a picture, and is called by several threads. The picture is closed when it returns.
     *     It calls neither the decoder nor the reader, and never returns null. What it throws, the stream throws in the place
     *     of its result
     * @param <T> what it makes
     * @return the results
     * @throws IllegalArgumentException when the decoder was opened without a stream, or its stream belongs to another
     *     reader
     */
    public <T> Stream<T> pictures(MediaReader reader, Function<? super Picture, ? extends T> conversion) {
        return new ConvertingSpliterator<T>(decoding(reader), conversion).closableStream();
    }

    /**
     * Decodes the rest of this decoder's stream in a loop, whose body may throw any exception:
     *
     * <pre>{@code
     * for (Picture picture : decoder.each(reader)) {
     *     try (picture) {
     *         ImageIO.write(picture.toShownImage(), "png", file);
     *     }
     * }
     * }</pre>
     *
     * @param reader the reader of the decoder's stream
     * @return the pictures as {@link #pictures(MediaReader)} delivers them, for one loop
     * @throws IllegalArgumentException when the decoder was opened without a stream, or its stream belongs to another
     *     reader
     */
    public Iterable<Picture> each(MediaReader reader) {
        return pictures(reader)::iterator;
    }

    /**
     * Decodes packets that come from elsewhere, such as those that {@link PacketSplitter#packets} cuts. Otherwise as
     * {@link #pictures(MediaReader)}: each packet is taken only when a picture is asked for, damaged packets and those of other
     * streams are skipped, and the pictures that {@link #finish} returns come last.
     *
     * @param packets the packets, in the order in which they are decoded
     * @return the pictures. The stream throws what the stream of packets throws, {@link IllegalArgumentException} as
     *     {@link #decode} does, {@link MediaStateException} when the decoder is closed or in use, and {@link MediaException} when
     *     there is no memory left for a picture
     */
    public Stream<Picture> pictures(Stream<Packet> packets) {
        Iterator<Packet> rest = packets.iterator();
        return new DecodingSpliterator<>(() -> rest.hasNext() ? rest.next() : null, filter, this::decodeOrEnd,
                () -> call(codec -> finished.poll())).stream();
    }

    /** Null ends the stream. */
    private void decodeOrEnd(Packet packet) {
        call(codec -> {
            if (packet == null) {
                end(codec);
            } else {
                wholePackets.check(packet);
                decode(codec, packet);
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
        call(codec -> {
            reset(codec);
            forget();
            return null;
        });
    }

    private void forget() {
        times.forget();
        clock.forget();
        finished.forEach(Picture::close);
        finished.clear();
    }

    /**
     * Goes on after a {@link WorkerException}, in the process of the restarted reader or another one. The decoder is then as
     * after {@link #reset()}: most codecs give pictures from the next key picture on, and some of what the packets before it
     * hold. Its pictures stay usable.
     *
     * @throws UnsupportedCodecException when the decoder does not open again
     * @throws WorkerException when the new process ends at once
     * @throws MediaStateException when the decoder is closed or in use
     */
    public void restart() {
        handle.call(dead -> {
            Made made = make(format, place);
            boolean ready = false;
            try {
                configure(made.decoder);
                ready = true;
            } finally {
                if (!ready) {
                    made.delete();
                }
            }
            forget();
            pool = made.pool;
            handle.replace(made).delete();
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

    private <T> T call(NativeHandle.Call<PictureDecoder, T, RuntimeException> work) {
        return handle.call(made -> work.on(made.decoder));
    }

    private List<Picture> deliver() {
        List<Picture> pictures = new ArrayList<>(finished);
        finished.clear();
        return pictures;
    }

    /** {@return how many errors the decoder has logged; those of further threads are not counted} */
    long errors() {
        return errors;
    }

    private void decode(PictureDecoder codec, Packet packet) {
        int key = times.remember(packet);
        if (process(codec, packet.bytes(), packet.size(), packet.isKey() ? ProcessFlags.KEY : 0, key)) {
            throw new DecodeException("a packet cannot be decoded: " + packet
                    + (threads == 1 ? "" : ", or one of the " + threads + " packets before it"));
        }
    }

    private void end(PictureDecoder codec) {
        process(codec, null, 0, ProcessFlags.DRAIN, NO_KEY);
        reset(codec);
        times.forget();
        clock.begin();
    }

    private static void reset(PictureDecoder codec) {
        try {
            codec.reset();
        } catch (RuntimeException | Error e) {
            throw MediaException.of(e, "decoding", DecodeException::new);
        }
    }

    /**
     * Decodes a packet, or drains, and takes all pictures that are ready.
     *
     * @param key the packet's
     * @return whether a packet could not be decoded
     */
    private boolean process(PictureDecoder codec, byte[] packet, int length, int flags, int key) {
        int result = 0;
        boolean first = true;
        boolean failed = false;
        do {
            pool.stock(call, (result & PictureResult.MEMORY) != 0);
            call[PictureCall.KEY] = key;
            try {
                result = codec.decode(packet, first ? length : 0, first ? flags : 0, call);
            } catch (RuntimeException | Error e) {
                throw MediaException.of(e, "decoding", DecodeException::new);
            }
            errors += call[PictureCall.ERRORS];
            try {
                if ((result & PictureResult.PICTURE) != 0) {
                    take(key);
                }
            } finally {
                pool.unstock(call);
            }
            failed |= (result & PictureResult.FAILED) != 0;
            first = false;
        } while ((result & (PictureResult.MORE | PictureResult.MEMORY)) != 0);
        return failed;
    }

    private void take(int key) {
        if (kind == null || !kind.isThatOf(call)) {
            kind = PictureKind.of(call, stream, format.timeBase());
        }
        long own = call[PictureCall.PICTURE_KEY];
        long fed = threads == 1 ? key : call[PictureCall.FED_KEY];
        PacketTimes.Times known = numbered ? times.numbers(own, fed) : clock.complete(times.of(own, fed));
        finished.add(kind.picture(pool.delivered(call), known, call[PictureCall.KEY_PICTURE] != 0));
    }
}
