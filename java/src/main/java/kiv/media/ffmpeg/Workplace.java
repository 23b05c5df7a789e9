package kiv.media.ffmpeg;

import java.io.IOException;
import java.nio.file.Path;
import kiv.media.ffmpeg.loading.LoadingException;
import kiv.media.ffmpeg.loading.WorkerProgram;
import kiv.media.ffmpeg.natives.c_codecs_ffmpeg;
import kiv.media.ffmpeg.natives.c_encoders_ffmpeg;
import kiv.media.ffmpeg.natives.c_mediareader_source;
import kiv.media.ffmpeg.natives.c_resampler_ffmpeg;
import kiv.media.ffmpeg.natives.c_splitter_ffmpeg;
import kiv.media.ffmpeg.wall.ContainerReader;
import kiv.media.ffmpeg.wall.Lane;
import kiv.media.ffmpeg.wall.PictureDecoder;
import kiv.media.ffmpeg.wall.RemotePictureDecoder;
import kiv.media.ffmpeg.wall.RemoteReader;
import kiv.media.ffmpeg.wall.RemoteResampler;
import kiv.media.ffmpeg.wall.RemoteSoundCodec;
import kiv.media.ffmpeg.wall.RemoteSplitter;
import kiv.media.ffmpeg.wall.Resampler;
import kiv.media.ffmpeg.wall.SoundCodec;
import kiv.media.ffmpeg.wall.Splitter;
import kiv.media.ffmpeg.wall.Worker;
import kiv.media.ffmpeg.wall.WorkerEnd;
import kiv.media.ffmpeg.wall.WorkerFailures;
import kiv.media.ffmpeg.wall.WorkerLimits;

/**
 * Where the objects of one medium work: in this process, or in a process behind the wall that they share. Writers of containers
 * work here always: they read nothing but what encoders made, and FFmpeg's ask the system for random numbers in a way that the
 * wall forbids. Any thread may use it.
 */
final class Workplace {

    private static final WorkerFailures FAILURES = new WorkerFailures() {
        @Override
        public RuntimeException ended(WorkerEnd end, long packets, int stream) {
            return new WorkerException(end, packets, stream);
        }

        @Override
        public RuntimeException notStarted(Throwable cause) {
            return new LibraryException("cannot start a process behind the wall: " + cause.getMessage(), cause);
        }
    };

    /** Null for this process. */
    private final WorkerLimits limits;
    /** Null when no process is kept for the next medium. */
    private final WorkerPool pool;
    /** The place of the whole medium. */
    private final Workplace medium;
    /** The stream whose packets the objects take; negative for none. */
    private final int stream;
    /** Of the objects that were made last. */
    private Worker newest;
    /** The number that this medium has among the worker's users. */
    private int user;

    /**
     * Chooses a place.
     *
     * @param limits what the process may take; null for this process
     * @param pool where processes are kept for the next medium; null for none
     */
    Workplace(WorkerLimits limits, WorkerPool pool) {
        this.limits = limits;
        this.pool = pool;
        this.medium = this;
        this.stream = -1;
    }

    private Workplace(Workplace medium, int stream) {
        this.limits = medium.limits;
        this.pool = medium.pool;
        this.medium = medium;
        this.stream = stream;
    }

    /** {@return the same place, for objects that take a stream's packets} */
    Workplace ofStream(int index) {
        return new Workplace(medium, index);
    }

    private boolean isWall() {
        return limits != null;
    }

    private Lane lane() {
        Lane lane = medium.laneOfMedium();
        lane.setStream(stream);
        return lane;
    }

    /** A lane of the worker, or of a new one when that has ended. */
    private synchronized Lane laneOfMedium() {
        FfmpegLibrary.context();
        Lane lane = newest == null ? null : newest.openLane(user);
        boolean used = true;
        for (;;) {
            if (lane == null) {
                lane = Worker.start(program(), FfmpegLibrary.directory(), limits, FAILURES, pool == null ? null : pool.idle());
                newest = lane.worker();
                user = newest.user();
                used = user > 0;
            }
            try {
                lane.limitAllocations(FfmpegLibrary.allocationLimit());
                return lane;
            } catch (WorkerException e) {
                // A worker that was used before may have ended between two orders. What worked there reports that.
                if (!used) {
                    throw e;
                }
                lane = null;
            }
        }
    }

    /** {@return what a process behind the wall gave up, in its own words} */
    String held() {
        try (Lane lane = lane()) {
            return lane.worker().held();
        }
    }

    private static Path program() {
        try {
            return WorkerProgram.find();
        } catch (LoadingException e) {
            throw new LibraryException(e.getMessage(), e.getCause());
        }
    }

    ContainerReader openReader(c_mediareader_source source, boolean forward, long[] limits) throws IOException {
        long context = FfmpegLibrary.context();
        return isWall() ? RemoteReader.open(lane(), source, forward, limits)
                : DirectReader.open(context, source, forward, limits);
    }

    Splitter createSplitter(String codec) {
        long context = FfmpegLibrary.context();
        return isWall() ? RemoteSplitter.of(lane(), codec)
                : new DirectSplitter(c_splitter_ffmpeg.n_create_splitter(context, codec));
    }

    /** {@return an open decoder of sound; null when FFmpeg does not open it} */
    SoundCodec createSoundDecoder(long[] stream, byte[] extradata) {
        long context = FfmpegLibrary.context();
        return isWall() ? RemoteSoundCodec.decoder(lane(), stream, extradata)
                : DirectSoundCodec.of(c_codecs_ffmpeg.n_create_acodec(context, stream, extradata));
    }

    /** {@return an open decoder of sound; null when FFmpeg does not open it} */
    SoundCodec createSoundDecoder(int[] format, byte[] header) {
        long context = FfmpegLibrary.context();
        return isWall() ? RemoteSoundCodec.decoder(lane(), format, header)
                : DirectSoundCodec.of(c_multimediaapi_ffmpeg.n_create_acodec_to_pcm(context, format, header));
    }

    /** {@return an open encoder of sound; null when FFmpeg does not open it} */
    SoundCodec createSoundEncoder(int[] format) {
        long context = FfmpegLibrary.context();
        return isWall() ? RemoteSoundCodec.encoder(lane(), format)
                : DirectSoundCodec.of(c_multimediaapi_ffmpeg.n_create_acodec_from_pcm(context, format, null));
    }

    /** {@return an encoder of FFmpeg's codec that is not open} */
    SoundCodec createSoundEncoder(String codec, int samples, int channels, int sampleRate) {
        long context = FfmpegLibrary.context();
        return isWall() ? RemoteSoundCodec.encoder(lane(), codec, samples, channels, sampleRate) : DirectSoundCodec.of(
                c_encoders_ffmpeg.n_create_aencoder(context, codec, samples, channels, sampleRate));
    }

    Resampler createResampler(int samples, int channels, int from, int to) {
        long context = FfmpegLibrary.context();
        return isWall() ? RemoteResampler.of(lane(), samples, channels, from, to)
                : new DirectResampler(c_resampler_ffmpeg.n_create_resampler(context, samples, channels, from, to));
    }

    PictureDecoder createDecoder(String subtype, int[] format, byte[] extradata) {
        long context = FfmpegLibrary.context();
        return isWall() ? RemotePictureDecoder.of(lane(), subtype, format, extradata) : new DirectPictureDecoder(
                c_multimediaapi_ffmpeg.n_create_vcodec_to_raw(context, subtype, format, extradata, null, null));
    }

    PictureDecoder createDecoder(long[] stream, byte[] extradata) {
        long context = FfmpegLibrary.context();
        return isWall() ? RemotePictureDecoder.of(lane(), stream, extradata)
                : new DirectPictureDecoder(c_codecs_ffmpeg.n_create_vcodec(context, stream, extradata, null, null));
    }
}
