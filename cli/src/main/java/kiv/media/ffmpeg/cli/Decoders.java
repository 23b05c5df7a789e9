package kiv.media.ffmpeg.cli;

import kiv.media.ffmpeg.AudioDecoder;
import kiv.media.ffmpeg.MediaFormatException;
import kiv.media.ffmpeg.MediaStream;
import kiv.media.ffmpeg.UnsupportedCodecException;
import kiv.media.ffmpeg.VideoDecoder;

/** Opens decoders so that a failure names the file. */
final class Decoders {

    private Decoders() {
    }

    static VideoDecoder open(MediaStream stream, InputOptions input) {
        try {
            return VideoDecoder.open(stream);
        } catch (UnsupportedCodecException e) {
            throw new UnsupportedCodecException(input.about(e.getMessage()), e);
        } catch (MediaFormatException e) {
            throw new MediaFormatException(input.about(e.getMessage()), e);
        }
    }

    static AudioDecoder openSound(MediaStream stream, InputOptions input) {
        try {
            return AudioDecoder.open(stream);
        } catch (UnsupportedCodecException e) {
            throw new UnsupportedCodecException(input.about(e.getMessage()), e);
        } catch (MediaFormatException e) {
            throw new MediaFormatException(input.about(e.getMessage()), e);
        }
    }
}
