package kiv.media.ffmpeg.wall;

import java.nio.ByteBuffer;
import java.util.Arrays;
import kiv.media.ffmpeg.natives.AudioParams;
import kiv.media.ffmpeg.natives.AudioStatus;
import kiv.media.ffmpeg.natives.PacketFields;
import kiv.media.ffmpeg.natives.WorkerOrder;
import kiv.media.ffmpeg.natives.c_codecoptions_ffmpeg;

/** A decoder or encoder of sound behind the wall. */
public final class RemoteSoundCodec implements SoundCodec {

    /** No codec delivers output so often without using input. */
    private static final int MOST_IDLE = 10_000;
    /** Output of one call that is worth the memory. */
    private static final int MOST_OUTPUT = 1 << 30;
    /** Samples of one channel; the frames of FFmpeg's encoders are shorter. */
    private static final int LARGEST_FRAME = 1 << 20;

    /** Packets that are decoded before they are asked for: so many in a message, and so many bytes of their sound. */
    private static final int MOST_AHEAD = 32;
    private static final int MOST_BYTES_AHEAD = 256 * 1024;
    /** Behind a result with one of these the caller does not go on with the next packet at once. */
    private static final int UNUSUAL = AudioStatus.DECODING_ERROR | AudioStatus.INPUT_LEFT | AudioStatus.OUTPUT_LOST
            | AudioStatus.OUTPUT_TOO_SMALL;

    private final Lane lane;
    private final DecodingAhead<Given> ahead;
    private int idle;
    /** Bytes of output for which there was no room; 0 for none. */
    private int waiting;
    /** Whether the last call was a packet's last one. */
    private boolean usual;
    /** The output of the last call, where it came, and its bytes. */
    private ByteBuffer output;
    private int outputLength;

    /** A packet that is decoded before it is asked for. */
    private record Given(PacketAhead packet, int[] params) {
        boolean is(byte[] in, int[] other) {
            return Arrays.equals(params, 0, AudioParams.OUT_LENGTH + 1, other, 0, AudioParams.OUT_LENGTH + 1)
                    && packet.has(in, other[AudioParams.OFFSET], other[AudioParams.LENGTH]);
        }
    }

    private RemoteSoundCodec(Lane lane) {
        this.lane = lane;
        this.ahead = new DecodingAhead<>(lane, UNUSUAL, MOST_AHEAD, MOST_BYTES_AHEAD, undone -> { });
    }

    /**
     * Makes an open decoder of a stream.
     *
     * @param lane becomes the decoder's, and is closed when there is none
     * @param stream laid out as {@link kiv.media.ffmpeg.natives.StreamFields}
     * @param extradata the codec's private data
     * @return the decoder; null when FFmpeg does not open it
     */
    public static RemoteSoundCodec decoder(Lane lane, long[] stream, byte[] extradata) {
        return opened(lane, WorkerOrder.SOUND_CREATE, () -> lane.begin().put(stream).put(extradata));
    }

    /**
     * Makes an open decoder of a format tag.
     *
     * @param lane becomes the decoder's, and is closed when there is none
     * @param format laid out as {@link kiv.media.ffmpeg.natives.AudioFormatLayout}
     * @param header the specific header
     * @return the decoder; null when FFmpeg does not open it
     */
    public static RemoteSoundCodec decoder(Lane lane, int[] format, byte[] header) {
        return opened(lane, WorkerOrder.SOUND_CREATE_TO_PCM, () -> lane.begin().put(format).put(header));
    }

    /**
     * Makes an open encoder of a format tag.
     *
     * @param lane becomes the encoder's, and is closed when there is none
     * @param format laid out as {@link kiv.media.ffmpeg.natives.AudioFormatLayout}
     * @return the encoder; null when FFmpeg does not open it
     */
    public static RemoteSoundCodec encoder(Lane lane, int[] format) {
        return opened(lane, WorkerOrder.SOUND_CREATE_FROM_PCM, () -> lane.begin().put(format).put(new byte[0]));
    }

    /**
     * Makes an encoder of FFmpeg's codec, which is not open.
     *
     * @param lane becomes the encoder's, and is closed when this fails
     * @param codec the name of the codec
     * @param samples the number of the kind of its samples
     * @param channels number of channels
     * @param sampleRate samples a second and channel
     * @return the encoder
     */
    public static RemoteSoundCodec encoder(Lane lane, String codec, int samples, int channels, int sampleRate) {
        lane.create(() -> lane.begin().put(codec).put(samples).put(channels).put(sampleRate)
                .order(WorkerOrder.SOUND_CREATE_ENCODER));
        return new RemoteSoundCodec(lane);
    }

    private static RemoteSoundCodec opened(Lane lane, int order, Runnable values) {
        boolean[] opened = new boolean[1];
        lane.create(() -> {
            values.run();
            opened[0] = lane.order(order).takeInt() != 0;
        });
        if (!opened[0]) {
            lane.close();
            return null;
        }
        return new RemoteSoundCodec(lane);
    }

    @Override
    public boolean open() {
        idle = 0;
        return begin(false).order(WorkerOrder.SOUND_OPEN).takeInt() != 0;
    }

    @Override
    public void close() {
        begin(false).order(WorkerOrder.SOUND_CLOSE);
    }

    @Override
    public void reset() {
        begin(false).order(WorkerOrder.SOUND_RESET);
    }

    @Override
    public void setOption(String name, long value) {
        begin(true).put(name).put(value).order(WorkerOrder.SOUND_SET_OPTION);
    }

    @Override
    public long option(String name) {
        long value = begin(true).put(name).order(WorkerOrder.SOUND_GET_OPTION).takeLong();
        if (value < 0 || value > (name.equals(c_codecoptions_ffmpeg.FRAME_SIZE) ? LARGEST_FRAME : Integer.MAX_VALUE)) {
            throw lane.lied();
        }
        return value;
    }

    @Override
    public byte[] extradata() {
        return begin(true).order(WorkerOrder.SOUND_EXTRADATA).takeBytes();
    }

    /**
     * Begins an order in the place of those that were given ahead.
     *
     * @param surprise whether the decoder goes on with what their packets have left in it
     */
    private Lane begin(boolean surprise) {
        usual = false;
        ahead.drop(surprise);
        return lane.begin();
    }

    @Override
    public int process(byte[] in, byte[] room, int[] params) {
        int length = params[AudioParams.LENGTH];
        int size = params[AudioParams.OUT_LENGTH];
        Answer answer = length > 0 ? ahead.take(given -> given.is(in, params)) : null;
        if (answer == null) {
            if (length > 0) {
                lane.countPacket();
            }
            answer = begin(length > 0).put(params).put(in, params[AudioParams.OFFSET], length)
                    .order(WorkerOrder.SOUND_PROCESS);
        }
        int status = answer.takeInt();
        answer.takeInts(params);
        output = answer.takeView();
        outputLength = output.remaining();
        int needed = params[AudioParams.OUT_LENGTH];
        boolean tooSmall = (status & AudioStatus.OUTPUT_TOO_SMALL) != 0;
        boolean lies = (status & AudioStatus.OUTPUT_LOST) != 0
                || params[AudioParams.LENGTH] < 0 || params[AudioParams.LENGTH] > length || needed < 0 || needed > MOST_OUTPUT
                || tooSmall && (needed <= size || waiting > 0 && length == 0 && waiting <= size);
        waiting = tooSmall ? needed : 0;
        idle = params[AudioParams.LENGTH] < length ? 0 : idle + 1;
        if (lies || idle > MOST_IDLE || !tooSmall && (outputLength > size || outputLength != needed)) {
            throw lane.lied();
        }
        usual = (status & UNUSUAL) == 0;
        return status;
    }

    @Override
    public byte[] output(byte[] room, int length) {
        byte[] sound = new byte[outputLength];
        output.get(0, sound);
        return sound;
    }

    @Override
    public int room() {
        return usual ? ahead.room(outputLength) : 0;
    }

    @Override
    public int taken() {
        return ahead.size();
    }

    @Override
    public void add(PacketAhead packet, int[] params) {
        ahead.add(new Given(packet, params), WorkerOrder.SOUND_PROCESS).put(params).put(packet);
    }

    @Override
    public void withdraw() {
        ahead.withdraw();
    }

    @Override
    public void start() {
        ahead.start();
    }

    @Override
    public byte[] encode(byte[] pcm, int length, long[] packet) {
        lane.countPacket();
        Answer answer = begin(true).put(pcm, 0, length).order(WorkerOrder.SOUND_ENCODE);
        if (answer.isEmpty()) {
            return null;
        }
        long[] fields = new long[PacketFields.SIZE];
        answer.takeLongs(fields);
        System.arraycopy(fields, 0, packet, 0, fields.length);
        return answer.takeBytes();
    }

    @Override
    public void delete() {
        lane.close();
    }
}
