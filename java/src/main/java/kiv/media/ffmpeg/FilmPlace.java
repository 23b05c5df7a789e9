package kiv.media.ffmpeg;

/** A place in a film from which its pictures are taken one after the other. It begins at a time. */
final class FilmPlace {

    private final long time;
    private long number = -1;
    private int packet;
    private int changes;

    /** @param time in units of the stream */
    FilmPlace(long time) {
        this.time = time;
    }

    long time() {
        return time;
    }

    /** {@return whether no picture was taken yet} */
    boolean isBeginning() {
        return number < 0;
    }

    /** {@return the number of the last picture, when it was taken} */
    long number() {
        return number;
    }

    /** {@return the packet of the last picture; -1 when it is unknown} */
    int packet() {
        return packet;
    }

    /** {@return how often the film's numbers had changed when the last picture was taken} */
    int changes() {
        return changes;
    }

    /** Notes the picture that was taken. */
    void reach(long reached, int itsPacket, int itsChanges) {
        number = reached;
        packet = itsPacket;
        changes = itsChanges;
    }
}
