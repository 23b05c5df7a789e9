// kivjniffmpeg-worker DIRECTORY: makes workers that decode with the FFmpeg in this directory. Its socket is descriptor 3.

#include "kivjniffmpeg/workers/nursery_messages.h"
#include "trace/trace.h"
#include "worker/nursery.h"
#include "worker/worker.h"

#include <sys/syscall.h>
#include <unistd.h>

#include <cstdio>
#include <exception>

#if KIV_SANITIZED
// The program has no environment. A signal ends a worker as it does without a sanitizer, and nobody looks for leaks.
#define KIV_SIGNALS "handle_segv=0:handle_sigbus=0:handle_sigfpe=0:handle_sigill=0:handle_abort=0"
extern "C" __attribute__((visibility("default"))) const char *__asan_default_options()
{
    return KIV_SIGNALS ":detect_leaks=0";
}
extern "C" __attribute__((visibility("default"))) const char *__tsan_default_options()
{
    return KIV_SIGNALS;
}
#endif

int main(int inp_count, char **astrp_arguments)
{
    if (inp_count != 2) {
        std::fputs("kivjniffmpeg starts this program itself; it has no use without a socket\n", stderr);
        return 2;
    }
    try {
        trace_silence();
        syscall(SYS_close_range, nursery_messages::in_socket + 1, ~0U, 0); // what a virtual machine left open
        load_ffmpeg(astrp_arguments[1]);
        run_nursery(nursery_messages::in_socket, run_worker);
        return 0;
    } catch (const std::exception &dsl_exception) {
        std::fprintf(stderr, "kivjniffmpeg-worker: %s\n", dsl_exception.what());
        return 1;
    }
}
