package kiv.media.ffmpeg;

import java.util.ArrayList;
import java.util.List;
import java.util.Optional;
import kiv.media.ffmpeg.natives.LightFields;
import kiv.media.ffmpeg.natives.StreamNames;
import kiv.media.ffmpeg.natives.c_metadata_ffmpeg;
import kiv.media.ffmpeg.wall.ContainerReader;

/**
 * What a stream says of itself besides its numbers.
 *
 * @param tags its tags
 * @param names FFmpeg's names, laid out as {@link StreamNames}
 * @param light laid out as {@link LightFields}, or null
 * @param sideData turning, buffers, volume and space
 */
record StreamMetadata(Tags tags, String[] names, long[] light, SideData sideData) {

    /** That of a stream that says nothing. */
    static final StreamMetadata NONE = new StreamMetadata(Tags.NONE, new String[StreamNames.SIZE], null,
            SideData.of(null));

    /** The metadata of a reader's streams from a number on. */
    static List<StreamMetadata> read(ContainerReader reader, int first, long count) {
        List<Tags> tags = first >= count ? List.of()
                : Tags.lists(reader.tags(c_metadata_ffmpeg.STREAMS, first));
        List<StreamMetadata> all = new ArrayList<>();
        for (int index = first; index < count; index++) {
            all.add(new StreamMetadata(all.size() < tags.size() ? tags.get(all.size()) : Tags.NONE,
                    reader.names(index), reader.light(index), SideData.of(reader.sideData(index))));
        }
        return all;
    }

    /** One of {@link StreamNames}. */
    Optional<String> name(int which) {
        return Optional.ofNullable(names[which]);
    }

    ColorDescription color() {
        return new ColorDescription(name(StreamNames.COLOR_RANGE), name(StreamNames.COLOR_SPACE),
                name(StreamNames.COLOR_TRANSFER), name(StreamNames.COLOR_PRIMARIES), name(StreamNames.CHROMA_LOCATION),
                MasteringDisplay.of(light), ContentLight.of(light));
    }
}
