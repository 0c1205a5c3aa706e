#ifndef PRIVATE_RUNTIME_DIRECTORY_H
#define PRIVATE_RUNTIME_DIRECTORY_H

#include <QByteArray>

// The framework looks for a per-user runtime directory while the
// application object comes up and warns on the debug output when the
// session has none, as on a headless examination host. Where none is set,
// this points the process at /tmp/vantrel-runtime-<uid>: made once per
// user and reused by every later worker, so that a killed worker leaves
// nothing behind, and the host sees only the worker's own lines.
class PrivateRuntimeDirectory
{
public:
    PrivateRuntimeDirectory();
    ~PrivateRuntimeDirectory();

    PrivateRuntimeDirectory(const PrivateRuntimeDirectory &) = delete;
    PrivateRuntimeDirectory &operator=(const PrivateRuntimeDirectory &) = delete;

    // Whether the folder at path may serve as this user's runtime
    // directory: a real folder (not a link), owned by the user, mode 0700.
    static bool is_private_folder(const QByteArray &path);

private:
    bool set_ = false;
};

#endif // PRIVATE_RUNTIME_DIRECTORY_H
