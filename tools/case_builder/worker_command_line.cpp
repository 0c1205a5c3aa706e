#include "worker_command_line.h"

#include "case_conventions.h"

#include <QRegularExpression>

namespace {

const QString list_separator = case_conventions::list_separator();

} // namespace

QString worker_list_text(const QStringList &items)
{
    const QString joined = items.join(list_separator);
    return items.size() == 1 ? joined + list_separator : joined;
}

QString shell_quoted(const QString &word)
{
    static const QRegularExpression plain(QStringLiteral("^[A-Za-z0-9_@%+=:,./-]+$"));
    if (plain.match(word).hasMatch())
        return word;
    // Inside single quotes nothing is special but the quote itself, which
    // has to close the quoting, stand escaped, and reopen it.
    QString quoted = word;
    quoted.replace(QLatin1Char('\''), QLatin1String("'\\''"));
    return QLatin1Char('\'') + quoted + QLatin1Char('\'');
}

QStringList WorkerCommandLine::arguments(RunKind kind, const QString &file_paths) const
{
    return {worker,
            virtual_source_path,
            file_paths,
            file_system_dir_path,
            worker_list_text(keys.keys()),
            worker_list_text(keys.column_names()),
            source_count_name,
            QString::number(int(kind))};
}

QString WorkerCommandLine::shell_line(RunKind kind, const QString &file_paths) const
{
    QStringList words;
    for (const QString &argument : arguments(kind, file_paths))
        words << shell_quoted(argument);
    return words.join(QLatin1Char(' '));
}
