package kiv.media.ffmpeg.cli;

import com.fasterxml.jackson.core.JsonGenerator;
import java.io.IOException;
import java.util.List;
import java.util.Locale;
import java.util.Optional;
import java.util.OptionalInt;
import kiv.media.ffmpeg.ColorDescription;
import kiv.media.ffmpeg.MasteringDisplay;
import kiv.media.ffmpeg.Rational;
import kiv.media.ffmpeg.SideData;

/** Writes the side data of a stream as {@code ffprobe} does. Of a gain it also writes the numbers, which ffprobe does not. */
final class SideDataJson {

    /** That of a stream that has none. */
    static final SideData NOTHING = new SideData(List.of(), Optional.empty(), Optional.empty(), Optional.empty(),
            Optional.empty(), OptionalInt.empty());

    private static final int ROW = 3;

    private final JsonGenerator to;

    SideDataJson(JsonGenerator to) {
        this.to = to;
    }

    void write(ColorDescription color, SideData data) throws IOException {
        if (color.masteringDisplay().isPresent()) {
            write(color.masteringDisplay().get());
        }
        if (color.contentLight().isPresent()) {
            begin("Content light level metadata");
            to.writeNumberField("max_content", color.contentLight().get().maximum());
            to.writeNumberField("max_average", color.contentLight().get().average());
            to.writeEndObject();
        }
        if (data.stereo().isPresent()) {
            write(data.stereo().get());
        }
        if (!data.displayMatrix().isEmpty()) {
            writeMatrix(data.displayMatrix());
        }
        if (data.sphere().isPresent()) {
            write(data.sphere().get());
        }
        if (data.codedBuffer().isPresent()) {
            write(data.codedBuffer().get());
        }
        if (data.replayGain().isPresent()) {
            write(data.replayGain().get());
        }
        if (data.audioService().isPresent()) {
            begin("Audio Service Type");
            to.writeNumberField("service_type", data.audioService().getAsInt());
            to.writeEndObject();
        }
    }

    private void write(MasteringDisplay screen) throws IOException {
        begin("Mastering display metadata");
        if (screen.white().x().isKnown()) {
            point("red", screen.red());
            point("green", screen.green());
            point("blue", screen.blue());
            point("white_point", screen.white());
        }
        if (screen.maximum().isKnown()) {
            to.writeStringField("min_luminance", screen.minimum().toString());
            to.writeStringField("max_luminance", screen.maximum().toString());
        }
        to.writeEndObject();
    }

    private void point(String name, MasteringDisplay.Point point) throws IOException {
        to.writeStringField(name + "_x", point.x().toString());
        to.writeStringField(name + "_y", point.y().toString());
    }

    private void writeMatrix(List<Integer> matrix) throws IOException {
        begin("Display Matrix");
        StringBuilder rows = new StringBuilder("\n");
        for (int row = 0; row < matrix.size() / ROW; row++) {
            rows.append(String.format(Locale.ROOT, "%08d: ", row));
            for (int number : matrix.subList(row * ROW, row * ROW + ROW)) {
                rows.append(String.format(Locale.ROOT, " %11d", number));
            }
            rows.append('\n');
        }
        to.writeStringField("displaymatrix", rows.toString());
        // Anticlockwise, of a picture that would be turned only. An impossible matrix turns nothing.
        double x = matrix.get(0) / Math.hypot(matrix.get(0), matrix.get(ROW));
        double y = matrix.get(1) / Math.hypot(matrix.get(1), matrix.get(ROW + 1));
        to.writeNumberField("rotation", (int) Math.toDegrees(-Math.atan2(y, x)));
        to.writeEndObject();
    }

    private void write(SideData.Stereo stereo) throws IOException {
        begin("Stereo 3D");
        to.writeStringField("type", stereo.arrangement());
        to.writeNumberField("inverted", stereo.inverted() ? 1 : 0);
        if (stereo.space().isPresent()) {
            SideData.Space space = stereo.space().get();
            to.writeStringField("view", space.view());
            to.writeStringField("primary_eye", space.primaryEye());
            to.writeNumberField("baseline", space.baseline());
            to.writeStringField("horizontal_disparity_adjustment", fraction(space.disparityAdjustment()));
            to.writeStringField("horizontal_field_of_view", fraction(space.fieldOfView()));
        }
        to.writeEndObject();
    }

    private static String fraction(Rational value) {
        return value.numerator() + "/" + value.denominator();
    }

    private void write(SideData.Sphere sphere) throws IOException {
        begin("Spherical Mapping");
        to.writeStringField("projection", sphere.projection());
        if (sphere.projection().equals("cubemap")) {
            to.writeNumberField("padding", sphere.padding());
        } else if (sphere.projection().equals("tiled equirectangular")) {
            to.writeNumberField("bound_left", sphere.left());
            to.writeNumberField("bound_top", sphere.top());
            to.writeNumberField("bound_right", sphere.right());
            to.writeNumberField("bound_bottom", sphere.bottom());
        }
        to.writeNumberField("yaw", (int) sphere.yaw());
        to.writeNumberField("pitch", (int) sphere.pitch());
        to.writeNumberField("roll", (int) sphere.roll());
        to.writeEndObject();
    }

    private void write(SideData.CodedBuffer buffer) throws IOException {
        begin("CPB properties");
        to.writeNumberField("max_bitrate", buffer.maximumBitRate());
        to.writeNumberField("min_bitrate", buffer.minimumBitRate());
        to.writeNumberField("avg_bitrate", buffer.averageBitRate());
        to.writeNumberField("buffer_size", buffer.size());
        to.writeNumberField("vbv_delay", buffer.delay());
        to.writeEndObject();
    }

    private void write(SideData.ReplayGain gain) throws IOException {
        begin("Replay Gain");
        if (gain.track().isPresent()) {
            to.writeNumberField("track_gain", gain.track().getAsDouble());
        }
        if (gain.trackPeak() > 0) {
            to.writeNumberField("track_peak", gain.trackPeak());
        }
        if (gain.album().isPresent()) {
            to.writeNumberField("album_gain", gain.album().getAsDouble());
        }
        if (gain.albumPeak() > 0) {
            to.writeNumberField("album_peak", gain.albumPeak());
        }
        to.writeEndObject();
    }

    private void begin(String type) throws IOException {
        to.writeStartObject();
        to.writeStringField("side_data_type", type);
    }
}
