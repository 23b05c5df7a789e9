package kiv.media.ffmpeg.headers;

/** The header of seven bytes before each AAC packet in a stream without a container. */
public final class AdtsHeader {

    private static final int SIZE = 7;
    private static final int LONGEST_FRAME = (1 << 13) - 1;
    private static final int EXPLICIT_RATE = 15;

    private final int profile;
    private final int rateIndex;
    private final int channelConfiguration;

    private AdtsHeader(int profile, int rateIndex, int channelConfiguration) {
        this.profile = profile;
        this.rateIndex = rateIndex;
        this.channelConfiguration = channelConfiguration;
    }

    /**
     * Derives the headers from the codec's configuration.
     *
     * @param configuration an AudioSpecificConfig
     * @return the headers of its packets
     * @throws IllegalArgumentException when ADTS does not support the configuration
     */
    public static AdtsHeader of(byte[] configuration) {
        if (configuration.length < 2) {
            throw new IllegalArgumentException("AAC without its configuration");
        }
        int bits = (configuration[0] & 0xFF) << 8 | configuration[1] & 0xFF;
        int objectType = bits >> 11;
        int rateIndex = bits >> 7 & 0xF;
        int channelConfiguration = bits >> 3 & 0xF;
        if (objectType < 1 || objectType > 4 || rateIndex == EXPLICIT_RATE || channelConfiguration == 0
                || channelConfiguration > 7) {
            throw new IllegalArgumentException("AAC whose configuration does not fit into ADTS headers");
        }
        return new AdtsHeader(objectType - 1, rateIndex, channelConfiguration);
    }

    /**
     * Returns the header of a packet.
     *
     * @param packetSize the packet's size in bytes
     * @return the header, which precedes the packet
     * @throws IllegalArgumentException when the packet is too long
     */
    public byte[] before(int packetSize) {
        int frame = packetSize + SIZE;
        if (frame > LONGEST_FRAME) {
            throw new IllegalArgumentException("an AAC packet of " + packetSize + " bytes is too long for ADTS");
        }
        return new byte[] {
            (byte) 0xFF,
            // MPEG-4, no check sum
            (byte) 0xF1,
            (byte) (profile << 6 | rateIndex << 2 | channelConfiguration >> 2),
            (byte) ((channelConfiguration & 3) << 6 | frame >> 11),
            (byte) (frame >> 3),
            // The fullness of the bit reservoir is unknown: all ones.
            (byte) ((frame & 7) << 5 | 0x1F),
            (byte) 0xFC
        };
    }
}
