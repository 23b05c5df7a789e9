package kiv.media.ffmpeg.wall;

import java.util.BitSet;
import kiv.media.ffmpeg.natives.PictureCall;
import kiv.media.ffmpeg.natives.PictureLayout;
import kiv.media.ffmpeg.natives.PictureResult;
import kiv.media.ffmpeg.natives.WorkerOrder;

/** A decoder of video behind the wall. Its pictures lie in blocks of the shared memory, at the place of an address. */
public final class RemotePictureDecoder implements PictureDecoder {

    /** No packet makes the decoder deliver more pictures. */
    private static final int MOST_PICTURES = 10_000;
    private static final int LARGEST_SIDE = 1 << 20;

    private final Lane lane;
    /** The slots of the blocks that the decoder has. */
    private final BitSet slots = new BitSet();
    private int results;

    private RemotePictureDecoder(Lane lane) {
        this.lane = lane;
    }

    /**
     * Makes a decoder of a stream.
     *
     * @param lane becomes the decoder's, and is closed when this fails
     * @param stream laid out as {@link kiv.media.ffmpeg.natives.StreamFields}
     * @param extradata the codec's private data
     * @return the decoder, which is not open
     */
    public static RemotePictureDecoder of(Lane lane, long[] stream, byte[] extradata) {
        return create(lane, () -> lane.begin().put(stream).put(extradata).order(WorkerOrder.VIDEO_CREATE));
    }

    /**
     * Makes a decoder of a media subtype.
     *
     * @param lane becomes the decoder's, and is closed when this fails
     * @param subtype the text of the GUID
     * @param format laid out as {@link kiv.media.ffmpeg.natives.VideoFormatLayout}
     * @param extradata the codec's private data
     * @return the decoder, which is not open
     */
    public static RemotePictureDecoder of(Lane lane, String subtype, int[] format, byte[] extradata) {
        return create(lane, () -> lane.begin().put(subtype).put(format).put(extradata)
                .order(WorkerOrder.VIDEO_CREATE_OF_SUBTYPE));
    }

    private static RemotePictureDecoder create(Lane lane, Runnable order) {
        lane.create(order);
        return new RemotePictureDecoder(lane);
    }

    @Override
    public void setOption(String name, long value) {
        lane.begin().put(name).put(value).order(WorkerOrder.VIDEO_OPTION);
    }

    @Override
    public boolean open() {
        return lane.begin().order(WorkerOrder.VIDEO_OPEN).takeInt() != 0;
    }

    @Override
    public int decode(byte[] packet, int length, int flags, long[] call) {
        for (int block = 0; block < call[PictureCall.STOCKED]; block++) {
            slots.set((int) call[PictureCall.BLOCKS + block * PictureCall.BLOCK_SIZE + PictureCall.BLOCK_SLOT]);
        }
        if (length > 0 || flags != 0) {
            lane.countPacket();
            results = 0;
        }
        Answer answer = lane.begin().put(flags).put(call).put(packet, 0, length).order(WorkerOrder.VIDEO_DECODE);
        int result = answer.takeInt();
        answer.takeLongs(call);
        if (!isPossible(result, call)) {
            throw lane.lied();
        }
        return result;
    }

    private boolean isPossible(int result, long[] call) {
        if (++results > MOST_PICTURES || !isWithin(call[PictureCall.WANTED], PictureCall.MOST_BLOCKS)
                || !isWithin(call[PictureCall.WANTED_BYTES], Integer.MAX_VALUE)
                || !isWithin(call[PictureCall.RELEASED], PictureCall.MOST_RELEASED)
                || (result & PictureResult.PICTURE) != 0 && !isPicture(call)) {
            return false;
        }
        for (int i = 0; i < call[PictureCall.RELEASED]; i++) {
            long slot = call[PictureCall.RELEASED_SLOTS + i];
            if (!isSlot(slot)) {
                return false;
            }
            slots.clear((int) slot);
        }
        return true;
    }

    /** Whether all that is no mere number of the picture's can be. Who makes the picture checks it against its block. */
    private boolean isPicture(long[] call) {
        for (int plane = 0; plane < PictureLayout.PLANES; plane++) {
            if (!isWithin(call[PictureCall.PLANE_OFFSETS + plane], Integer.MAX_VALUE)
                    || !isWithin(call[PictureCall.LINE_SIZES + plane], Integer.MAX_VALUE)) {
                return false;
            }
        }
        return isSlot(call[PictureCall.SLOT]) && call[PictureCall.WIDTH] > 0 && call[PictureCall.HEIGHT] > 0
                && call[PictureCall.WIDTH] <= LARGEST_SIDE && call[PictureCall.HEIGHT] <= LARGEST_SIDE;
    }

    private boolean isSlot(long slot) {
        return isWithin(slot, Integer.MAX_VALUE) && slots.get((int) slot);
    }

    private static boolean isWithin(long value, long most) {
        return value >= 0 && value <= most;
    }

    @Override
    public void reset() {
        lane.begin().order(WorkerOrder.VIDEO_RESET);
    }

    @Override
    public SharedMemory memory() {
        return lane.memory();
    }

    @Override
    public void delete() {
        lane.close();
    }
}
