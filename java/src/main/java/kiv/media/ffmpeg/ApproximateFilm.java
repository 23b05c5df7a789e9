package kiv.media.ffmpeg;

import java.io.IOException;
import java.time.Duration;
import java.util.ArrayDeque;
import java.util.Deque;

/** Gives the pictures of a film where its container says that they are. */
final class ApproximateFilm implements FilmPictures {

    private final MediaReader reader;
    private final MediaStream stream;
    private final VideoDecoder decoder;
    private long decoded;

    ApproximateFilm(MediaReader reader, MediaStream stream) {
        this.reader = reader;
        this.stream = stream;
        this.decoder = VideoDecoder.open(stream, 1);
    }

    @Override
    public long decodedPackets() {
        return decoded;
    }

    @Override
    public long count() {
        if (stream.frameCount() > 0) {
            return stream.frameCount();
        }
        Duration duration = stream.duration().or(reader::duration).orElse(Duration.ZERO);
        long count = Math.round((duration.getSeconds() + duration.getNano() / 1e9) * stream.frameRate().toDouble());
        if (count <= 0) {
            throw new MediaFormatException("the container does not say how many pictures there are");
        }
        return count;
    }

    private double ticksOfPicture() {
        double ticks = 1 / (stream.frameRate().toDouble() * stream.timeBase().toDouble());
        if (!(ticks > 0) || Double.isInfinite(ticks)) {
            throw new MediaFormatException("the container does not say how many pictures a second has");
        }
        return ticks;
    }

    private long firstTick() {
        return stream.startTime().isPresent() ? stream.startTicks() : 0;
    }

    private long tickOf(long number) {
        return firstTick() + Math.round(number * ticksOfPicture());
    }

    @Override
    public boolean has(long number) {
        return number < count();
    }

    @Override
    public long timeOf(long number) {
        return tickOf(number);
    }

    @Override
    public long numberAt(long tick) {
        return Math.max(0, (long) Math.floor((tick - firstTick() + 0.5) / ticksOfPicture()));
    }

    @Override
    public Picture picture(long number) throws IOException {
        return has(number) ? pictureAt(tickOf(number) + (long) (ticksOfPicture() / 2)) : null;
    }

    @Override
    public Picture pictureAt(long tick) throws IOException {
        reader.demuxer().trySeek(stream.index(), tick, false);
        decoder.reset();
        Picture shown = null;
        Deque<Picture> ready = new ArrayDeque<>();
        boolean more = true;
        try {
            while (more) {
                more = decodeNext(ready);
                for (Picture picture; (picture = ready.poll()) != null;) {
                    if (shown != null && (picture.timestamp() == Packet.NO_TIME || picture.timestamp() > tick)) {
                        picture.close();
                        return shown;
                    }
                    if (shown != null) {
                        shown.close();
                    }
                    shown = picture;
                }
            }
        } finally {
            ready.forEach(Picture::close);
        }
        if (shown == null) {
            throw new MediaFormatException("there is no picture behind the place that the container names");
        }
        return shown;
    }

    private boolean decodeNext(Deque<Picture> ready) throws IOException {
        Packet packet = reader.read();
        try {
            if (packet == null) {
                ready.addAll(decoder.finish());
            } else if (decoder.accepts(packet)) {
                decoded++;
                ready.addAll(decoder.decode(packet));
            }
        } catch (DecodeException e) {
            // The film goes on without it.
        }
        return packet != null;
    }

    @Override
    public void close() {
        decoder.close();
        reader.release();
    }
}
