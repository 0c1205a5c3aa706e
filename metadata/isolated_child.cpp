#include "isolated_child.h"

#include <signal.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <unistd.h>

void become_isolated_child(const IsolatedChild &child)
{
    // The child, and whatever it starts, must not outlive the worker, even
    // a killed one; and if the worker is already gone, it must not start.
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (::getppid() != child.worker)
        ::_exit(127);
    // A group of its own, so that whatever it starts is killed with it.
    ::setpgid(0, 0);

    const rlimit address_space = {child.address_space_bytes, child.address_space_bytes};
    const rlimit cpu = {child.cpu_seconds, child.cpu_seconds};
    const rlimit no_core = {0, 0};
    if (::setrlimit(RLIMIT_AS, &address_space) != 0 || ::setrlimit(RLIMIT_CPU, &cpu) != 0
        || ::setrlimit(RLIMIT_CORE, &no_core) != 0)
        ::_exit(127);

    // A library's chatter must not reach the worker's output, which the
    // host reads.
    if (::dup2(child.null_device, STDIN_FILENO) < 0 || ::dup2(child.null_device, STDOUT_FILENO) < 0
        || ::dup2(child.null_device, STDERR_FILENO) < 0)
        ::_exit(127);
    for (int index = 0; index < child.place_count; ++index) {
        if (::dup2(child.places[index], 3 + index) < 0)
            ::_exit(127);
    }
    // Nothing else of the worker (case databases, other evidence) reaches it.
    const int first_closed = 3 + child.place_count;
    if (::close_range(unsigned(first_closed), ~0U, 0) != 0) {
        for (int fd = first_closed; fd < 65536; ++fd)
            ::close(fd);
    }

    sigset_t none;
    ::sigemptyset(&none);
    ::sigprocmask(SIG_SETMASK, &none, nullptr);
    ::signal(SIGPIPE, SIG_DFL);

    ::execve(child.program, child.argv, child.environment);
    ::_exit(127);
}
