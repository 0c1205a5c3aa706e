#include "private_runtime_directory.h"

#include <QtGlobal>

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

PrivateRuntimeDirectory::PrivateRuntimeDirectory()
{
#if defined(Q_OS_UNIX) && !defined(Q_OS_DARWIN)
    if (!qEnvironmentVariableIsEmpty("XDG_RUNTIME_DIR"))
        return;
    const QByteArray path = "/tmp/vantrel-runtime-" + QByteArray::number(::getuid());
    const bool made = ::mkdir(path.constData(), 0700) == 0;
    if (!made && errno != EEXIST)
        return;
    // Another user may have put a folder, or a link, in its place: then
    // the framework's warning is the lesser harm.
    if (!is_private_folder(path)) {
        if (made)
            ::rmdir(path.constData());
        return;
    }
    qputenv("XDG_RUNTIME_DIR", path);
    set_ = true;
#endif
}

PrivateRuntimeDirectory::~PrivateRuntimeDirectory()
{
    // The folder stays for the next worker; only the process forgets it.
    if (set_)
        qunsetenv("XDG_RUNTIME_DIR");
}

bool PrivateRuntimeDirectory::is_private_folder(const QByteArray &path)
{
    struct stat status = {};
    return ::lstat(path.constData(), &status) == 0 && S_ISDIR(status.st_mode) && status.st_uid == ::getuid()
        && (status.st_mode & 07777) == 0700;
}
