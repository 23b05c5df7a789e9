package kiv.media.ffmpeg;

/**
 * Native settings of a codec beyond what the entry points of {@link c_multimediaapi_ffmpeg} take. The same care is
 * needed: handles are not checked.
 */
public final class c_codecoptions_ffmpeg {

    /**
     * Every call's data is exactly one picture's packet (value 1), as containers give it, and so a picture comes with
     * its own packet and timestamp. With 0, the initial state, some decoders take pieces of a stream cut anywhere and
     * give each picture one packet late.
     */
    public static final String WHOLE_PACKETS = "whole_packets";

    private c_codecoptions_ffmpeg() {
    }

    /**
     * Sets an option of a video codec that is not open.
     *
     * @param codec a handle of {@link c_multimediaapi_ffmpeg#n_create_vcodec_to_raw}
     * @param name the option, such as {@link #WHOLE_PACKETS}
     * @param value the option's value
     * @throws RuntimeException when the option is not known or the codec is open
     */
    public static native void n_vcodec_set_option(long codec, String name, long value);
}
