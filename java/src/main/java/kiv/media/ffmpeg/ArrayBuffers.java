package kiv.media.ffmpeg;

import kiv.media.ffmpeg.natives.BufferRequest;
import kiv.media.ffmpeg.natives.BufferSlots;
import kiv.media.ffmpeg.natives.PictureLayout;

/** Allocates a new array for each picture and leaves it to the garbage collector. */
final class ArrayBuffers implements VideoBuffers {

    /** @throws IllegalArgumentException when no array fits the picture's format */
    @Override
    public boolean allocate(int[] layout, int[] buffer, Object[] slots) {
        int fourcc = layout[PictureLayout.FOURCC];
        int bits = layout[PictureLayout.BITS_PER_PIXEL];
        PictureFormat format = PictureFormat.of(fourcc, bits).orElseThrow(() -> new IllegalArgumentException(
                "unknown picture format " + FourCharacterCode.toText(fourcc) + " of " + bits + " bits"));
        int size = buffer[BufferRequest.BYTES];
        Object array = switch (format.elementSize()) {
            case Byte.BYTES -> new byte[size];
            case Short.BYTES -> new short[ceilDiv(size, Short.BYTES)];
            case Integer.BYTES -> new int[ceilDiv(size, Integer.BYTES)];
            default -> throw new IllegalArgumentException("no Java array holds pixels of " + format);
        };
        slots[BufferSlots.MEMORY] = array;
        slots[BufferSlots.RESULT] = array;
        return true;
    }

    @Override
    public void free(Object[] slots) {
        // The garbage collector frees the array.
    }

    /** Rounds up without leaving the range of {@code int}. */
    private static int ceilDiv(int size, int elementSize) {
        return size / elementSize + (size % elementSize == 0 ? 0 : 1);
    }
}
