package kiv.media.ffmpeg;

import java.util.Arrays;
import java.util.List;
import kiv.media.ffmpeg.natives.CodecFields;
import kiv.media.ffmpeg.natives.MediaType;
import kiv.media.ffmpeg.natives.c_codecs_ffmpeg;
import kiv.media.ffmpeg.natives.c_mediareader_ffmpeg;

/**
 * What the library reads and decodes by FFmpeg's names, and what of it the loaded FFmpeg has. The codecs of
 * {@link MediaSubtypes} and {@link WaveFormatTags} are not repeated here.
 *
 * <pre>{@code
 * MediaFormats.codecs().stream().filter(MediaFormats.Codec::isDecodable).map(MediaFormats.Codec::name).forEach(this::offer);
 * }</pre>
 */
public final class MediaFormats {

    /**
     * A container.
     *
     * @param name the first of FFmpeg's short names, with which {@link MediaReader#formatName()} begins
     * @param title FFmpeg's name for people; the short name when the loaded FFmpeg does not read it
     * @param isReadable whether the loaded FFmpeg reads it
     */
    public record Container(String name, String title, boolean isReadable) {
    }

    /**
     * A codec.
     *
     * @param name FFmpeg's short name, as {@link MediaStream#codecName()} reports it
     * @param title FFmpeg's name for people; the short name when the loaded FFmpeg has no decoder
     * @param kind pictures or sound; unknown when the loaded FFmpeg does not know the codec
     * @param isDecodable whether the loaded FFmpeg has a decoder
     */
    public record Codec(String name, String title, MediaKind kind, boolean isDecodable) {
    }

    private MediaFormats() {
    }

    /**
     * {@return every container that {@link MediaReader} reads}
     *
     * @throws LibraryException when the library cannot be loaded
     */
    public static List<Container> containers() {
        long context = FfmpegLibrary.context();
        return Arrays.stream(c_mediareader_ffmpeg.n_container_names(context)).map(name -> {
            String title = c_mediareader_ffmpeg.n_container_title(context, name);
            return new Container(name, title == null ? name : title, title != null);
        }).toList();
    }

    /**
     * {@return every codec that decoders are opened for by FFmpeg's name}
     *
     * @throws LibraryException when the library cannot be loaded
     */
    public static List<Codec> codecs() {
        long context = FfmpegLibrary.context();
        return Arrays.stream(c_codecs_ffmpeg.n_codec_names(context)).map(name -> {
            int[] fields = c_codecs_ffmpeg.n_codec(context, name);
            String title = c_codecs_ffmpeg.n_codec_title(context, name);
            return new Codec(name, title == null ? name : title,
                    MediaKind.of(fields == null ? MediaType.UNKNOWN : fields[CodecFields.MEDIA_TYPE]),
                    fields != null && fields[CodecFields.DECODER] != 0);
        }).toList();
    }
}
