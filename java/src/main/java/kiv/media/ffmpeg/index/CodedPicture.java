package kiv.media.ffmpeg.index;

/** What the bytes of a packet say of its picture. */
public final class CodedPicture {

    /** Stands for a number of pictures that only decoding can tell. */
    public static final int UNKNOWN = -1;

    /** Whether decoding can start here: no picture that is shown after this one needs what was before it. */
    public boolean restart;
    /**
     * Whether pictures after this one name some that are before it, if only to forget them. A decoder that begins here takes
     * that for damage.
     */
    public boolean refersBack;
    /** Whether the packet breaks its codec's rules, so that nobody knows what decoders make of it and of those behind it. */
    public boolean broken;
    /** Whether headers in it that stand for many pictures break the rules. */
    public boolean brokenHeaders;
    /** How many pictures the packet gives: 0 or 1, or {@link #UNKNOWN}. */
    public int pictures = UNKNOWN;
    /** Whether no picture refers to this one, and it is shown at once; for codecs that sort by the kind of picture. */
    public boolean bidirectional;
    /** Where the picture comes among those of its group; for codecs that number them. */
    public long order;

    public void clear() {
        restart = false;
        refersBack = false;
        broken = false;
        brokenHeaders = false;
        pictures = UNKNOWN;
        bidirectional = false;
        order = 0;
    }
}
