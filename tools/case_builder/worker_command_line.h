#ifndef WORKER_COMMAND_LINE_H
#define WORKER_COMMAND_LINE_H

#include "attribute_keys.h"

#include <QString>
#include <QStringList>

// The run kinds the host starts the worker for, by their flag.
enum class RunKind { Timestamps = 1, FullMetadata = 2, RightClick = 3, LeftClick = 4 };

// How the host starts the worker on one source of a case.
struct WorkerCommandLine
{
    QString worker;               // the worker executable
    QString virtual_source_path;  // where the source is mounted, no trailing "/"
    QString file_system_dir_path; // the case folder, ending in "/"
    QString source_count_name;
    AttributeKeys keys;

    // The worker's program and seven arguments for a run kind; file_paths is
    // the essential database (right-click) or one stored path (left-click).
    QStringList arguments(RunKind kind, const QString &file_paths = QString()) const;

    // The arguments as one line a POSIX shell reads back word for word.
    QString shell_line(RunKind kind, const QString &file_paths = QString()) const;
};

// Items joined the way the host joins its lists; a single item keeps a
// trailing separator, or the worker would not take it for a list.
QString worker_list_text(const QStringList &items);

// A word quoted for a POSIX shell only where it needs to be.
QString shell_quoted(const QString &word);

#endif // WORKER_COMMAND_LINE_H
