/**
 * FFmpeg's decoders and encoders for Java: containers, pictures and sound.
 *
 * <p>The native library and FFmpeg's package are in jars that no module requires. Put them on the class path, where a
 * program of modules finds them too. The option {@code --enable-native-access=kiv.media.ffmpeg} permits native code.
 */
module kiv.media.ffmpeg {
    // The API returns images.
    requires transitive java.desktop;

    exports kiv.media.ffmpeg;
    exports kiv.media.ffmpeg.javasound;
    exports kiv.media.ffmpeg.natives;

    provides javax.sound.sampled.spi.AudioFileReader
            with kiv.media.ffmpeg.javasound.FfmpegAudioFileReader;
    provides javax.sound.sampled.spi.FormatConversionProvider
            with kiv.media.ffmpeg.javasound.FfmpegFormatConversionProvider;
}
