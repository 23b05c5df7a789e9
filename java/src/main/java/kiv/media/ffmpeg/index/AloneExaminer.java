package kiv.media.ffmpeg.index;

/** Pictures each of which is coded alone. */
final class AloneExaminer extends PacketExaminer {
    @Override
    public boolean isAlone() {
        return true;
    }

    @Override
    void read(byte[] bytes, int end, CodedPicture picture) {
        picture.restart = end > 0;
        picture.pictures = end > 0 ? 1 : CodedPicture.UNKNOWN;
    }
}
