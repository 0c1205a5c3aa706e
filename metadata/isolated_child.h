#ifndef ISOLATED_CHILD_H
#define ISOLATED_CHILD_H

#include <QtGlobal>

#include <sys/types.h>

// How the worker turns a freshly forked child into one of its isolated
// helper processes (the importer spawner, the image reader), the same way
// for each: only async-signal-safe calls, between fork and exec.
struct IsolatedChild
{
    const char *program;
    char *const *argv;
    char *const *environment;
    // Descriptors that become 3, 4, … in the child, in order; every other
    // descriptor but the standard ones, which read and write /dev/null, is
    // closed. Each must lie above 2 + count, so placing one never
    // overwrites another.
    const int *places;
    int place_count;
    int null_device;
    pid_t worker;
    quint64 address_space_bytes;
    quint64 cpu_seconds;
};

// Ties the child's life to the worker's (and refuses to start if the
// worker is already gone), gives it a process group of its own, its limits
// and no core file, its descriptors and a clean signal state, then execs
// the program. Never returns.
[[noreturn]] void become_isolated_child(const IsolatedChild &child);

// The first descriptor number a place may be moved to before the fork.
constexpr int isolated_child_first_spare_fd(int place_count) { return 3 + place_count + 1; }

#endif // ISOLATED_CHILD_H
