package kiv.media.ffmpeg.cli;

import java.io.IOException;
import java.nio.file.Path;
import java.time.Duration;
import java.util.List;
import java.util.Optional;
import kiv.media.ffmpeg.DecodeException;
import kiv.media.ffmpeg.MediaFormatException;
import kiv.media.ffmpeg.MediaReader;
import kiv.media.ffmpeg.MediaStream;
import kiv.media.ffmpeg.Packet;
import kiv.media.ffmpeg.Picture;
import kiv.media.ffmpeg.VideoDecoder;

/** Decodes a part of a file and passes every picture and every piece of sound on that is wanted. */
final class DecodeJob {

    private static final double MILLIS = 1000;

    private final InputOptions input;
    private final TimeRange range;
    private final long every;
    private final Long limit;
    private final DecodeObserver observer;

    private Duration start = Duration.ZERO;
    private MediaStream video;
    private PictureClock clock;
    /** Pictures of the part. */
    private long decoded;
    private long written;
    private long damaged;
    private boolean picturesDone;

    /** @param limit null for no limit */
    DecodeJob(InputOptions input, TimeRange range, long every, Long limit, DecodeObserver observer) {
        this.input = input;
        this.range = range;
        this.every = every;
        this.limit = limit;
        this.observer = observer;
    }

    /** Does it all; what is not wanted is null. */
    void run(MediaReader reader, MediaStream pictureStream, VideoDecoder decoder, PictureOutput pictures,
            SoundWriter sound, Progress progress) throws IOException {
        start = TimeRange.beginning(reader);
        video = pictureStream;
        clock = video == null ? null : new PictureClock(video);
        picturesDone = video == null;
        for (Packet packet = reader.read(); packet != null && !isDone(sound); packet = reader.read()) {
            Unfinished.check();
            if (decoder != null && decoder.accepts(packet)) {
                if (!picturesDone) {
                    decode(packet, decoder, pictures, progress);
                }
            } else if (sound != null && sound.accepts(packet) && !sound.isDone()) {
                sound.write(packet);
                if (decoder == null) {
                    progress.at((long) sound.seconds());
                }
            }
        }
        if (decoder != null && !picturesDone) {
            take(decoder.finish(), pictures, progress);
        }
        finish(pictures, sound);
    }

    private boolean isDone(SoundWriter sound) {
        return limitIsReached() || picturesDone && (sound == null || sound.isDone());
    }

    private boolean limitIsReached() {
        return limit != null && written >= limit;
    }

    private void decode(Packet packet, VideoDecoder decoder, PictureOutput pictures, Progress progress)
            throws IOException {
        List<Picture> ready;
        try {
            ready = decoder.decode(packet);
        } catch (DecodeException e) {
            damaged++;
            return;
        }
        take(ready, pictures, progress);
    }

    private void take(List<Picture> ready, PictureOutput pictures, Progress progress) throws IOException {
        for (Picture picture : ready) {
            clock.next(picture);
            Duration time = video.time(clock.timestamp()).orElse(Duration.ZERO).minus(start);
            picturesDone |= range.endsBefore(time) || limitIsReached();
            if (picturesDone || !range.beginsBefore(time)) {
                picture.close();
                continue;
            }
            if (decoded++ % every == 0) {
                observer.picture(picture, decoded);
                pictures.write(picture, decoded);
                written++;
            } else {
                picture.close();
            }
            progress.at(decoded);
        }
    }

    private void finish(PictureOutput pictures, SoundWriter sound) throws IOException {
        String part = range.from() == null && range.to() == null ? "" : " " + range;
        if (pictures != null && decoded == 0) {
            throw new MediaFormatException(input.about(part.isEmpty() ? "not one picture could be decoded"
                    : "there is no picture" + part));
        }
        if (pictures == null && sound.frames() == 0) {
            throw new MediaFormatException(input.about(part.isEmpty() ? "no sound could be decoded"
                    : "there is no sound" + part));
        }
        if (pictures != null) {
            pictures.finish();
        }
        if (sound != null) {
            sound.finish();
        }
    }

    DecodeObserver.Summary summary(MediaReader reader, MediaStream pictureStream, PictureOutput pictures,
            SoundWriter sound, double seconds) {
        Optional<SoundWriter> heard = Optional.ofNullable(sound);
        return new DecodeObserver.Summary(input.file(), reader.formatName(), reader.streams(),
                Optional.ofNullable(pictureStream), decoded, written, pictures == null ? "" : pictures.target(),
                heard.map(SoundWriter::stream), heard.map(SoundWriter::frames).orElse(0L),
                heard.map(SoundWriter::file).<Path>map(file -> file),
                damaged, heard.map(SoundWriter::damaged).orElse(0L), range, seconds);
    }

    /** How many pictures there will be, as far as the container knows; 0 when it does not. */
    static long expected(MediaReader reader, MediaStream video, TimeRange range, long every, Long limit) {
        double seconds = seconds(reader, video, range);
        boolean whole = range.from() == null && range.to() == null;
        long all = whole && video.frameCount() > 0 ? video.frameCount()
                : Math.round(seconds * video.frameRate().toDouble());
        // In this order, because the product of what a user typed may be too large for a number.
        return limit != null && (limit - 1) < all / every ? Math.min(all, (limit - 1) * every + 1) : all;
    }

    /** How long a part of a stream is, as far as the container knows; 0 when it does not. */
    static double seconds(MediaReader reader, MediaStream stream, TimeRange range) {
        double all = stream.duration().or(reader::duration).map(d -> d.toMillis() / MILLIS).orElse(0.0);
        double end = range.to() == null ? all : Math.min(all, range.to().toMillis() / MILLIS);
        return Math.max(0, end - (range.from() == null ? 0 : range.from().toMillis() / MILLIS));
    }
}
