#include "worker/syscall_filter.h"

#include <linux/audit.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sched.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <vector>

namespace syscall_filter
{

namespace
{

constexpr dsd_call s_calls[] = {
    {SYS_futex, ie_condition::ie_any, "futex", "threads wait for each other and for the channel"},
    {SYS_clock_gettime, ie_condition::ie_any, "clock_gettime", "FFmpeg reads the time where the vDSO has none"},
    {SYS_clock_nanosleep, ie_condition::ie_any, "clock_nanosleep", "FFmpeg's threads wait a moment"},
    {SYS_nanosleep, ie_condition::ie_any, "nanosleep", "the same in older C libraries"},
    {SYS_sched_yield, ie_condition::ie_any, "sched_yield", "decoders let other threads run"},
    {SYS_restart_syscall, ie_condition::ie_any, "restart_syscall", "a wait goes on after SIGCONT"},
    {SYS_recvmsg, ie_condition::ie_on_channel, "recvmsg", "orders arrive"},
    {SYS_sendmsg, ie_condition::ie_on_channel, "sendmsg", "answers leave"},
    {SYS_brk, ie_condition::ie_any, "brk", "malloc"},
    {SYS_mmap, ie_condition::ie_anonymous, "mmap", "malloc and the stacks of threads"},
    {SYS_munmap, ie_condition::ie_any, "munmap", "free"},
    {SYS_mremap, ie_condition::ie_any, "mremap", "realloc"},
    {SYS_mprotect, ie_condition::ie_not_executable, "mprotect", "heaps grow, stacks have a guard"},
    {SYS_madvise, ie_condition::ie_any, "madvise", "free returns pages"},
    {SYS_clone, ie_condition::ie_thread, "clone", "decoders have threads"},
    {SYS_clone3, ie_condition::ie_missing, "clone3", "its flags lie in memory, where a filter cannot look"},
    {SYS_set_robust_list, ie_condition::ie_any, "set_robust_list", "the C library starts a thread"},
    {SYS_rseq, ie_condition::ie_any, "rseq", "the C library starts a thread"},
    {SYS_rt_sigprocmask, ie_condition::ie_any, "rt_sigprocmask", "the C library starts a thread, and aborts"},
    {SYS_rt_sigaction, ie_condition::ie_any, "rt_sigaction", "the C library starts the first thread"},
    {SYS_prctl, ie_condition::ie_name_thread, "prctl", "FFmpeg names its threads"},
    {SYS_sched_getaffinity, ie_condition::ie_any, "sched_getaffinity", "decoders count the processors"},
    {SYS_getrandom, ie_condition::ie_any, "getrandom", "FFmpeg and malloc take random numbers"},
    {SYS_getpid, ie_condition::ie_any, "getpid", "abort"},
    {SYS_gettid, ie_condition::ie_any, "gettid", "abort, and mutexes that know their owner"},
    {SYS_tgkill, ie_condition::ie_own_process, "tgkill", "abort, so that it is told from a forbidden call"},
    {SYS_write, ie_condition::ie_on_standard_error, "write", "complaints of libraries, which go nowhere"},
    {SYS_writev, ie_condition::ie_on_standard_error, "writev", "complaints of the C library, which go nowhere"},
    {SYS_exit, ie_condition::ie_any, "exit", "a thread ends"},
    {SYS_exit_group, ie_condition::ie_any, "exit_group", "the process ends"},
};

constexpr uint32_t um_thread_flags = CLONE_VM | CLONE_FS | CLONE_FILES | CLONE_SIGHAND | CLONE_THREAD | CLONE_SYSVSEM;
constexpr uint32_t um_flags_of_other_calls = CLONE_VFORK | CLONE_PTRACE | CLONE_UNTRACED | CLONE_NEWNS |
                                             CLONE_NEWCGROUP | CLONE_NEWUTS | CLONE_NEWIPC | CLONE_NEWUSER |
                                             CLONE_NEWPID | CLONE_NEWNET | CLONE_IO;

/** The lower half of an argument; every value that is compared lies in it. */
constexpr uint32_t um_argument(unsigned unp_index) noexcept
{
    return static_cast<uint32_t>(offsetof(seccomp_data, args)) + unp_index * static_cast<uint32_t>(sizeof(uint64_t));
}

/** A program for the kernel's filter machine, written front to back. */
class c_program
{
public:
    void load(uint32_t ump_offset) { add(BPF_LD | BPF_W | BPF_ABS, ump_offset); }
    void keep_bits(uint32_t ump_bits) { add(BPF_ALU | BPF_AND | BPF_K, ump_bits); }
    void answer(uint32_t ump_action) { add(BPF_RET | BPF_K, ump_action); }
    void kill() { answer(SECCOMP_RET_KILL_PROCESS); }
    void allow() { answer(SECCOMP_RET_ALLOW); }
    /** Leaves out the next @p ulp_count instructions unless the loaded value is @p ump_value. */
    void leave_out_unless(uint32_t ump_value, size_t ulp_count)
    {
        add(BPF_JMP | BPF_JEQ | BPF_K, ump_value, static_cast<uint8_t>(ulp_count));
    }
    /** Ends the process unless the loaded value is @p ump_value. */
    void require(uint32_t ump_value)
    {
        add(BPF_JMP | BPF_JEQ | BPF_K, ump_value, 0, 1);
        kill();
    }
    /** Allows the call when the loaded value is @p ump_value, and ends the process when it is not. */
    void allow_only(uint32_t ump_value)
    {
        leave_out_unless(ump_value, 1);
        allow();
        kill();
    }
    void append(const c_program &dsp_other)
    {
        dsc_code.insert(dsc_code.end(), dsp_other.dsc_code.begin(), dsp_other.dsc_code.end());
    }

    size_t size() const noexcept { return dsc_code.size(); }
    int install() noexcept
    {
        const sock_fprog dsl_program{static_cast<unsigned short>(dsc_code.size()), dsc_code.data()};
        return prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &dsl_program) == 0 ? 0 : errno;
    }

private:
    void add(int inp_code, uint32_t ump_value, uint8_t utp_if_false = 0, uint8_t utp_if_true = 0)
    {
        dsc_code.push_back({static_cast<uint16_t>(inp_code), utp_if_true, utp_if_false, ump_value});
    }

    std::vector<sock_filter> dsc_code;
};

/** Appends what decides on a call whose number was compared already. */
void decide(c_program &dsp_program, ie_condition iep_condition, int inp_channel)
{
    switch (iep_condition) {
    case ie_condition::ie_any:
        dsp_program.allow();
        break;
    case ie_condition::ie_on_channel:
        dsp_program.load(um_argument(0));
        dsp_program.allow_only(static_cast<uint32_t>(inp_channel));
        break;
    case ie_condition::ie_on_standard_error:
        dsp_program.load(um_argument(0));
        dsp_program.allow_only(STDERR_FILENO);
        break;
    case ie_condition::ie_anonymous:
        dsp_program.load(um_argument(4));
        dsp_program.leave_out_unless(static_cast<uint32_t>(-1), 4); // to the end of the process
        [[fallthrough]];
    case ie_condition::ie_not_executable:
        dsp_program.load(um_argument(2));
        dsp_program.keep_bits(PROT_EXEC);
        dsp_program.allow_only(0);
        break;
    case ie_condition::ie_thread:
        dsp_program.load(um_argument(0));
        dsp_program.keep_bits(um_thread_flags | um_flags_of_other_calls);
        dsp_program.allow_only(um_thread_flags);
        break;
    case ie_condition::ie_own_process:
        dsp_program.load(um_argument(0));
        dsp_program.allow_only(static_cast<uint32_t>(getpid()));
        break;
    case ie_condition::ie_name_thread:
        dsp_program.load(um_argument(0));
        dsp_program.allow_only(PR_SET_NAME);
        break;
    case ie_condition::ie_missing:
        dsp_program.answer(SECCOMP_RET_ERRNO | ENOSYS);
        break;
    }
}

} // namespace

std::span<const dsd_call> calls() noexcept
{
    return s_calls;
}

int install(int inp_channel)
{
    c_program dsl_program;
    dsl_program.load(offsetof(seccomp_data, arch));
    dsl_program.require(AUDIT_ARCH_X86_64);
    dsl_program.load(offsetof(seccomp_data, nr)); // with a bit of its own for the x32 interface, so that none is equal
    for (const dsd_call &dsl_call : s_calls) {
        c_program dsl_decision;
        decide(dsl_decision, dsl_call.iec_condition, inp_channel);
        dsl_program.leave_out_unless(static_cast<uint32_t>(dsl_call.inc_number), dsl_decision.size());
        dsl_program.append(dsl_decision);
    }
    dsl_program.kill();
    return dsl_program.install();
}

} // namespace syscall_filter
