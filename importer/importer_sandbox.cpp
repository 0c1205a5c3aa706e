#include "importer_sandbox.h"

#include "file_system_lockout.h"
#include "importer_privileges.h"

#include <fcntl.h>
#include <seccomp.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <memory>

namespace importer_sandbox {

namespace {

// Which calls of a system call the filter lets through.
enum class When {
    Always,
    OnChannel,        // on the channel to the worker, and no other descriptor
    OnSelf,           // a signal to this process only
    OnDescriptor,     // a status of a descriptor (AT_EMPTY_PATH), fstatat's flags
    OnDescriptorX,    // the same, statx's flags
    NeverExecutable,  // memory that is not made executable
};

struct Allowed
{
    int call;
    When when;
};

// Everything a confined importer may do. Any other call fails with EPERM
// rather than killing the process: honest libraries probe (a font
// configuration, a locale file, the terminal) and cope with a refusal,
// while an intruder gains no more from an error than from a kill.
const Allowed allowed[] = {
    // Reading the descriptors it holds: the evidence it was handed.
    {SCMP_SYS(read), When::Always},
    {SCMP_SYS(pread64), When::Always},
    {SCMP_SYS(readv), When::Always},
    {SCMP_SYS(preadv), When::Always},
    {SCMP_SYS(lseek), When::Always},
    {SCMP_SYS(fstat), When::Always},
    {SCMP_SYS(newfstatat), When::OnDescriptor},
    {SCMP_SYS(statx), When::OnDescriptorX},
    {SCMP_SYS(close), When::Always},
    // Memory; none made executable, so no code it writes can run.
    {SCMP_SYS(brk), When::Always},
    {SCMP_SYS(mmap), When::NeverExecutable},
    {SCMP_SYS(mprotect), When::NeverExecutable},
    {SCMP_SYS(mremap), When::Always},
    {SCMP_SYS(munmap), When::Always},
    {SCMP_SYS(madvise), When::Always},
    // Time, locks and the randomness of hash tables.
    {SCMP_SYS(clock_gettime), When::Always},
    {SCMP_SYS(clock_getres), When::Always},
    {SCMP_SYS(gettimeofday), When::Always},
    {SCMP_SYS(time), When::Always},
    {SCMP_SYS(nanosleep), When::Always},
    {SCMP_SYS(clock_nanosleep), When::Always},
    {SCMP_SYS(futex), When::Always},
    {SCMP_SYS(sched_yield), When::Always},
    {SCMP_SYS(getrandom), When::Always},
    // Dying cleanly, by its own hand or by a signal it raises.
    {SCMP_SYS(rt_sigaction), When::Always},
    {SCMP_SYS(rt_sigprocmask), When::Always},
    {SCMP_SYS(rt_sigreturn), When::Always},
    {SCMP_SYS(sigaltstack), When::Always},
    {SCMP_SYS(restart_syscall), When::Always},
    {SCMP_SYS(getpid), When::Always},
    {SCMP_SYS(gettid), When::Always},
    {SCMP_SYS(kill), When::OnSelf},
    {SCMP_SYS(tkill), When::OnSelf},
    {SCMP_SYS(tgkill), When::OnSelf},
    {SCMP_SYS(exit), When::Always},
    {SCMP_SYS(exit_group), When::Always},
    // Reading requests and answering them on its channel.
    {SCMP_SYS(recvmsg), When::OnChannel},
    {SCMP_SYS(recvfrom), When::OnChannel},
    {SCMP_SYS(sendmsg), When::OnChannel},
    {SCMP_SYS(sendto), When::OnChannel},
    {SCMP_SYS(write), When::OnChannel},
    {SCMP_SYS(writev), When::OnChannel},
};

// Refused otherwise than with EPERM: glibc takes ENOSYS from clone3 as an
// older kernel's and falls back to clone, which the filter refuses.
struct Refused
{
    int call;
    int error;
};
const Refused refused[] = {
    {SCMP_SYS(clone3), ENOSYS},
};

using Filter = std::unique_ptr<void, void (*)(scmp_filter_ctx)>;

// Adds the rules that let call through when it is made as when says.
void allow(const Filter &filter, const Allowed &rule, int channel, pid_t self)
{
    const auto add = [&](auto... conditions) {
        seccomp_rule_add(filter.get(), SCMP_ACT_ALLOW, rule.call, sizeof...(conditions), conditions...);
    };
    switch (rule.when) {
    case When::Always:
        add();
        break;
    case When::OnChannel:
        add(SCMP_A0(SCMP_CMP_EQ, scmp_datum_t(channel)));
        break;
    case When::OnSelf:
        add(SCMP_A0(SCMP_CMP_EQ, scmp_datum_t(self)));
        break;
    case When::OnDescriptor:
        add(SCMP_A3(SCMP_CMP_MASKED_EQ, AT_EMPTY_PATH, AT_EMPTY_PATH));
        break;
    case When::OnDescriptorX:
        add(SCMP_A2(SCMP_CMP_MASKED_EQ, AT_EMPTY_PATH, AT_EMPTY_PATH));
        break;
    case When::NeverExecutable:
        add(SCMP_A2(SCMP_CMP_MASKED_EQ, PROT_EXEC, 0));
        break;
    }
}

// Installs the filter; false where the kernel has no seccomp filters.
bool filter_system_calls(int channel)
{
    const Filter filter(seccomp_init(SCMP_ACT_ERRNO(EPERM)), seccomp_release);
    if (!filter)
        return false;
    // Every thread is filtered, not only the caller: an importer started by
    // exec may hold threads its libraries started at load.
    seccomp_attr_set(filter.get(), SCMP_FLTATR_CTL_TSYNC, 1);
    const pid_t self = ::getpid();
    for (const Allowed &rule : allowed)
        allow(filter, rule, channel, self);
    for (const Refused &rule : refused)
        seccomp_rule_add(filter.get(), SCMP_ACT_ERRNO(unsigned(rule.error)), rule.call, 0);
    return seccomp_load(filter.get()) == 0;
}

} // namespace

void confine_importer(int channel)
{
    importer_privileges::leave_privileges();
    file_system_lockout::lock_out();
    filter_system_calls(channel);
}

} // namespace importer_sandbox
