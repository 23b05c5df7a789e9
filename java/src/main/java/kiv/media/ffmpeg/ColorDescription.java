package kiv.media.ffmpeg;

import java.util.Objects;
import java.util.Optional;

/**
 * What the numbers of a stream's pixels mean, as far as the container or the head of the compressed video says. The names
 * are FFmpeg's. Immutable, for any thread.
 *
 * <pre>{@code
 * if (stream.color().isHighDynamicRange()) { ... }
 * }</pre>
 *
 * @param range the values of YUV that are used: {@code tv} or {@code pc}
 * @param matrix how YUV becomes RGB, such as {@code bt709} or {@code bt2020nc}
 * @param transfer the curve between values and light, such as {@code bt709}, {@code smpte2084} or {@code arib-std-b67}
 * @param primaries the colours that red, green and blue are, such as {@code bt709} or {@code bt2020}
 * @param chromaLocation the place of chroma samples between those of luma, such as {@code left}
 * @param masteringDisplay the screen that the film was made on; from FFmpeg 5.1 on
 * @param contentLight how bright the pictures become; from FFmpeg 5.1 on
 */
public record ColorDescription(Optional<String> range, Optional<String> matrix, Optional<String> transfer,
        Optional<String> primaries, Optional<String> chromaLocation, Optional<MasteringDisplay> masteringDisplay,
        Optional<ContentLight> contentLight) {

    /**
     * Makes a description.
     *
     * @param range the values of YUV that are used: {@code tv} or {@code pc}
     * @param matrix how YUV becomes RGB, such as {@code bt709} or {@code bt2020nc}
     * @param transfer the curve between values and light, such as {@code bt709}, {@code smpte2084} or {@code arib-std-b67}
     * @param primaries the colours that red, green and blue are, such as {@code bt709} or {@code bt2020}
     * @param chromaLocation the place of chroma samples between those of luma, such as {@code left}
     * @param masteringDisplay the screen that the film was made on; from FFmpeg 5.1 on
     * @param contentLight how bright the pictures become; from FFmpeg 5.1 on
     * @throws NullPointerException when something is null
     */
    public ColorDescription {
        Objects.requireNonNull(range, "range");
        Objects.requireNonNull(matrix, "matrix");
        Objects.requireNonNull(transfer, "transfer");
        Objects.requireNonNull(primaries, "primaries");
        Objects.requireNonNull(chromaLocation, "chromaLocation");
        Objects.requireNonNull(masteringDisplay, "masteringDisplay");
        Objects.requireNonNull(contentLight, "contentLight");
    }

    /** {@return whether the curve is one of those for high dynamic range, PQ or HLG} */
    public boolean isHighDynamicRange() {
        return transfer.filter(curve -> curve.equals("smpte2084") || curve.equals("arib-std-b67")).isPresent();
    }

    /** The brightest light that the pictures are made for, in candela for a square metre; 0 when the stream does not say. */
    int peak() {
        double content = contentLight.map(ContentLight::maximum).orElse(0L);
        return (int) (content > 0 ? content
                : masteringDisplay.map(MasteringDisplay::maximum).map(Rational::toDouble).orElse(0.0));
    }
}
