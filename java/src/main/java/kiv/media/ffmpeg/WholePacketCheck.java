package kiv.media.ffmpeg;

import java.util.ArrayList;
import java.util.List;
import java.util.Set;
import kiv.media.ffmpeg.index.CodedPicture;
import kiv.media.ffmpeg.index.PacketExaminer;

/**
 * Looks for several pictures in a packet that a caller made: a decoder would deliver one of them, or few. Cutting a packet is
 * much cheaper than decoding it, and is only done for the first packet and for those that are larger than all before.
 */
final class WholePacketCheck {

    /** Codecs of which one packet is one picture, or the two fields of one. */
    private static final Set<String> ONE_PICTURE = Set.of("h264", "hevc", "mpeg1video", "mpeg2video", "h263");
    /** In AVI a packet of MPEG-4 may have a second picture for the next one. */
    private static final Set<String> TWO_PICTURES = Set.of("mpeg4");

    private final String codec;
    private final byte[] extradata;
    private final Workplace place;
    private int largest;

    /** @param place where packets are cut */
    WholePacketCheck(String codec, byte[] extradata, Workplace place) {
        this.place = place;
        this.codec = codec;
        this.extradata = extradata;
        // With lengths in front of them, units have no start codes.
        boolean hasLengths = extradata.length > 0 && extradata[0] == 1 && codec.startsWith("h");
        if (hasLengths || !ONE_PICTURE.contains(codec) && !TWO_PICTURES.contains(codec)) {
            largest = Integer.MAX_VALUE;
        }
    }

    /** @throws IllegalArgumentException when the packet holds several pictures */
    void check(Packet packet) {
        if (packet.size() <= largest || !packet.isOfCaller()) {
            return;
        }
        int pictures = pictures(packet);
        if (pictures > (TWO_PICTURES.contains(codec) ? 2 : 1)) {
            throw new IllegalArgumentException("this packet of " + packet.size() + " bytes holds " + pictures
                    + " pictures; cut the stream with PacketSplitter, and decode each packet");
        }
        largest = packet.size();
    }

    private int pictures(Packet packet) {
        List<Packet> parts = new ArrayList<>();
        try (PacketSplitter splitter = PacketSplitter.open(codec, new Rational(0, 0), place)) {
            parts.addAll(splitter.push(packet.bytes()));
            parts.addAll(splitter.finish());
        } catch (MediaException e) {
            return 1; // the decoder reports what is wrong with it
        }
        PacketExaminer examiner = PacketExaminer.of(codec, extradata, 0, 0);
        if (parts.size() != 2 || examiner == null) {
            return parts.size();
        }
        // Two fields are one picture, and so is what the examiner does not know.
        int known = 0;
        CodedPicture picture = new CodedPicture();
        for (Packet part : parts) {
            examiner.examine(part.bytes(), part.size(), picture);
            known += Math.max(0, picture.pictures);
        }
        return Math.max(1, known);
    }
}
