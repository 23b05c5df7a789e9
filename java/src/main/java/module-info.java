/**
 * FFmpeg's decoders and encoders for Java: containers, pictures and sound.
 *
 * <p>The native library and FFmpeg's package are resources of jars that no other module requires. On the module path
 * they are found with {@code --add-modules ALL-MODULE-PATH}, or by themselves when they lie on the class path. The
 * virtual machine is told that native code is wanted with {@code --enable-native-access=kiv.media.ffmpeg}.
 */
module kiv.media.ffmpeg {
    // The API gives images.
    requires transitive java.desktop;

    exports kiv.media.ffmpeg;
    exports kiv.media.ffmpeg.javasound;
    exports kiv.media.ffmpeg.natives;

    provides javax.sound.sampled.spi.AudioFileReader
            with kiv.media.ffmpeg.javasound.FfmpegAudioFileReader;
    provides javax.sound.sampled.spi.FormatConversionProvider
            with kiv.media.ffmpeg.javasound.FfmpegFormatConversionProvider;
}
