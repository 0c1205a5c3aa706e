#include "file_system_lockout.h"

#include <linux/landlock.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdint>

// Rights of later Landlock versions than the system's headers may know.
#ifndef LANDLOCK_ACCESS_FS_TRUNCATE
#define LANDLOCK_ACCESS_FS_TRUNCATE (1ULL << 14)
#endif
#ifndef LANDLOCK_ACCESS_FS_IOCTL_DEV
#define LANDLOCK_ACCESS_FS_IOCTL_DEV (1ULL << 15)
#endif

namespace file_system_lockout {

namespace {

// The file-system rights a kernel of Landlock version abi can refuse: each
// version refuses what the one before did, and more.
std::uint64_t rights_of(long abi)
{
    // Version 1: every right below REFER.
    std::uint64_t rights = LANDLOCK_ACCESS_FS_REFER - 1;
    if (abi >= 2)
        rights |= LANDLOCK_ACCESS_FS_REFER;
    if (abi >= 3)
        rights |= LANDLOCK_ACCESS_FS_TRUNCATE;
    if (abi >= 5)
        rights |= LANDLOCK_ACCESS_FS_IOCTL_DEV;
    return rights;
}

} // namespace

bool lock_out()
{
    const long abi = ::syscall(SYS_landlock_create_ruleset, nullptr, 0, LANDLOCK_CREATE_RULESET_VERSION);
    if (abi < 1)
        return false;
    // A ruleset that handles every right and grants none of them: no path
    // is beneath any rule, so every access by name is refused.
    landlock_ruleset_attr ruleset = {};
    ruleset.handled_access_fs = rights_of(abi);
    const long fd = ::syscall(SYS_landlock_create_ruleset, &ruleset, sizeof ruleset, 0);
    if (fd < 0)
        return false;
    const bool locked = ::syscall(SYS_landlock_restrict_self, fd, 0) == 0;
    ::close(int(fd));
    return locked;
}

} // namespace file_system_lockout
