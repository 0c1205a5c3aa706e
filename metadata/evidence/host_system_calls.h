#ifndef HOST_SYSTEM_CALLS_H
#define HOST_SYSTEM_CALLS_H

#include <sys/types.h>

#include <cstddef>

struct file_handle;
struct open_how;
struct stat;
struct statfs;
struct statx;

// The kernel calls through which a folder of the examining machine is
// read as evidence, in one table so that a test can make any of them fail
// (EAGAIN from a racing rename, EPERM from a sandbox, EIO from a failing
// disk) and see what the worker makes of it. Each has the kernel call's
// own arguments and answer, errno included.
struct HostSystemCalls
{
    long (*openat2)(int folder, const char *path, open_how *how, std::size_t size);
    int (*openat)(int folder, const char *path, int flags);
    int (*open)(const char *path, int flags);
    int (*statx)(int folder, const char *path, int flags, unsigned int mask, struct statx *status);
    int (*fstat)(int fd, struct stat *status);
    int (*fstatfs)(int fd, struct statfs *status);
    ssize_t (*readlinkat)(int folder, const char *path, char *buffer, std::size_t size);
    ssize_t (*pread)(int fd, void *buffer, std::size_t size, off_t offset);
    off_t (*lseek)(int fd, off_t offset, int whence);
    long (*getdents64)(int fd, void *buffer, std::size_t size);
    ssize_t (*flistxattr)(int fd, char *names, std::size_t size);
    ssize_t (*fgetxattr)(int fd, const char *name, void *value, std::size_t size);
    int (*name_to_handle_at)(int folder, const char *path, file_handle *handle, int *mount_id, int flags);
    int (*open_by_handle_at)(int mount_fd, file_handle *handle, int flags);
};

// The kernel's own calls.
const HostSystemCalls &kernel_system_calls();

#endif // HOST_SYSTEM_CALLS_H
