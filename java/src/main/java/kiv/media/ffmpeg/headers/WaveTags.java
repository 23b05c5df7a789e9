package kiv.media.ffmpeg.headers;

/** The format tags of WAVE headers for plain samples, and the one for a tag at another place. */
public final class WaveTags {

    /** PCM. */
    public static final int PCM = 0x0001;
    /** PCM in floating-point numbers. */
    public static final int FLOAT = 0x0003;
    /** PCM of 8 bits with the A-law. */
    public static final int ALAW = 0x0006;
    /** PCM of 8 bits with the mu-law. */
    public static final int MULAW = 0x0007;
    /** The tag is at byte 24 of the header. */
    public static final int EXTENSIBLE = 0xFFFE;

    private WaveTags() {
    }
}
