/**
 * Finds libraries, unpacks those that lie in jars, and loads them. Start at
 * {@link kiv.media.ffmpeg.loading.NativeLibrary} for the native library and at
 * {@link kiv.media.ffmpeg.loading.FfmpegDirectory} for FFmpeg's libraries, which puts
 * {@link kiv.media.ffmpeg.loading.BridgeLibraries} before those of a newer {@link kiv.media.ffmpeg.loading.FfmpegLine}.
 * All unpack with {@link kiv.media.ffmpeg.loading.PackagedFiles}, which chooses a directory;
 * {@link kiv.media.ffmpeg.loading.ResourceCache} fills it with {@link kiv.media.ffmpeg.loading.CacheEntry} objects, and
 * {@link kiv.media.ffmpeg.loading.TrustedDirectory} refuses places where other users can write.
 *
 * <p>This package is not exported and knows nothing of the API, which turns
 * {@link kiv.media.ffmpeg.loading.LoadingException}s into its own exceptions.
 */
package kiv.media.ffmpeg.loading;
