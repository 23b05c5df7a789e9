package kiv.media.ffmpeg;

import java.io.Closeable;
import java.io.IOException;
import java.io.InputStream;
import java.io.OutputStream;
import java.io.UncheckedIOException;
import java.nio.channels.SeekableByteChannel;
import java.nio.file.Path;
import java.time.Duration;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import java.util.Objects;
import java.util.concurrent.atomic.AtomicLong;
import java.util.stream.LongStream;
import java.util.stream.Stream;
import kiv.media.ffmpeg.index.PacketIndex;

/**
 * The pictures of a film, any of them in any order.
 *
 * <pre>{@code
 * try (Film film = Film.open(Path.of("film.mp4"))) {
 *     for (Picture picture : film.spread(10)) {
 *         try (picture) {
 *             ImageIO.write(picture.toShownImage(), "png", file(picture.time()));
 *         }
 *     }
 * }
 * }</pre>
 *
 * <p>Picture number i, from 0, is the one that decoding the whole first video stream on one thread gives after i others, with
 * the same pixels and the same time, whatever the container says about times, key pictures and places. For that a film reads the
 * stream's packets, without decoding them, as far as it needs them, and keeps what it learns of them until it is closed:
 * about 40 bytes a packet. It decodes from the last place before the picture where decoding can start. Where the packets do
 * not say enough, such as within damage or with rare codecs, it decodes the film from its beginning. An
 * {@linkplain #openApproximate(Path) approximate} film trusts the container instead.
 *
 * <p>Damage may change how many pictures there are, or what a decoder guesses for what is missing. The film notices it in the
 * heads of pictures and slices, in what pictures say of others, in what the container's reader logs, and when the decoder
 * reports or logs it. From then on it decodes from its beginning, and compares each picture with what that gives. Damage
 * behind the heads is noticed only when its picture is decoded. Most decoders show such a picture all the same, so that the
 * numbers of those behind it stay.
 *
 * <p>Decoders of AV1, Theora, ProRes, DNxHD, JPEG 2000, Ut Video, HuffYUV and WebP leave it out, so that decoding alone says
 * which number a picture has. Films of these codecs give and take numbers ({@link #picture}, {@link #pictures},
 * {@link #range}, {@link #count}, {@link #numberAt}, {@link #timeOf}) only after they have decoded all pictures before, from
 * the beginning and on one thread, each once as long as the film is open. {@link #saveIndex} decodes the rest, and a film that
 * loads the index decodes nothing for numbers. What is asked for by time ({@link #pictureAt}, {@link #picturesAt},
 * {@link #picturesFrom}) or {@linkplain #spread spread} costs one group of pictures as with other codecs, if the packets state
 * times that increase.
 *
 * <p>{@link #verify()} decodes all of a film for those who must be sure that no damage changes a pixel.
 *
 * <p>The bytes of the film should not change while it is open. A packet that is read again is compared with its checksum, so a
 * file that grew or shrank gives the pictures that it had, or a {@link MediaFormatException}.
 *
 * <p>One thread at a time uses a film: a second one gets a {@link MediaStateException}. So does each call after
 * {@link #close()}. Callers own the pictures, which do not depend on the film.
 */
public final class Film implements Closeable {

    private final MediaReader reader;
    private final MediaStream stream;
    private final SeekableByteChannel channel;
    private final FilmPictures pictures;
    /** The same; null when it trusts the container. */
    private final FilmDecoder exact;
    private final ExclusiveAccess access = new ExclusiveAccess("film");

    /**
     * A packet of a film's index.
     *
     * @param position where it begins in the container, in bytes; -1 when unknown
     * @param presentationTime in units of the stream's time base, or {@link Packet#NO_TIME}
     * @param decodingTime in units of the stream's time base, or {@link Packet#NO_TIME}
     * @param duration in units of the stream's time base; 0 when unknown
     * @param size in bytes
     * @param key whether the container says that decoding can start with it
     * @param restart whether its picture says that decoding can start with it
     */
    public record IndexEntry(long position, long presentationTime, long decodingTime, long duration, int size, boolean key,
            boolean restart) {
    }

    private Film(SeekableByteChannel channel, ReaderLimits limits, boolean exactly, Isolation isolation) throws IOException {
        this.channel = channel;
        Workplace place = isolation.place();
        reader = MediaReader.open(new SharedChannel(channel), limits, place);
        try {
            stream = reader.firstVideoOrThrow();
            VideoFormat.of(stream);
            exact = !exactly ? null : new FilmDecoder(reader, stream,
                    () -> MediaReader.open(new SharedChannel(channel), limits, place));
            pictures = exactly ? exact : new ApproximateFilm(reader, stream);
        } catch (Throwable e) {
            reader.release();
            throw e;
        }
    }

    /**
     * Opens the first video stream of a file.
     *
     * @param file the file
     * @return the film, which the caller closes
     * @throws IOException when the file cannot be read
     * @throws MediaFormatException when it is no media file of a known kind, or has no pictures
     * @throws UnsupportedCodecException when its pictures cannot be decoded
     * @throws LibraryException when the library cannot be loaded
     */
    public static Film open(Path file) throws IOException {
        return MediaFile.open(file, Film::open);
    }

    /**
     * Opens the first video stream of a file within limits of the caller's. Otherwise as {@link #open(Path)}.
     *
     * @param file the file
     * @param limits what opening may cost
     * @return the film, which the caller closes
     * @throws IOException when the file cannot be read
     */
    public static Film open(Path file, ReaderLimits limits) throws IOException {
        return open(file, limits, Isolation.usual());
    }

    /**
     * Opens the first video stream of a file within limits and in a place of the caller's. Otherwise as {@link #open(Path)}.
     * The call that finds the process of the film ended throws a {@link WorkerException}, and so does each later one: open the
     * film again.
     *
     * @param file the file
     * @param limits what opening may cost
     * @param isolation where the film works
     * @return the film, which the caller closes
     * @throws IOException when the file cannot be read
     */
    public static Film open(Path file, ReaderLimits limits, Isolation isolation) throws IOException {
        Objects.requireNonNull(limits, "limits");
        Objects.requireNonNull(isolation, "isolation");
        return MediaFile.open(file, channel -> open(channel, limits, isolation));
    }

    /**
     * Opens the first video stream of a file in a place of the caller's. Otherwise as
     * {@link #open(Path, ReaderLimits, Isolation)}.
     *
     * @param file the file
     * @param isolation where the film works
     * @return the film, which the caller closes
     * @throws IOException when the file cannot be read
     */
    public static Film open(Path file, Isolation isolation) throws IOException {
        return open(file, ReaderLimits.USUAL, isolation);
    }

    /**
     * Opens the first video stream of a channel. The film uses the channel alone and closes it. When this method throws, the
     * channel stays open.
     *
     * @param channel the bytes
     * @return the film, which the caller closes
     * @throws IOException when the channel cannot be read
     */
    public static Film open(SeekableByteChannel channel) throws IOException {
        return open(channel, ReaderLimits.USUAL);
    }

    /**
     * Opens the first video stream of a channel within limits of the caller's. Otherwise as
     * {@link #open(SeekableByteChannel)}.
     *
     * @param channel the bytes
     * @param limits what opening may cost
     * @return the film, which the caller closes
     * @throws IOException when the channel cannot be read
     */
    public static Film open(SeekableByteChannel channel, ReaderLimits limits) throws IOException {
        return open(channel, limits, Isolation.usual());
    }

    /**
     * Opens the first video stream of a channel within limits and in a place of the caller's. Otherwise as
     * {@link #open(SeekableByteChannel)} and {@link #open(Path, ReaderLimits, Isolation)}.
     *
     * @param channel the bytes
     * @param limits what opening may cost
     * @param isolation where the film works
     * @return the film, which the caller closes
     * @throws IOException when the channel cannot be read
     */
    public static Film open(SeekableByteChannel channel, ReaderLimits limits, Isolation isolation) throws IOException {
        return new Film(Objects.requireNonNull(channel, "channel"), Objects.requireNonNull(limits, "limits"), true,
                Objects.requireNonNull(isolation, "isolation"));
    }

    /**
     * Opens a film that trusts its container, which is cheap and may be wrong: pictures are numbered by the container's frame
     * rate, and decoding starts where the container leads to. No index is made.
     *
     * @param file the file
     * @return the film, which the caller closes
     * @throws IOException when the file cannot be read
     */
    public static Film openApproximate(Path file) throws IOException {
        return openApproximate(file, Isolation.usual());
    }

    /**
     * Opens a film that trusts its container in a place of the caller's. Otherwise as {@link #openApproximate(Path)} and
     * {@link #open(Path, ReaderLimits, Isolation)}.
     *
     * @param file the file
     * @param isolation where the film works
     * @return the film, which the caller closes
     * @throws IOException when the file cannot be read
     */
    public static Film openApproximate(Path file, Isolation isolation) throws IOException {
        Objects.requireNonNull(isolation, "isolation");
        return MediaFile.open(file, channel -> new Film(channel, ReaderLimits.USUAL, false, isolation));
    }

    /**
     * Opens a film in a channel that trusts its container. Otherwise as {@link #openApproximate(Path)}.
     *
     * @param bytes the bytes, which the film uses alone and closes
     * @return the film, which the caller closes
     * @throws IOException when the channel cannot be read
     */
    public static Film openApproximate(SeekableByteChannel bytes) throws IOException {
        return openApproximate(bytes, Isolation.usual());
    }

    /**
     * Opens a film in a channel that trusts its container in a place of the caller's. Otherwise as
     * {@link #openApproximate(SeekableByteChannel)} and {@link #open(Path, ReaderLimits, Isolation)}.
     *
     * @param bytes the bytes, which the film uses alone and closes
     * @param isolation where the film works
     * @return the film, which the caller closes
     * @throws IOException when the channel cannot be read
     */
    public static Film openApproximate(SeekableByteChannel bytes, Isolation isolation) throws IOException {
        return new Film(Objects.requireNonNull(bytes, "bytes"), ReaderLimits.USUAL, false,
                Objects.requireNonNull(isolation, "isolation"));
    }

    /** {@return the stream of the pictures} */
    public MediaStream stream() {
        return stream;
    }

    /** {@return the container's name, as {@link MediaReader#formatName()}} */
    public String formatName() {
        return reader.formatName();
    }

    /** {@return the time on the container's time line from which people count: where the medium starts, at least 0} */
    public Duration beginning() {
        return reader.startTime().filter(start -> !start.isNegative()).orElse(Duration.ZERO);
    }

    /** {@return whether numbers and times are those of decoding the whole film} */
    public boolean isExact() {
        return exact != null;
    }

    /**
     * Returns how many pictures the film has. An exact film reads all packets for that, once; it decodes them too when
     * {@linkplain #numbersTakeDecoding() numbers take decoding}.
     *
     * @return the number of pictures
     * @throws IOException when the bytes cannot be read
     * @throws MediaFormatException when the film is approximate and the container does not say
     */
    public long count() throws IOException {
        return access.call(pictures::count);
    }

    /**
     * Returns whether a number, of a picture or of all, takes decoding the film up to it: in an exact film of a codec whose
     * decoders leave out pictures, until all of it was decoded once, by this film or by the one whose index it has loaded.
     * Pictures that are asked for by their times do not depend on that.
     *
     * @return whether numbers take decoding
     */
    public boolean numbersTakeDecoding() {
        return exact != null && exact.numbersTakeDecoding();
    }

    /**
     * Returns a picture.
     *
     * @param number its number, from 0
     * @return the picture, which the caller closes
     * @throws IndexOutOfBoundsException when the film has no such picture
     * @throws IOException when the bytes cannot be read
     * @throws MediaFormatException when the bytes have changed since the film was opened
     */
    public Picture picture(long number) throws IOException {
        return access.call(() -> pictures.existing(number));
    }

    /**
     * Returns the picture that is shown at a time: the last one that does not begin later. Before the first picture that is
     * the first one, and at the end the last one.
     *
     * @param time on the container's time line, as {@link Picture#time()}
     * @return the picture, which the caller closes
     * @throws IOException when the bytes cannot be read
     * @throws MediaFormatException when not one picture can be decoded
     */
    public Picture pictureAt(Duration time) throws IOException {
        return access.call(() -> pictures.pictureAt(stream.units(time)));
    }

    /**
     * Returns the number of the picture that is shown at a time, as {@link #pictureAt}. Nothing is decoded for that unless
     * the packets do not say enough, or {@linkplain #numbersTakeDecoding() numbers take decoding}.
     *
     * @param time on the container's time line
     * @return the picture's number
     * @throws IOException when the bytes cannot be read
     * @throws MediaFormatException when not one picture can be decoded
     */
    public long numberAt(Duration time) throws IOException {
        return access.call(() -> pictures.numberAt(stream.units(time)));
    }

    /**
     * Returns when a picture is shown, without decoding it unless {@linkplain #numbersTakeDecoding() numbers take decoding}.
     *
     * @param number the picture's number, from 0
     * @return its time on the container's time line
     * @throws IndexOutOfBoundsException when the film has no such picture
     * @throws IOException when the bytes cannot be read
     * @throws MediaFormatException when the picture has no time
     */
    public Duration timeOf(long number) throws IOException {
        return access.call(() -> {
            if (number < 0 || !pictures.has(number)) {
                throw new IndexOutOfBoundsException("there is no picture " + number);
            }
            return stream.time(pictures.timeOf(number))
                    .orElseThrow(() -> new MediaFormatException("picture " + number + " has no time"));
        });
    }

    /**
     * Returns some pictures. They are decoded in the order of their numbers, so that nothing is decoded twice.
     *
     * @param numbers their numbers, from 0, in any order, also several times
     * @return the pictures, in the order of the numbers; the caller closes each of them
     * @throws IndexOutOfBoundsException when the film has no such picture
     * @throws IOException when the bytes cannot be read
     */
    public List<Picture> pictures(long... numbers) throws IOException {
        Objects.requireNonNull(numbers, "numbers");
        return access.call(() -> pictures.all(pictures::existing, numbers));
    }

    /**
     * Returns the pictures that are shown at some times, as {@link #pictureAt}. They are decoded in order, so that nothing is
     * decoded twice.
     *
     * @param times on the container's time line, in any order
     * @return the pictures, in the order of the times; the caller closes each of them
     * @throws IOException when the bytes cannot be read
     */
    public List<Picture> picturesAt(Duration... times) throws IOException {
        Objects.requireNonNull(times, "times");
        return access.call(() -> pictures.allAt(Arrays.stream(times).mapToLong(stream::units).toArray()));
    }

    /**
     * Returns the pictures from the one on that is shown at a time, up to the film's end. Each is decoded only when it is
     * asked for.
     *
     * @param time on the container's time line, as {@link #pictureAt}
     * @return a sequential stream, which need not be closed; the caller closes each picture. It throws
     *     {@link UncheckedIOException} when the bytes cannot be read, and {@link MediaFormatException} when not one picture can
     *     be decoded
     */
    public Stream<Picture> picturesFrom(Duration time) {
        FilmPlace place = new FilmPlace(stream.units(time));
        return pull(() -> pictures.next(place));
    }

    /**
     * Returns pictures that are evenly spread over the film: each stands for a part of the film, and is the one in its
     * middle. The parts are equal in the number of pictures that the packets promise, also where a decoder leaves out some, so
     * that each picture costs one group at most.
     *
     * @param pictures how many, at least 1; a film that has fewer gives all it has
     * @return the pictures in their order; the caller closes each of them
     * @throws IllegalArgumentException for a number less than 1
     * @throws IOException when the bytes cannot be read
     */
    public List<Picture> spread(int pictures) throws IOException {
        List<Picture> spread = new ArrayList<>();
        try {
            spreadOneByOne(pictures).forEach(spread::add);
            return spread;
        } catch (UncheckedIOException e) {
            spread.forEach(Picture::close);
            throw e.getCause();
        } catch (Throwable e) {
            spread.forEach(Picture::close);
            throw e;
        }
    }

    /**
     * Returns the pictures of {@link #spread}, each decoded only when it is asked for, so that they need not all be in the
     * memory at once.
     *
     * @param pictures how many, at least 1; a film that has fewer gives all it has
     * @return a sequential stream, which need not be closed; the caller closes each picture. It throws
     *     {@link UncheckedIOException} when the bytes cannot be read
     * @throws IllegalArgumentException for a number less than 1
     * @throws IOException when the bytes cannot be read
     */
    public Stream<Picture> spreadOneByOne(int pictures) throws IOException {
        if (pictures < 1) {
            throw new IllegalArgumentException(pictures + " pictures");
        }
        long parts = Math.min(pictures, access.call(this.pictures::promised));
        AtomicLong part = new AtomicLong();
        return pull(() -> part.get() < parts ? this.pictures.middle(part.getAndIncrement(), parts) : null);
    }

    /** Returns a stream of what some work gives, until that is null. */
    private Stream<Picture> pull(ExclusiveAccess.Work<Picture> work) {
        return new PullSpliterator<Picture>() {
            @Override
            Picture next() {
                try {
                    return access.call(work);
                } catch (IOException e) {
                    throw new UncheckedIOException(e);
                }
            }
        }.stream();
    }

    /**
     * Returns the pictures of a range, each decoded only when it is asked for. A step back gives them from the last to the
     * first, and decodes some at once.
     *
     * @param from the first one's number
     * @param to the number that ends the range and is not in it; the end of the film ends it too
     * @param step from each number to the next, not 0
     * @return a sequential stream, which need not be closed; the caller closes each picture. It throws
     *     {@link UncheckedIOException} when the bytes cannot be read
     * @throws IllegalArgumentException for a step of 0, or a negative number
     */
    public Stream<Picture> range(long from, long to, long step) {
        if (step == 0 || from < 0 || to < -1) {
            throw new IllegalArgumentException("no range: from " + from + " to " + to + " in steps of " + step);
        }
        return new FilmRange(this, from, to, step).stream();
    }

    /** Whether there is a picture of that number, at least 0, which is certain. */
    boolean has(long number) throws IOException {
        return access.call(() -> pictures.has(number));
    }

    /**
     * Returns what an exact film knows of its packets, after it has read all of them.
     *
     * @return the packets in the order in which they are stored, each made when it is asked for
     * @throws MediaStateException when the film is approximate
     * @throws IOException when the bytes cannot be read
     */
    public Stream<IndexEntry> index() throws IOException {
        return access.call(() -> {
            indexed().readAll();
            PacketIndex index = exact.map().index();
            return LongStream.range(0, index.size()).mapToObj(i -> {
                int at = (int) i;
                return new IndexEntry(index.position(at), index.presentationTime(at), index.decodingTime(at),
                        index.duration(at), index.bytes(at), index.has(at, PacketIndex.KEY),
                        index.has(at, PacketIndex.RESTART));
            });
        });
    }

    /**
     * Decodes the whole film and notes what each packet gives, and a checksum of each picture. Afterwards every picture is
     * compared with its checksum, here and in films that load this one's {@linkplain #saveIndex index}, so that damage that
     * the heads of pictures do not show changes nothing.
     *
     * @throws MediaStateException when the film is approximate
     * @throws IOException when the bytes cannot be read
     */
    public void verify() throws IOException {
        access.call(() -> {
            indexed().learnAll();
            return null;
        });
    }

    private FilmDecoder indexed() {
        if (exact == null) {
            throw new MediaStateException("an approximate film has no index");
        }
        return exact;
    }

    /**
     * Writes the index, after all packets were read, and decoded when {@linkplain #numbersTakeDecoding() numbers take
     * decoding}. It is small, and another film of the same bytes can {@linkplain #loadIndex load} it.
     *
     * @param to where to; stays open
     * @throws MediaStateException when the film is approximate
     * @throws IOException when the bytes cannot be read or written
     */
    public void saveIndex(OutputStream to) throws IOException {
        access.call(() -> {
            saved().write(indexed()::save, to);
            return null;
        });
    }

    private SavedIndex saved() throws IOException {
        return new SavedIndex(SavedIndex.Kind.FILM, channel.size(), reader.formatName(), stream.codecName());
    }

    /**
     * Loads an index instead of reading the packets. Each packet is compared with the index when it is read, the first one at
     * once.
     *
     * @param from what {@link #saveIndex} wrote; read to its end
     * @throws MediaFormatException when it is damaged, or of another film or FFmpeg
     * @throws MediaStateException when the film is approximate
     * @throws IOException when the bytes cannot be read
     */
    public void loadIndex(InputStream from) throws IOException {
        access.call(() -> {
            saved().read(from, indexed()::load);
            return null;
        });
    }

    /** {@return how many packets were decoded so far: what the pictures have cost} */
    public long decodedPackets() {
        return pictures.decodedPackets();
    }

    /** {@return how many packets could not be decoded so far, of those that had to be decoded after all before them} */
    public long damagedPackets() {
        return pictures.damagedPackets();
    }

    /**
     * Closes the film and its channel. A second call does nothing. Its pictures stay usable.
     *
     * @throws IOException when the channel cannot be closed
     * @throws MediaStateException when another thread calls the film
     */
    @Override
    public void close() throws IOException {
        if (access.isClosed()) {
            return;
        }
        access.close("let one thread at a time call it", () -> {
            pictures.close();
            channel.close();
        });
    }
}
