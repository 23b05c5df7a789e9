package kiv.media.ffmpeg;

import java.util.List;
import kiv.media.ffmpeg.natives.c_metadata_ffmpeg;
import kiv.media.ffmpeg.wall.ContainerReader;

/** What a container says of itself besides its numbers, when it was opened. */
record MediaMetadata(Tags tags, List<Chapter> chapters, List<Program> programs) {

    static MediaMetadata read(ContainerReader reader) {
        return new MediaMetadata(tags(reader, c_metadata_ffmpeg.CONTAINER).stream().findFirst().orElse(Tags.NONE),
                Chapter.list(reader.chapters(), tags(reader, c_metadata_ffmpeg.CHAPTERS)),
                Program.list(reader.programs(), tags(reader, c_metadata_ffmpeg.PROGRAMS)));
    }

    private static List<Tags> tags(ContainerReader reader, int kind) {
        return Tags.lists(reader.tags(kind, 0));
    }
}
