#include "private_runtime_directory.h"

#include <QtGlobal>

#include <cstdlib>
#include <unistd.h>

PrivateRuntimeDirectory::PrivateRuntimeDirectory()
{
#if defined(Q_OS_UNIX) && !defined(Q_OS_DARWIN)
    if (!qEnvironmentVariableIsEmpty("XDG_RUNTIME_DIR"))
        return;
    // mkdtemp makes the directory with mode 0700, owned by this user: what
    // the framework demands of a runtime directory.
    QByteArray path_template("/tmp/vantrel-runtime-XXXXXX");
    if (::mkdtemp(path_template.data()) == nullptr)
        return;
    created_path = path_template;
    qputenv("XDG_RUNTIME_DIR", created_path);
#endif
}

PrivateRuntimeDirectory::~PrivateRuntimeDirectory()
{
#if defined(Q_OS_UNIX) && !defined(Q_OS_DARWIN)
    if (created_path.isEmpty())
        return;
    qunsetenv("XDG_RUNTIME_DIR");
    // Nothing of the worker's goes in there; rmdir leaves it if something did.
    ::rmdir(created_path.constData());
#endif
}
