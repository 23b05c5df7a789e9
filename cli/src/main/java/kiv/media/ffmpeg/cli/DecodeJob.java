package kiv.media.ffmpeg.cli;

import java.io.IOException;
import java.io.UncheckedIOException;
import java.time.Duration;
import java.util.ArrayDeque;
import java.util.Deque;
import java.util.Iterator;
import java.util.List;
import java.util.Optional;
import java.util.function.Consumer;
import kiv.media.ffmpeg.DecodeException;
import kiv.media.ffmpeg.Film;
import kiv.media.ffmpeg.MediaFormatException;
import kiv.media.ffmpeg.MediaReader;
import kiv.media.ffmpeg.MediaStream;
import kiv.media.ffmpeg.Packet;
import kiv.media.ffmpeg.Picture;
import kiv.media.ffmpeg.VideoDecoder;
import kiv.media.ffmpeg.WorkerException;

/** Decodes a part of a file and writes the pictures and the sound that are wanted. */
final class DecodeJob {

    private static final double NANOS = 1e9;
    /** More than containers round times. */
    private static final Duration BEFORE = Duration.ofMillis(1);
    /** So many packets of sound wait for the first picture, with which the sound begins. */
    private static final int MOST_WAITING = 4096;

    private final MediaInput input;
    private final TimeRange range;
    private final long every;
    private final Long limit;
    private final DecodeObserver observer;
    private final Consumer<String> warnings;
    /** With a limit of pictures, sound waits until the pictures that it plays beside are known. */
    private final Deque<Packet> heldSound = new ArrayDeque<>();
    /** Whether sound waits for the first picture. */
    private boolean waiting;

    private Duration start = Duration.ZERO;
    private MediaStream video;
    /** Pictures of the part so far. */
    private long decoded;
    private long written;
    private long damaged;
    private boolean picturesDone;
    private PacketSource packets;

    /**
     * @param limit null for no limit
     * @param aligned whether sound beside pictures begins with the first of them
     * @param warnings receives a line when the file is not decoded to its end
     */
    DecodeJob(MediaInput input, TimeRange range, long every, Long limit, boolean aligned, DecodeObserver observer,
            Consumer<String> warnings) {
        this.warnings = warnings;
        this.waiting = aligned;
        this.input = input;
        this.range = range;
        this.every = every;
        this.limit = limit;
        this.observer = observer;
    }

    /**
     * Decodes and writes everything. An argument for what is not wanted is null.
     *
     * @param film gives the pictures, so that decoding need not start at the beginning; null to decode the reader's packets
     */
    void run(MediaReader reader, MediaStream pictureStream, VideoDecoder decoder, Film film, PictureOutput pictures,
            SoundWriter sound, Progress progress) throws IOException {
        start = TimeRange.beginning(reader);
        video = pictureStream;
        picturesDone = video == null;
        waiting &= video != null && sound != null;
        packets = new PacketSource(input, reader, warnings);
        try {
            decode(decoder, film, pictures, sound, progress);
        } catch (WorkerException e) {
            packets.endWith(e);
        }
        if (sound != null) {
            endSound(sound);
        }
        packets.reportDeath(decoded > 0 || sound != null && sound.frames() > 0);
        finish(pictures, sound);
    }

    private void decode(VideoDecoder decoder, Film film, PictureOutput pictures, SoundWriter sound, Progress progress)
            throws IOException {
        if (film != null) {
            takePictures(film, pictures, sound, progress);
        }
        for (Packet packet; !isDone(sound) && (packet = packets.next()) != null;) {
            if (decoder != null && decoder.accepts(packet)) {
                if (!picturesDone && film == null) {
                    decode(packet, decoder, pictures, sound, progress);
                }
            } else if (sound != null && sound.accepts(packet) && !sound.isDone()) {
                takeSound(packet, sound);
                if (decoder == null) {
                    progress.at((long) sound.seconds());
                }
            }
        }
        if (decoder != null && !picturesDone && film == null) {
            takePictures(decoder.finish(), pictures, sound, progress);
        }
    }

    private void endSound(SoundWriter sound) throws IOException {
        try {
            while (!heldSound.isEmpty()) {
                sound.write(heldSound.remove());
            }
            sound.end();
        } catch (WorkerException e) {
            packets.endWith(e);
        }
    }

    /** Takes the pictures from shortly before the part on. Where the film ends first, its packets are still to be read. */
    private void takePictures(Film film, PictureOutput pictures, SoundWriter sound, Progress progress) throws IOException {
        try {
            if (film.range(0, 1, 1).peek(Picture::close).count() == 0) {
                return;
            }
            Duration first = range.from().plus(start).minus(BEFORE);
            for (Iterator<Picture> all = film.picturesFrom(first).iterator(); !picturesDone && all.hasNext();) {
                ShutdownGuard.throwIfEnding();
                takePictures(List.of(all.next()), pictures, sound, progress);
            }
            damaged = film.damagedPackets();
        } catch (UncheckedIOException e) {
            throw e.getCause();
        } catch (MediaFormatException e) {
            throw new MediaFormatException(input.about(e.getMessage()), e);
        }
    }

    private void takeSound(Packet packet, SoundWriter sound) throws IOException {
        if (waiting && heldSound.size() >= MOST_WAITING) {
            beginSound(video.startTime(), sound);
        }
        if ((waiting || limit != null) && !picturesDone) {
            heldSound.add(packet);
            return;
        }
        while (picturesDone && !heldSound.isEmpty()) {
            sound.write(heldSound.remove());
        }
        sound.write(packet);
    }

    /** Lets the sound begin at the time of the first picture. */
    private void beginSound(Optional<Duration> picture, SoundWriter sound) throws IOException {
        waiting = false;
        picture.ifPresent(sound::beginAt);
        while (limit == null && !heldSound.isEmpty()) {
            sound.write(heldSound.remove());
        }
    }

    /** Writes the sound that plays beside the pictures so far, and ends it with the last of them. */
    private void writeSoundUntil(Duration end, SoundWriter sound) throws IOException {
        if (limitIsReached()) {
            sound.endAt(end);
        }
        while (!heldSound.isEmpty() && (picturesDone || sound.beginsBefore(heldSound.element(), end))) {
            sound.write(heldSound.remove());
        }
    }

    private boolean isDone(SoundWriter sound) {
        return picturesDone && (sound == null || sound.isDone());
    }

    private boolean limitIsReached() {
        return limit != null && written >= limit;
    }

    private void decode(Packet packet, VideoDecoder decoder, PictureOutput pictures, SoundWriter sound,
            Progress progress) throws IOException {
        List<Picture> ready;
        try {
            ready = decoder.decode(packet);
        } catch (DecodeException e) {
            damaged++;
            return;
        }
        takePictures(ready, pictures, sound, progress);
    }

    private void takePictures(List<Picture> ready, PictureOutput pictures, SoundWriter sound, Progress progress)
            throws IOException {
        for (Picture picture : ready) {
            Duration time = picture.time().orElse(Duration.ZERO).minus(start);
            picturesDone |= range.endsBefore(time);
            if (picturesDone || !range.beginsBefore(time)) {
                picture.close();
                continue;
            }
            if (waiting) {
                beginSound(picture.time(), sound);
            }
            boolean wanted = decoded++ % every == 0;
            observer.picture(picture, decoded, wanted);
            if (wanted) {
                pictures.write(picture, decoded);
                written++;
            } else {
                picture.close();
            }
            progress.at(decoded);
            picturesDone |= limitIsReached();
            if (limit != null && sound != null) {
                writeSoundUntil(video.time(picture.timestamp() + picture.duration()).orElse(time), sound);
            }
        }
    }

    private void finish(PictureOutput pictures, SoundWriter sound) throws IOException {
        String part = range.from() == null && range.to() == null ? "" : " " + range;
        if (pictures != null && decoded == 0) {
            String failure = part.isEmpty() ? "not one picture could be decoded" : "there is no picture" + part;
            if (sound == null || sound.frames() == 0) {
                throw new MediaFormatException(input.about(failure));
            }
            warnings.accept(failure);
        }
        if (pictures == null && sound.frames() == 0) {
            throw new MediaFormatException(input.about(part.isEmpty() ? "no sound could be decoded" + sound.reason()
                    : "there is no sound" + part));
        }
        if (pictures != null) {
            pictures.finish();
        }
        if (sound != null && (sound.frames() > 0 || !packets.isKilled())) {
            sound.finish();
        }
    }

    /** {@return the exit status of the work, which succeeded} */
    int status() {
        return packets.status();
    }

    DecodeObserver.Summary summary(MediaReader reader, MediaStream pictureStream, PictureOutput pictures,
            SoundWriter sound, double seconds) {
        return new DecodeObserver.Summary(input.name(), reader.formatName(), Optional.ofNullable(pictureStream),
                decoded, written, pictures == null ? "" : pictures.target(), damaged, sound == null ? 0 : sound.damaged(),
                range, seconds);
    }

    /** Returns how many pictures there will be according to the container; 0 when it does not say. */
    static long expected(MediaReader reader, MediaStream video, TimeRange range, long every, Long limit) {
        double seconds = seconds(reader, video, range);
        boolean whole = range.from() == null && range.to() == null;
        long all = whole && video.frameCount() > 0 ? video.frameCount()
                : Math.round(seconds * video.frameRate().toDouble());
        // Compared by division, because the product of what a user typed may overflow.
        return limit != null && (limit - 1) < all / every ? Math.min(all, (limit - 1) * every + 1) : all;
    }

    /** Returns how long a part of a stream is according to the container; 0 when it does not say. */
    static double seconds(MediaReader reader, MediaStream stream, TimeRange range) {
        double all = stream.duration().or(reader::duration).map(DecodeJob::inSeconds).orElse(0.0);
        double end = range.to() == null ? all : Math.min(all, inSeconds(range.to()));
        return Math.max(0, end - (range.from() == null ? 0 : inSeconds(range.from())));
    }

    private static double inSeconds(Duration time) {
        return time.getSeconds() + time.getNano() / NANOS;
    }
}
