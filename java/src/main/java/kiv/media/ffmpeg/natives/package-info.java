/**
 * The natives under the public API, for one careful caller at a time.
 *
 * <p>Welcome, if {@link kiv.media.ffmpeg} is not enough for you: if you want the very arrays that decoders write into, or
 * a codec option that the API does not have. Programs are better off with the API. It checks what it is given, knows
 * which thread is inside a codec, and frees what is forgotten.
 *
 * <p>Nothing is checked twice here. A handle is an address: 0 raises an exception, a stale or a foreign one crashes the
 * virtual machine. A codec, a reader or a converter is used by one thread at a time and deleted exactly once.
 *
 * <p>Natives take and fill plain arrays. The other classes here name their elements, lengths, codes and flags: one class
 * of constants for each array. They are the one home of these numbers; the build generates the names that C++ uses from
 * them.
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
