#include "importer_privileges.h"

#include <grp.h>
#include <linux/capability.h>
#include <sched.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace importer_privileges {

namespace {

// Removes every capability from the bounding set, so that nothing this
// process or its children execute can ever hold one again. Needs
// CAP_SETPCAP; without it the set is left as the host gave it.
void drop_bounding_set()
{
    // The first refusal is either the missing privilege or the end of the
    // capabilities this kernel knows.
    for (int capability = 0; capability < 64; ++capability) {
        if (::prctl(PR_CAPBSET_DROP, capability, 0, 0, 0) != 0)
            break;
    }
}

// Clears the effective, permitted and inheritable sets (a process that was
// never root may still hold capabilities, from its file or its starter).
void clear_capabilities()
{
    __user_cap_header_struct header = {_LINUX_CAPABILITY_VERSION_3, 0};
    __user_cap_data_struct none[_LINUX_CAPABILITY_U32S_3] = {};
    ::syscall(SYS_capset, &header, none);
}

// Becomes nobody, without the groups of the user who started it. Only
// root can, and only root needs to.
bool switch_to_nobody()
{
    if (::geteuid() != 0 && ::getuid() != 0)
        return false;
    ::setgroups(0, nullptr);
    // Group first: once the user is nobody, it may no longer change group.
    return ::setresgid(nobody, nobody, nobody) == 0 && ::setresuid(nobody, nobody, nobody) == 0;
}

} // namespace

void leave_privileges()
{
    const pid_t parent = ::getppid();
    // An importer must reach no one: a namespace of its own holds no
    // interface but a loopback that is down, and no other process's
    // abstract sockets.
    ::unshare(CLONE_NEWNET);
    drop_bounding_set();
    ::prctl(PR_CAP_AMBIENT, PR_CAP_AMBIENT_CLEAR_ALL, 0, 0, 0);
    const bool switched = switch_to_nobody();
    clear_capabilities();
    ::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0);
    // No folder of the host, or of the evidence, is its own.
    if (::chdir("/") != 0)
        ::_exit(127);
    if (switched) {
        // A change of user clears the parent-death signal: it must still die
        // with its parent, and must not run on if that parent already died.
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        if (::getppid() != parent)
            ::_exit(127);
    }
    // A hijacked importer runs as the same user as the others and the
    // spawner: none of them may attach to another or read its memory. Set
    // last, since a change of user or an exec resets it.
    ::prctl(PR_SET_DUMPABLE, 0);
}

} // namespace importer_privileges
