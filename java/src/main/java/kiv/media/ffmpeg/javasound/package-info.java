/**
 * Service providers for JavaSound: with this library on the class path or the module path,
 * {@link javax.sound.sampled.AudioSystem} opens the sound of every medium that the library decodes.
 *
 * <pre>{@code
 * try (AudioInputStream song = AudioSystem.getAudioInputStream(new File("song.mp3"));
 *         AudioInputStream pcm = AudioSystem.getAudioInputStream(AudioFormat.Encoding.PCM_SIGNED, song)) {
 *     ...
 * }
 * }</pre>
 *
 * <p>In JavaSound, opening returns compressed sound, here an
 * {@link kiv.media.ffmpeg.javasound.EncodedAudioInputStream}. A conversion decodes it into signed little-endian PCM of
 * 16 bits with the same sample rate and channels. A second conversion, by the JDK's own converters, produces other
 * formats, such as big-endian samples or 8 bits. Programs that use the library directly do not need this package:
 * {@link kiv.media.ffmpeg.MediaAudio} returns the PCM at once.
 *
 * <p>The JDK keeps the formats that it reads itself: MIDI, and WAV, AU and AIFF files of the kinds that it knows.
 * FFmpeg is loaded only when the first bytes are those of another medium. Without FFmpeg these providers support no
 * format and do not affect other providers.
 */
package kiv.media.ffmpeg.javasound;
