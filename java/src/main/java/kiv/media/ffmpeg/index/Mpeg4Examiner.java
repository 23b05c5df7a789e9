package kiv.media.ffmpeg.index;

import java.util.Arrays;

/** MPEG-4 part 2: the kind of a picture says its order. */
final class Mpeg4Examiner extends PacketExaminer {
    /** A picture that is not coded is nothing but its head. */
    private static final int LONGEST_HEAD = 16;
    private int layer;
    private boolean brokenLayer;
    private boolean sawPrevious;
    private final Mpeg4Clock clock = new Mpeg4Clock();

    Mpeg4Examiner(byte[] extradata) {
        noteLayer(extradata, extradata.length);
    }

    @Override
    public Order order() {
        return Order.BY_KIND;
    }

    /** A decoder guesses at first whether it has to hold pictures back. */
    @Override
    public int knownDelay() {
        return 0;
    }

    private void noteLayer(byte[] bytes, int end) {
        for (int at = nextStartCode(bytes, 0, end); at < end;) {
            int next = nextStartCode(bytes, at, end);
            if ((bytes[at] & 0xF0) == 0x20) {
                int hash = Arrays.hashCode(Arrays.copyOfRange(bytes, at, next == end ? end : next - 3));
                if (layer != 0 && layer != hash) {
                    changeSequence();
                }
                layer = hash;
                brokenLayer |= !clock.layer(new BitReader(bytes, at + 1, end));
            }
            at = (bytes[at] & 0xFF) == 0xB6 ? end : next;
        }
    }

    @Override
    void read(byte[] bytes, int end, CodedPicture picture) {
        brokenLayer = false;
        noteLayer(bytes, end);
        picture.broken = brokenLayer;
        picture.brokenHeaders = brokenLayer;
        int pictures = 0;
        int kind = 0;
        int length = 0;
        boolean layered = false;
        for (int at = nextStartCode(bytes, 0, end); at < end;) {
            int next = nextStartCode(bytes, at, end);
            layered |= (bytes[at] & 0xF0) == 0x20;
            if ((bytes[at] & 0xFF) == 0xB3) {
                clock.group(new BitReader(bytes, at + 1, end));
            }
            if ((bytes[at] & 0xFF) == 0xB6) {
                picture.broken |= !clock.picture(new BitReader(bytes, at + 1, end));
                pictures++;
                kind = at(bytes, at + 1) >> 6;
                length = next - at;
            }
            at = next;
        }
        if (pictures != 1 || length <= LONGEST_HEAD || kind == 3) {
            sawPrevious = true;
            return;
        }
        picture.pictures = 1;
        picture.bidirectional = kind == 2;
        // Half of a packet with two pictures waits in the decoder for the next packet.
        picture.restart = kind == 0 && layer != 0 && (layered || !headersChanged()) && !sawPrevious;
        sawPrevious &= kind == 2;
    }
}
