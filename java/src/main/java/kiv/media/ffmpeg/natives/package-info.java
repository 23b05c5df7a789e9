/**
 * The natives under the public API, for one careful caller at a time.
 *
 * <p>Programs are at home in {@link kiv.media.ffmpeg}: its classes check what they are given, know which thread is inside
 * a codec, and free what is forgotten. Come here when that is not enough, because you want the arrays that decoders write
 * into, a codec option that the API does not have, or no copy at all.
 *
 * <p>Nothing is checked twice here. A handle is an address: 0 raises an exception, a stale or a foreign one crashes the
 * virtual machine. A codec, a reader or a converter is used by one thread at a time and deleted exactly once.
 *
 * <p>The natives of video and audio codecs are those of {@link kiv.media.ffmpeg.c_multimediaapi_ffmpeg}, whose name is
 * fixed. {@code docs/java_surface.md} describes them all in one place.
 */
package kiv.media.ffmpeg.natives;
