package kiv.media.ffmpeg;

import java.util.Map;
import java.util.Optional;

/** The names that the standards of codecs have for their levels, which FFmpeg numbers. */
final class CodecLevel {

    private static final Map<Integer, String> MPEG2 = Map.of(4, "High", 6, "High 1440", 8, "Main", 10, "Low");
    private static final int H264_1B = 9;
    private static final int TENS = 10;
    private static final int HEVC_UNIT = 30;
    private static final int VVC_UNIT = 16;
    private static final int AV1_UNIT = 4;

    private CodecLevel() {
    }

    static Optional<String> name(String codec, int level) {
        return level <= 0 && !codec.equals("av1") || level < 0 ? Optional.empty() : Optional.ofNullable(switch (codec) {
            case "h264" -> level == H264_1B ? "1b" : level / TENS + "." + level % TENS;
            case "vp9" -> level / TENS + "." + level % TENS;
            case "hevc" -> level / HEVC_UNIT + "." + level % HEVC_UNIT / 3;
            case "vvc" -> level / VVC_UNIT + "." + level % VVC_UNIT / 3;
            case "av1" -> 2 + level / AV1_UNIT + "." + level % AV1_UNIT;
            case "mpeg2video" -> MPEG2.get(level);
            default -> null;
        });
    }
}
