package kiv.media.bench;

import org.bytedeco.ffmpeg.avcodec.AVCodec;
import org.bytedeco.ffmpeg.avcodec.AVCodecContext;
import org.bytedeco.ffmpeg.avcodec.AVPacket;
import org.bytedeco.ffmpeg.avformat.AVFormatContext;
import org.bytedeco.ffmpeg.avformat.AVStream;
import org.bytedeco.ffmpeg.avutil.AVDictionary;
import org.bytedeco.ffmpeg.avutil.AVFrame;
import org.bytedeco.ffmpeg.global.avcodec;
import org.bytedeco.ffmpeg.global.avformat;
import org.bytedeco.ffmpeg.global.avutil;
import org.bytedeco.javacpp.PointerPointer;

/** FFmpeg's functions called one by one through the presets. 0 threads are as many as there are cores. */
final class PresetsWork {

    private PresetsWork() {
    }

    static Work of(Task task) throws Exception {
        avutil.av_log_set_level(avutil.AV_LOG_ERROR);
        return switch (task.kind()) {
            case FILM -> sink -> run(task, avutil.AVMEDIA_TYPE_VIDEO, sink);
            case SOUND -> sink -> run(task, avutil.AVMEDIA_TYPE_AUDIO, sink);
            default -> throw task.unsupported();
        };
    }

    private static int check(int result) {
        if (result < 0) {
            throw new IllegalStateException("FFmpeg's error " + result);
        }
        return result;
    }

    private static long run(Task task, int type, Sink sink) {
        AVFormatContext file = new AVFormatContext(null);
        check(avformat.avformat_open_input(file, task.file().toString(), null, (AVDictionary) null));
        check(avformat.avformat_find_stream_info(file, (PointerPointer<?>) null));
        int index = check(avformat.av_find_best_stream(file, type, -1, -1, (AVCodec) null, 0));
        AVStream stream = file.streams(index);
        AVCodec codec = avcodec.avcodec_find_decoder(stream.codecpar().codec_id());
        AVCodecContext context = avcodec.avcodec_alloc_context3(codec);
        check(avcodec.avcodec_parameters_to_context(context, stream.codecpar()));
        context.thread_count(task.threads());
        check(avcodec.avcodec_open2(context, codec, (AVDictionary) null));
        AVPacket packet = avcodec.av_packet_alloc();
        AVFrame frame = avutil.av_frame_alloc();
        long count = 0;
        while (avformat.av_read_frame(file, packet) >= 0) {
            if (packet.stream_index() == index) {
                check(avcodec.avcodec_send_packet(context, packet));
                count += receive(context, frame, type, sink);
            }
            avcodec.av_packet_unref(packet);
        }
        avcodec.avcodec_send_packet(context, null);
        count += receive(context, frame, type, sink);
        avcodec.av_packet_free(packet);
        avutil.av_frame_free(frame);
        avcodec.avcodec_free_context(context);
        avformat.avformat_close_input(file);
        return count;
    }

    private static long receive(AVCodecContext context, AVFrame frame, int type, Sink sink) {
        long count = 0;
        while (avcodec.avcodec_receive_frame(context, frame) >= 0) {
            if (type == avutil.AVMEDIA_TYPE_AUDIO) {
                count += frame.nb_samples();
            } else {
                count++;
                if (sink != null) {
                    AvFrames.take(frame, sink);
                }
            }
        }
        return count;
    }
}
