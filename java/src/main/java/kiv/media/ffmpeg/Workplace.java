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

    /** The system property that chooses where the objects of the API work: {@code process} or {@code wall}. */
    static final String PROPERTY = "kiv.media.ffmpeg.isolation";

    private static final WorkerLimits LIMITS = new WorkerLimits(2L << 30, 0, 20_000);

    private static final WorkerFailures FAILURES = new WorkerFailures() {
        @Override
        public RuntimeException ended(WorkerEnd end, long packets) {
            return new WorkerException(end, packets);
        }

        @Override
        public RuntimeException notStarted(Throwable cause) {
            return new LibraryException("cannot start a process behind the wall: " + cause.getMessage(), cause);
        }
    };

    /** Null for this process. */
    private final WorkerLimits limits;
    /** Of the objects that were made last. */
    private Worker newest;

    private Workplace(WorkerLimits limits) {
        this.limits = limits;
    }

    /** {@return a place in a process behind the wall that may take so much} */
    static Workplace behindWall(WorkerLimits limits) {
        return new Workplace(limits);
    }

    /** {@return a place of the kind that the system property chooses} */
    static Workplace usual() {
        String chosen = System.getProperty(PROPERTY, "process");
        if (!chosen.equals("process") && !chosen.equals("wall")) {
            throw new IllegalArgumentException("-D" + PROPERTY + "=" + chosen + " is neither process nor wall");
        }
        return new Workplace(chosen.equals("wall") ? LIMITS : null);
    }

    private boolean isWall() {
        return limits != null;
    }

    /** A lane of the worker, or of a new one when that has ended. */
    private synchronized Lane lane() {
        Lane lane = newest == null ? null : newest.openLane();
        if (lane != null) {
            try {
                lane.limitAllocations(FfmpegLibrary.allocationLimit());
                return lane;
            } catch (WorkerException e) {
                // It ended between two orders. What worked there will report that.
            }
        }
        lane = Worker.start(program(), FfmpegLibrary.directory(), limits, FAILURES);
        newest = lane.worker();
        lane.limitAllocations(FfmpegLibrary.allocationLimit());
        return lane;
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
