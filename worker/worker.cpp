#include "worker/worker.h"

#include "kivjniffmpeg/context/library_context.h"
#include "kivjniffmpeg/workers/descriptors.h"
#include "kivjniffmpeg/workers/nursery_messages.h"
#include "worker/orders.h"
#include "worker/shared_memory.h"

#include <unistd.h>

#include <cstdint>
#include <exception>
#include <span>
#include <string>
#include <thread>

namespace
{

constexpr int in_failed = 1;

void work(int inp_channel, int inp_memory, pid_t inp_parent, const sandbox::dsd_limits &dsp_limits)
{
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

/** Reports why there will be no worker. Once there was one, nobody waits for this. */
void report_failure(int inp_channel, const char *strp_what) noexcept
{
    try {
        const std::string strl_report = nursery_messages::byr_failed + std::string(strp_what);
        descriptors::send(inp_channel, std::as_bytes(std::span(strl_report)));
    } catch (const std::exception &) {
        // The caller sees that the process has ended.
    }
}

} // namespace

void run_worker(int inp_channel, int inp_memory, pid_t inp_parent, const sandbox::dsd_limits &dsp_limits)
{
    try {
        work(inp_channel, inp_memory, inp_parent, dsp_limits);
    } catch (const std::exception &dsl_exception) {
        report_failure(inp_channel, dsl_exception.what());
    }
    _exit(in_failed);
}
