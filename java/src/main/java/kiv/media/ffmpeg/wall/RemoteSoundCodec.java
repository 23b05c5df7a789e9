package kiv.media.ffmpeg.wall;

import java.util.Arrays;
import kiv.media.ffmpeg.natives.AudioParams;
import kiv.media.ffmpeg.natives.AudioStatus;
import kiv.media.ffmpeg.natives.PacketFields;
import kiv.media.ffmpeg.natives.WorkerOrder;

/** A decoder or encoder of sound behind the wall. */
public final class RemoteSoundCodec implements SoundCodec {

    /** No codec delivers output so often without using input. */
    private static final int MOST_IDLE = 10_000;
    /** Output of one call that is worth the memory. */
    private static final int MOST_OUTPUT = 1 << 30;

    private final Lane lane;
    private int idle;

    private RemoteSoundCodec(Lane lane) {
        this.lane = lane;
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
        return lane.begin().order(WorkerOrder.SOUND_OPEN).takeInt() != 0;
    }

    @Override
    public void close() {
        lane.begin().order(WorkerOrder.SOUND_CLOSE);
    }

    @Override
    public void reset() {
        lane.begin().order(WorkerOrder.SOUND_RESET);
    }

    @Override
    public void setOption(String name, long value) {
        lane.begin().put(name).put(value).order(WorkerOrder.SOUND_SET_OPTION);
    }

    @Override
    public long option(String name) {
        return lane.begin().put(name).order(WorkerOrder.SOUND_GET_OPTION).takeLong();
    }

    @Override
    public byte[] extradata() {
        return lane.begin().order(WorkerOrder.SOUND_EXTRADATA).takeBytes();
    }

    @Override
    public int process(byte[] in, byte[] out, int[] params) {
        int offset = params[AudioParams.OFFSET];
        int length = params[AudioParams.LENGTH];
        int outOffset = params[AudioParams.OUT_OFFSET];
        int room = params[AudioParams.OUT_LENGTH];
        if (length > 0) {
            lane.countPacket();
        }
        Answer answer = lane.begin().put(Arrays.copyOf(params, AudioParams.SIZE_WITH_SKIPPED)).put(in, offset, length)
                .order(WorkerOrder.SOUND_PROCESS);
        int status = answer.takeInt();
        answer.takeInts(params);
        byte[] output = answer.takeBytes();
        boolean lies = output == null || params[AudioParams.LENGTH] < 0 || params[AudioParams.LENGTH] > length
                || params[AudioParams.OUT_LENGTH] < 0 || params[AudioParams.OUT_LENGTH] > MOST_OUTPUT;
        idle = params[AudioParams.LENGTH] < length ? 0 : idle + 1;
        if (lies || idle > MOST_IDLE || (status & AudioStatus.OUTPUT_TOO_SMALL) == 0
                && (output.length > room || output.length != params[AudioParams.OUT_LENGTH])) {
            throw lane.lied();
        }
        if ((status & AudioStatus.OUTPUT_TOO_SMALL) == 0) {
            System.arraycopy(output, 0, out, outOffset, output.length);
        }
        return status;
    }

    @Override
    public byte[] encode(byte[] pcm, int length, long[] packet) {
        lane.countPacket();
        Answer answer = lane.begin().put(pcm, 0, length).order(WorkerOrder.SOUND_ENCODE);
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
