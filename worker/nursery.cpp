#include "worker/nursery.h"

#include "kivjniffmpeg/context/library_context.h"
#include "kivjniffmpeg/ffmpeg/loader.h"
#include "kivjniffmpeg/ffmpeg/logged_errors.h"
#include "kivjniffmpeg/workers/descriptors.h"
#include "kivjniffmpeg/workers/nursery_messages.h"
#include "worker/character_sets.h"

#include <dlfcn.h>
#include <malloc.h>
#include <poll.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <ctime>
#include <stdexcept>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

using nursery_messages::dsd_report;
using nursery_messages::dsd_start;
using nursery_messages::ie_kind;

namespace
{

/** A worker that lives, or that nobody has waited for. */
struct dsd_worker
{
    pid_t inc_process;
    c_descriptor dsc_process;
};

void send(int inp_socket, const dsd_report &dsp_report, std::span<const int> ainp_descriptors = {})
{
    descriptors::send(inp_socket, std::as_bytes(std::span(&dsp_report, 1)), ainp_descriptors);
}

/** Forks. In the child this does not return. */
pid_t fork_worker(worker_life dsp_life, const dsd_start &dsp_start,
                  const std::array<c_descriptor, descriptors::ul_most> &adsp_descriptors)
{
    const pid_t inl_nursery = getpid();
    const pid_t inl_process = fork();
    if (inl_process == 0) {
        dsp_life(adsp_descriptors[0].get(), adsp_descriptors[1].get(), inl_nursery,
                 {dsp_start.ulc_memory, dsp_start.umc_processor_seconds});
        _exit(1); // a life ends the process itself
    }
    return inl_process;
}

void start_worker(int inp_socket, worker_life dsp_life, const dsd_start &dsp_start,
                  const std::array<c_descriptor, descriptors::ul_most> &adsp_descriptors,
                  std::vector<dsd_worker> &dsp_workers)
{
    const pid_t inl_process = fork_worker(dsp_life, dsp_start, adsp_descriptors);
    c_descriptor dsl_process(inl_process < 0 ? -1 : static_cast<int>(syscall(SYS_pidfd_open, inl_process, 0)));
    if (!dsl_process) {
        const int inl_error = errno;
        if (inl_process > 0) {
            kill(inl_process, SIGKILL);
            waitpid(inl_process, nullptr, 0);
        }
        send(inp_socket, {ie_kind::ie_failed, inl_error, 0, 0});
        return;
    }
    const int inl_descriptor = dsl_process.get();
    dsp_workers.push_back({inl_process, std::move(dsl_process)});
    send(inp_socket, {ie_kind::ie_started, inl_process, 0, 0}, std::span(&inl_descriptor, 1));
}

/** Reports the workers that have ended. */
void report_ends(int inp_socket, std::vector<dsd_worker> &dsp_workers)
{
    std::erase_if(dsp_workers, [&](const dsd_worker &dsp_worker) {
        int inl_status = 0;
        if (waitpid(dsp_worker.inc_process, &inl_status, WNOHANG) != dsp_worker.inc_process)
            return false;
        send(inp_socket, {ie_kind::ie_ended, dsp_worker.inc_process, WIFSIGNALED(inl_status) ? WTERMSIG(inl_status) : 0,
                          WIFEXITED(inl_status) ? WEXITSTATUS(inl_status) : 0});
        return true;
    });
}

void kill_all(std::vector<dsd_worker> &dsp_workers) noexcept
{
    for (const dsd_worker &dsl_worker : dsp_workers) {
        kill(dsl_worker.inc_process, SIGKILL);
        waitpid(dsl_worker.inc_process, nullptr, 0);
    }
}

/** Those of which a worker most likely needs one. */
constexpr AVCodecID s_usual_decoders[] = {
    AV_CODEC_ID_H264, AV_CODEC_ID_MPEG4, AV_CODEC_ID_MSMPEG4V3, AV_CODEC_ID_MPEG1VIDEO, AV_CODEC_ID_MPEG2VIDEO,
    AV_CODEC_ID_HEVC, AV_CODEC_ID_VP8,   AV_CODEC_ID_VP9,       AV_CODEC_ID_MJPEG,      AV_CODEC_ID_WMV2,
    AV_CODEC_ID_AAC,  AV_CODEC_ID_MP3,   AV_CODEC_ID_MP2,       AV_CODEC_ID_AC3,        AV_CODEC_ID_OPUS};

/** Opens a decoder once, which computes tables that all decoders of its kind have in common. */
void compute_tables(AVCodecID iep_codec)
{
    const AVCodec *adsl_codec = g_avcodec.avcodec_find_decoder(iep_codec);
    AVCodecContext *adsl_context = adsl_codec == nullptr ? nullptr : g_avcodec.avcodec_alloc_context3(adsl_codec);
    if (adsl_context == nullptr)
        return;
    adsl_context->thread_count = 1; // a thread would not be there after a fork
    adsl_context->width = 16;
    adsl_context->height = 16;
    adsl_context->channels = 2;
    adsl_context->sample_rate = 44'100;
    g_avcodec.avcodec_open2(adsl_context, adsl_codec, nullptr);
    g_avcodec.avcodec_close(adsl_context);
    g_avutil.av_freep(&adsl_context);
}

void compute_all_tables()
{
    for (const AVCodecID iel_codec : s_usual_decoders)
        compute_tables(iel_codec);
}

/**
 * Allocates what is free of the heap. So a worker's heap begins on pages of its own. It gets a new page faster than a copy of an
 * old one, and new pages may be large. The blocks are never written to and never freed.
 */
void use_up_heap()
{
    constexpr size_t ul_largest = size_t{1} << 20U;
    constexpr size_t ul_smallest = 2048;
    constexpr size_t ul_most = size_t{64} << 20U;
    malloc_trim(0);
    size_t ull_left = ul_most; // the end of the heap does not move with another malloc, such as that of a sanitizer
    const void *avl_end = sbrk(0);
    for (size_t ull_size = ul_largest; ull_size >= ul_smallest; ull_size /= 2)
        for (; ull_left >= ull_size; ull_left -= ull_size) {
            void *volatile avl_block = std::malloc(ull_size); // which the compiler would leave out
            if (sbrk(0) != avl_end) {
                std::free(avl_block);
                malloc_trim(0);
                avl_end = sbrk(0);
                break;
            }
        }
}

/** Serves until the other end is gone. */
void serve_caller(int inp_socket, worker_life dsp_life, std::vector<dsd_worker> &dsp_workers)
{
    bool bl_tables = false;
    for (;;) {
        std::vector<pollfd> dsl_polled{{inp_socket, POLLIN, 0}};
        for (const dsd_worker &dsl_worker : dsp_workers)
            dsl_polled.push_back({dsl_worker.dsc_process.get(), POLLIN, 0});
        if (poll(dsl_polled.data(), dsl_polled.size(), -1) < 0 && errno != EINTR)
            throw std::system_error(errno, std::generic_category(), "poll");
        report_ends(inp_socket, dsp_workers);
        if (dsl_polled.front().revents == 0)
            continue;
        dsd_start dsl_start{};
        auto dsl_received = descriptors::receive(inp_socket, std::as_writable_bytes(std::span(&dsl_start, 1)));
        if (dsl_received.ulc_length == 0)
            return;
        if (dsl_received.ulc_length == sizeof dsl_start && dsl_received.adsc_descriptors[1])
            start_worker(inp_socket, dsp_life, dsl_start, dsl_received.adsc_descriptors, dsp_workers);
        else
            send(inp_socket, {ie_kind::ie_failed, EINVAL, 0, 0});
        // Behind the first worker, which would otherwise wait for tables that it does not need.
        if (!std::exchange(bl_tables, true)) {
            compute_all_tables();
            use_up_heap();
        }
    }
}

} // namespace

namespace
{

/** Has the C library do what it does once, and what a worker may not do. */
void prepare_c_library()
{
    // With an arena for each thread it opens files of /proc and /sys when arenas are made or shrink.
    mallopt(M_ARENA_MAX, 1);
    // One heap, which keeps its pages, may have large ones; a block of its own may not.
    constexpr int in_large_block = 16 << 20;
    mallopt(M_MMAP_THRESHOLD, in_large_block);
    mallopt(M_TRIM_THRESHOLD, in_large_block);
    tzset(); // reads files, which gmtime does otherwise
    std::array<int, 1024> ainl_numbers{};
    // The first large array asks the system for the size of its memory.
    std::qsort(ainl_numbers.data(), ainl_numbers.size(), sizeof(int), [](const void *avp_one, const void *avp_other) {
        return *static_cast<const int *>(avp_one) - *static_cast<const int *>(avp_other);
    });
}

} // namespace

void load_ffmpeg(const char *strp_ffmpeg)
{
    // The libraries have no run path: what the others need is opened first.
    for (const char *strl_file : {"/libavutil.so.54", "/libswresample.so.1"})
        if (dlopen((std::string(strp_ffmpeg) + strl_file).c_str(), RTLD_NOW | RTLD_GLOBAL) == nullptr)
            throw std::runtime_error(dlerror());
    c_ffmpeg::static_init();
    {
        const c_mutex_lock dsl_lock(c_ffmpeg::library_mutex());
        ffmpeg_loader::load(strp_ffmpeg);
    }
    logged_errors::begin_to_count();
    prepare_c_library();
    g_avutil.av_log_set_level(AV_LOG_QUIET);
    g_avcodec.avcodec_register_all();
    g_avformat.av_register_all();
}

void run_nursery(int inp_socket, worker_life dsp_life)
{
    const c_character_sets dsl_character_sets;
    static_cast<void>(sandbox::leave_namespaces());
    send(inp_socket, {ie_kind::ie_started, getpid(), 0, 0});
    std::vector<dsd_worker> dsl_workers;
    try {
        serve_caller(inp_socket, dsp_life, dsl_workers);
    } catch (const std::system_error &) {
        // The other end closed its socket while a report was on its way.
    }
    kill_all(dsl_workers);
}
