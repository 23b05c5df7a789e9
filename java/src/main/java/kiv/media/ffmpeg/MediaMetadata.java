package kiv.media.ffmpeg;

import java.util.List;
import kiv.media.ffmpeg.natives.c_metadata_ffmpeg;

/** What a container says of itself besides its numbers, when it was opened. */
record MediaMetadata(Tags tags, List<Chapter> chapters, List<Program> programs) {

    static MediaMetadata read(long reader) {
        return new MediaMetadata(tags(reader, c_metadata_ffmpeg.CONTAINER).get(0),
                Chapter.list(c_metadata_ffmpeg.n_metadata_chapters(reader), tags(reader, c_metadata_ffmpeg.CHAPTERS)),
                Program.list(c_metadata_ffmpeg.n_metadata_programs(reader), tags(reader, c_metadata_ffmpeg.PROGRAMS)));
    }

    private static List<Tags> tags(long reader, int kind) {
        return Tags.lists(c_metadata_ffmpeg.n_metadata_tags(reader, kind, 0));
    }
}
