package kiv.media.ffmpeg;

/** Buffers that know how many arrays the library holds, and what it asked for. */
class CountingBuffers implements VideoBuffers {

    int allocated;
    int freed;
    int[] lastLayout;
    int[] lastBuffer;
    Object[] lastSlots;

    @Override
    public boolean allocate(int[] layout, int[] buffer, Object[] slots) {
        allocated++;
        lastLayout = layout.clone();
        lastBuffer = buffer.clone();
        lastSlots = slots;
        slots[0] = PictureArrays.allocate(layout, buffer);
        slots[3] = lastLayout;
        return true;
    }

    @Override
    public void free(Object[] slots) {
        freed++;
    }
}
