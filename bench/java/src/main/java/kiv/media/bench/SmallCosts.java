package kiv.media.bench;

import java.io.IOException;
import java.nio.file.Path;
import java.util.List;
import java.util.concurrent.TimeUnit;
import kiv.media.ffmpeg.AudioBlock;
import kiv.media.ffmpeg.AudioDecoder;
import kiv.media.ffmpeg.FfmpegLibrary;
import kiv.media.ffmpeg.MediaReader;
import kiv.media.ffmpeg.MediaStream;
import kiv.media.ffmpeg.MediaSubtypes;
import kiv.media.ffmpeg.Packet;
import kiv.media.ffmpeg.Picture;
import kiv.media.ffmpeg.VideoDecoder;
import kiv.media.ffmpeg.WaveFormat;
import kiv.media.ffmpeg.c_multimediaapi_ffmpeg;
import kiv.media.ffmpeg.natives.AudioFormatLayout;
import kiv.media.ffmpeg.natives.AudioParams;
import kiv.media.ffmpeg.natives.ProcessFlags;
import kiv.media.ffmpeg.natives.VideoFormatLayout;
import kiv.media.ffmpeg.natives.VideoParams;
import org.openjdk.jmh.annotations.Benchmark;
import org.openjdk.jmh.annotations.BenchmarkMode;
import org.openjdk.jmh.annotations.Mode;
import org.openjdk.jmh.annotations.OutputTimeUnit;
import org.openjdk.jmh.annotations.Scope;
import org.openjdk.jmh.annotations.Setup;
import org.openjdk.jmh.annotations.State;
import org.openjdk.jmh.annotations.TearDown;

/** What calls cost that do little: the way into the library and out, and what is made for each packet. */
@State(Scope.Thread)
@BenchmarkMode(Mode.AverageTime)
@OutputTimeUnit(TimeUnit.MICROSECONDS)
public class SmallCosts {

    /** Four samples of each of two channels, and the tag of plain PCM. */
    private static final int PCM_BYTES = 16;
    private static final int PCM_TAG = 1;
    private static final int RATE = 44_100;
    /** A film of small pictures that are all the same, each but the first of which says so. */
    private static final Path FILM = Path.of(System.getProperty("bench.small", "."));

    private final byte[] pcm = new byte[PCM_BYTES];
    private final byte[] out = new byte[PCM_BYTES * 4];
    private final int[] audioParams = new int[AudioParams.SIZE];
    private final int[] videoParams = new int[VideoParams.SIZE];
    private final Object[] picture = new Object[1];
    private final Packet sound = Packet.of(pcm, 0, 0, 0, true);
    private Packet still;
    private MediaStream stream;
    private long context;
    private long audioCodec;
    private long videoCodec;
    private AudioDecoder audio;
    private VideoDecoder video;

    /**
     * Opens the decoders.
     *
     * @throws IOException when there is no film
     */
    @Setup
    public void open() throws IOException {
        FfmpegLibrary.load();
        context = c_multimediaapi_ffmpeg.n_init(FfmpegLibrary.directory().toString(), null, 0);
        int[] format = new int[AudioFormatLayout.SIZE];
        format[AudioFormatLayout.FORMAT_TAG] = PCM_TAG;
        format[AudioFormatLayout.CHANNELS] = 2;
        format[AudioFormatLayout.SAMPLE_RATE] = RATE;
        format[AudioFormatLayout.BYTES_PER_SECOND] = RATE * 4;
        format[AudioFormatLayout.BLOCK_ALIGN] = 4;
        format[AudioFormatLayout.BITS_PER_SAMPLE] = 16;
        audioCodec = c_multimediaapi_ffmpeg.n_create_acodec_to_pcm(context, format, null);
        audio = AudioDecoder.open(WaveFormat.pcm16(RATE, 2));
        try (MediaReader reader = MediaReader.open(FILM)) {
            stream = reader.firstVideo().orElseThrow();
            video = VideoDecoder.open(stream);
            video.decode(reader.read()).forEach(Picture::close);
            still = reader.read();
        }
        int[] pictures = new int[VideoFormatLayout.SIZE];
        pictures[VideoFormatLayout.WIDTH] = stream.width();
        pictures[VideoFormatLayout.HEIGHT] = stream.height();
        videoCodec = c_multimediaapi_ffmpeg.n_create_vcodec_to_raw(context, MediaSubtypes.find(stream).orElseThrow(), pictures,
                null, null, this);
        if (!c_multimediaapi_ffmpeg.n_vcodec_open(videoCodec)) {
            throw new IllegalStateException("the decoder does not open");
        }
        if (smallPicture() != 1) {
            throw new IllegalStateException("no small picture");
        }
    }

    /** Closes them. */
    @TearDown
    public void close() {
        video.close();
        audio.close();
        c_multimediaapi_ffmpeg.n_vcodec_delete(videoCodec);
        c_multimediaapi_ffmpeg.n_acodec_delete(audioCodec);
        c_multimediaapi_ffmpeg.n_close(context);
    }

    /** {@return the result of an entry point that has nothing to do} */
    @Benchmark
    public int callWithoutData() {
        videoParams[VideoParams.LENGTH] = 0;
        return c_multimediaapi_ffmpeg.n_vcodec_process(videoCodec, null, picture, videoParams);
    }

    /** {@return the result of decoding four samples of PCM through the entry point} */
    @Benchmark
    public int pcmThroughEntry() {
        audioParams[AudioParams.OFFSET] = 0;
        audioParams[AudioParams.LENGTH] = PCM_BYTES;
        audioParams[AudioParams.FLAGS] = ProcessFlags.WHOLE_PACKET;
        audioParams[AudioParams.OUT_OFFSET] = 0;
        audioParams[AudioParams.OUT_LENGTH] = out.length;
        return c_multimediaapi_ffmpeg.n_acodec_process(audioCodec, pcm, out, audioParams);
    }

    /** {@return the same through the API} */
    @Benchmark
    public List<AudioBlock> pcmThroughApi() {
        return audio.decode(sound);
    }

    /** {@return a packet of the caller's} */
    @Benchmark
    public Packet packetOfCaller() {
        return Packet.of(pcm, 0, 0, 0, true);
    }

    /** {@return how many pictures came, which are closed} */
    @Benchmark
    public int smallPicture() {
        int count = 0;
        for (Picture one : video.decode(still)) {
            one.close();
            count++;
        }
        return count;
    }

    /** {@return a decoder's pictures after it was opened and before it is closed} */
    @Benchmark
    public int openAndClose() {
        try (VideoDecoder decoder = VideoDecoder.open(stream)) {
            return decoder.finish().size();
        }
    }
}
