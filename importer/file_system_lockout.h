#ifndef FILE_SYSTEM_LOCKOUT_H
#define FILE_SYSTEM_LOCKOUT_H

// Shuts a process out of every file system by name, with the kernel's
// Landlock security module: whatever path it gives, it may not open, list,
// execute, create, remove or rename anything. Descriptors it already holds
// (the evidence the worker handed over) stay readable.
namespace file_system_lockout {

// Locks the calling process and every child it starts out for good; needs
// no_new_privs (or CAP_SYS_ADMIN). False where the kernel has no Landlock
// or it is turned off: the process then runs under its other protections.
bool lock_out();

} // namespace file_system_lockout

#endif // FILE_SYSTEM_LOCKOUT_H
