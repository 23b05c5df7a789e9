/**
 * The natives under the public API, for one careful caller at a time.
 *
 * <p>Welcome. This package is for programs that need the arrays that decoders write into, or a codec option that the
 * API does not have. Most programs should use the API in {@link kiv.media.ffmpeg}: it checks arguments and threads, and
 * frees objects that were not closed.
 *
 * <p>The natives check little. A handle is an address: 0 raises an exception, a stale or foreign one crashes the
 * virtual machine. One thread at a time uses a codec, a reader or a converter. The caller deletes each of them exactly
 * once.
 *
 * <p>Natives read and fill plain arrays. The other classes of this package name the elements, lengths, codes and flags,
 * one class of constants for each array. The build generates the names that C++ uses from these classes.
 *
 * <pre>{@code
 * int[] params = new int[VideoParams.SIZE];
 * params[VideoParams.LENGTH] = packet.length;
 * int result = c_multimediaapi_ffmpeg.n_vcodec_process(codec, packet, out, params);
 * if (result == ProcessResult.PICTURE) {
 *     show(out[0], params[VideoParams.PICTURE_OFFSET]);
 * }
 * }</pre>
 *
 * <p>The natives of video and audio codecs are those of {@link kiv.media.ffmpeg.c_multimediaapi_ffmpeg}, whose name is
 * fixed. {@code docs/java_surface.md} describes them all in one place.
 */
package kiv.media.ffmpeg.natives;
