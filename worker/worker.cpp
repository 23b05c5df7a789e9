#include "worker/worker.h"

#include "kivjniffmpeg/context/library_context.h"
#include "kivjniffmpeg/workers/descriptors.h"
#include "worker/orders.h"
#include "worker/shared_memory.h"

#include <malloc.h>
#include <unistd.h>

#include <cstdint>
#include <exception>
#include <span>
#include <string>
#include <thread>

namespace
{

constexpr int in_failed = 1;

/** With an arena for each thread the C library opens files of /proc and /sys when arenas are made or shrink. */
void use_one_arena() noexcept
{
    mallopt(M_ARENA_MAX, 1);
}

void work(int inp_channel, int inp_memory, pid_t inp_parent, const sandbox::dsd_limits &dsp_limits)
{
    use_one_arena();
    const c_shared_memory dsl_memory(inp_memory);
    c_ffmpeg dsl_ffmpeg;
    dsl_ffmpeg.add_holder(); // for the whole life: nothing is torn down
    const std::string strl_held = sandbox::describe(sandbox::enter(inp_channel, inp_parent, dsp_limits));
    descriptors::send(inp_channel, std::as_bytes(std::span(strl_held)));
    for (int32_t iml_lane = 0;
         descriptors::receive(inp_channel, std::as_writable_bytes(std::span(&iml_lane, 1))).ulc_length ==
         sizeof iml_lane;)
        std::thread([&dsl_ffmpeg, &dsl_memory, iml_lane] { serve(dsl_ffmpeg, dsl_memory, iml_lane); }).detach();
    _exit(0); // threads that still work need not be waited for
}

} // namespace

void run_worker(int inp_channel, int inp_memory, pid_t inp_parent, const sandbox::dsd_limits &dsp_limits)
{
    try {
        work(inp_channel, inp_memory, inp_parent, dsp_limits);
    } catch (const std::exception &) {
        // The caller sees that the process has ended.
    }
    _exit(in_failed);
}
