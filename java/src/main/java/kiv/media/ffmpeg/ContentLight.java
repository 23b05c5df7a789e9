package kiv.media.ffmpeg;

import java.util.Optional;
import kiv.media.ffmpeg.natives.LightFields;

/**
 * How bright the pictures of a film of high dynamic range become. Immutable, for any thread.
 *
 * @param maximum luminance of the brightest pixel of all, in candela for a square metre; 0 when unknown
 * @param average mean luminance of the brightest picture, in candela for a square metre; 0 when unknown
 */
public record ContentLight(long maximum, long average) {

    /** @param fields laid out as {@link LightFields}; null when the stream says nothing */
    static Optional<ContentLight> of(long[] fields) {
        return fields == null || fields[LightFields.HAS_CONTENT] == 0 ? Optional.empty()
                : Optional.of(new ContentLight(fields[LightFields.CONTENT_MAXIMUM], fields[LightFields.CONTENT_AVERAGE]));
    }
}
