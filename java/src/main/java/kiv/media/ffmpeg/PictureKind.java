package kiv.media.ffmpeg;

import java.util.Arrays;
import kiv.media.ffmpeg.natives.ColorRange;
import kiv.media.ffmpeg.natives.Interlacing;
import kiv.media.ffmpeg.natives.PictureCall;
import kiv.media.ffmpeg.natives.PictureLayout;

/** What the pictures of a decoder have in common until the library describes another one: all but their times. */
final class PictureKind {

    private static final int FIRST = PictureCall.WIDTH;
    private static final int END = PictureCall.COLOR_TRANSFER + 1;

    private final long[] description;
    private final PlaneLayout planes;
    private final Picture.Details details;

    private PictureKind(long[] description, PixelFormat format, Picture.Details details) {
        this.description = description;
        this.planes = new PlaneLayout(format, (int) description[PictureCall.WIDTH], (int) description[PictureCall.HEIGHT],
                planes(description, PictureCall.PLANE_OFFSETS), planes(description, PictureCall.LINE_SIZES));
        this.details = details;
    }

    /**
     * Reads a description.
     *
     * @param call laid out as {@link PictureCall}
     * @param stream null when the packets are no reader's
     * @throws DecodeException when the pixels are not in memory
     */
    static PictureKind of(long[] call, MediaStream stream, Rational timeBase) {
        int number = (int) call[PictureCall.PIXEL_FORMAT];
        PixelFormat format = PixelFormat.of(number)
                .orElseThrow(() -> new DecodeException("pictures of FFmpeg's format " + number + " are not in memory"));
        long interlaced = call[PictureCall.INTERLACED];
        Rational shape = new Rational(call[PictureCall.PIXEL_WIDTH], call[PictureCall.PIXEL_HEIGHT]);
        Picture.Details details = new Picture.Details(new PacketTimes.Times(Packet.NO_TIME, 0), timeBase, false,
                interlaced != Interlacing.PROGRESSIVE, interlaced == Interlacing.TOP_FIELD_FIRST,
                call[PictureCall.COLOR_RANGE] == ColorRange.FULL,
                stream == null ? new Presentation(shape, 0, false) : stream.presentation(shape),
                (int) call[PictureCall.COLOR_SPACE], (int) call[PictureCall.COLOR_PRIMARIES],
                (int) call[PictureCall.COLOR_TRANSFER], stream == null ? 0 : stream.color().peak());
        return new PictureKind(call.clone(), format, details);
    }

    private static int[] planes(long[] description, int first) {
        int[] planes = new int[PictureLayout.PLANES];
        Arrays.setAll(planes, plane -> (int) description[first + plane]);
        return planes;
    }

    boolean isThatOf(long[] call) {
        return Arrays.equals(description, FIRST, END, call, FIRST, END);
    }

    /** A picture of this kind, which becomes a user of the memory in the caller's place. */
    Picture picture(PictureMemory memory, PacketTimes.Times times, boolean key) {
        return new Picture(memory, planes, details.with(times, key));
    }
}
