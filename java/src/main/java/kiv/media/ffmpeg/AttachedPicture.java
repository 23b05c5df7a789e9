package kiv.media.ffmpeg;

import java.util.List;
import java.util.Map;
import java.util.Optional;

/**
 * A picture that goes with a medium, such as a record's cover. Immutable, for any thread.
 *
 * <pre>{@code
 * AttachedPicture cover = reader.coverArt().orElseThrow();
 * try (Picture picture = cover.decode()) {
 *     show(picture.toBufferedImage());
 * }
 * }</pre>
 */
public final class AttachedPicture {

    private static final Map<String, String> TYPES = Map.of("mjpeg", "image/jpeg", "png", "image/png", "apng", "image/apng",
            "gif", "image/gif", "bmp", "image/bmp", "webp", "image/webp", "tiff", "image/tiff", "jpeg2000", "image/jp2",
            "av1", "image/avif", "hevc", "image/heic");

    private final MediaStream stream;
    private final byte[] bytes;

    AttachedPicture(MediaStream stream, byte[] bytes) {
        this.stream = stream;
        this.bytes = bytes;
    }

    /** {@return the stream that consists of the picture} */
    public MediaStream stream() {
        return stream;
    }

    /** {@return the compressed picture as the file has it, mostly a whole JPEG or PNG file, as a new array} */
    public byte[] bytes() {
        return bytes.clone();
    }

    /** {@return the MIME type of {@link #bytes()}, such as {@code image/jpeg}} */
    public String mimeType() {
        return TYPES.getOrDefault(stream.codecName(), "application/octet-stream");
    }

    /** {@return what the file calls the picture} */
    public Optional<String> title() {
        return stream.tags().title();
    }

    /** {@return what it shows, such as {@code Cover (front)}, if the file tells} */
    public Optional<String> role() {
        return stream.tags().get("comment");
    }

    /**
     * Decodes the picture.
     *
     * @return the picture, which the caller closes
     * @throws UnsupportedCodecException when the library does not decode pictures of this kind
     * @throws DecodeException when the picture is damaged
     * @throws MediaFormatException when its size is unknown
     */
    public Picture decode() {
        if (stream.kind() != MediaKind.VIDEO) {
            throw new UnsupportedCodecException(stream + " is no picture");
        }
        try (VideoDecoder decoder = VideoDecoder.open(stream)) {
            List<Picture> pictures = decoder.decode(Packet.of(bytes, stream.index(), 0, 0, true));
            if (pictures.isEmpty()) {
                pictures = decoder.finish();
            }
            if (pictures.isEmpty()) {
                throw new DecodeException("the bytes of " + stream + " are no picture");
            }
            pictures.stream().skip(1).forEach(Picture::close);
            return pictures.get(0);
        }
    }

    @Override
    public String toString() {
        return "AttachedPicture[" + mimeType() + ", " + bytes.length + " bytes]";
    }
}
