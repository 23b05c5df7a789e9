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
 * <p>As JavaSound has it, opening gives compressed sound, an
 * {@link kiv.media.ffmpeg.javasound.EncodedAudioInputStream}, and a conversion decodes it: into PCM of 16 bits, signed,
 * little-endian, with the same sample rate and channels. Everything else, such as big-endian samples or 8 bits, is a
 * second conversion, by the JDK's own converters. Programs that use the library directly need none of this:
 * {@link kiv.media.ffmpeg.MediaAudio} gives the PCM at once.
 *
 * <p>What the JDK reads itself (WAV, AU and AIFF files of the kinds it knows, and MIDI) stays with the JDK. FFmpeg is
 * loaded only when bytes begin as a medium of another kind does, and where it cannot be loaded these providers know no
 * format at all, which leaves all others as they are.
 */
package kiv.media.ffmpeg.javasound;
