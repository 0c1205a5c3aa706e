#ifndef PRIVATE_RUNTIME_DIRECTORY_H
#define PRIVATE_RUNTIME_DIRECTORY_H

#include <QByteArray>

// The framework looks for a per-user runtime directory while the
// application object comes up and warns on the debug output when the
// session has none, as on a headless examination host. Where none is set,
// this gives the process a private, empty one for its lifetime, so that
// the host sees only the worker's own lines.
class PrivateRuntimeDirectory
{
public:
    PrivateRuntimeDirectory();
    ~PrivateRuntimeDirectory();

    PrivateRuntimeDirectory(const PrivateRuntimeDirectory &) = delete;
    PrivateRuntimeDirectory &operator=(const PrivateRuntimeDirectory &) = delete;

private:
    QByteArray created_path;
};

#endif // PRIVATE_RUNTIME_DIRECTORY_H
