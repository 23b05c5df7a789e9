package kiv.media.ffmpeg;

import kiv.media.ffmpeg.natives.BufferRequest;
import kiv.media.ffmpeg.natives.PictureLayout;

/** Allocates the array for a picture from what the library tells about it. */
final class PictureArrays {

    private PictureArrays() {
    }

    /**
     * Allocates an array of the type that the layout's format calls for, and of at least the asked size.
     *
     * @param layout as in {@link VideoBuffers#allocate}
     * @param buffer as in {@link VideoBuffers#allocate}
     * @return a {@code byte[]}, {@code short[]} or {@code int[]}
     * @throws IllegalArgumentException when no array fits the format
     */
    static Object allocate(int[] layout, int[] buffer) {
        int fourcc = layout[PictureLayout.FOURCC];
        int bits = layout[PictureLayout.BITS_PER_PIXEL];
        PictureFormat format = PictureFormat.of(fourcc, bits).orElseThrow(() -> new IllegalArgumentException(
                "unknown picture format " + FourCharacterCode.toText(fourcc) + " of " + bits + " bits"));
        int size = buffer[BufferRequest.BYTES];
        return switch (format.elementSize()) {
            case Byte.BYTES -> new byte[size];
            case Short.BYTES -> new short[ceilDiv(size, Short.BYTES)];
            case Integer.BYTES -> new int[ceilDiv(size, Integer.BYTES)];
            default -> throw new IllegalArgumentException("no Java array holds pixels of " + format);
        };
    }

    /** Rounds up without leaving the range of {@code int}. */
    private static int ceilDiv(int size, int elementSize) {
        return size / elementSize + (size % elementSize == 0 ? 0 : 1);
    }
}
