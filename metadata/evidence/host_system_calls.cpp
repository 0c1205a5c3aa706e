#include "host_system_calls.h"

#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <sys/syscall.h>
#include <sys/xattr.h>
#include <unistd.h>

const HostSystemCalls &kernel_system_calls()
{
    static const HostSystemCalls calls = {
        [](int folder, const char *path, open_how *how, std::size_t size) {
            return ::syscall(SYS_openat2, folder, path, how, size);
        },
        [](int folder, const char *path, int flags) { return ::openat(folder, path, flags); },
        [](const char *path, int flags) { return ::open(path, flags); },
        [](int folder, const char *path, int flags, unsigned int mask, struct statx *status) {
            return ::statx(folder, path, flags, mask, status);
        },
        [](int fd, struct stat *status) { return ::fstat(fd, status); },
        [](int fd, struct statfs *status) { return ::fstatfs(fd, status); },
        [](int folder, const char *path, char *buffer, std::size_t size) {
            return ::readlinkat(folder, path, buffer, size);
        },
        [](int fd, void *buffer, std::size_t size, off_t offset) { return ::pread(fd, buffer, size, offset); },
        [](int fd, off_t offset, int whence) { return ::lseek(fd, offset, whence); },
        [](int fd, void *buffer, std::size_t size) { return ::syscall(SYS_getdents64, fd, buffer, size); },
        [](int fd, char *names, std::size_t size) { return ::flistxattr(fd, names, size); },
        [](int fd, const char *name, void *value, std::size_t size) { return ::fgetxattr(fd, name, value, size); },
        [](int folder, const char *path, file_handle *handle, int *mount_id, int flags) {
            return ::name_to_handle_at(folder, path, handle, mount_id, flags);
        },
        [](int mount_fd, file_handle *handle, int flags) { return ::open_by_handle_at(mount_fd, handle, flags); },
    };
    return calls;
}
