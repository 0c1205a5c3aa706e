#include "importer_location.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <sys/auxv.h>

namespace {

const QString importer_name = QStringLiteral("vantrel-importer");

// The folder of an executable's path, links resolved; empty when it does
// not name a file.
QString folder_of(const QString &executable)
{
    const QString resolved = QFileInfo(executable).canonicalFilePath();
    return resolved.isEmpty() ? QString() : QFileInfo(resolved).absolutePath();
}

} // namespace

QStringList importer_candidates()
{
    return helper_candidates(importer_name);
}

QString importer_executable()
{
    return helper_executable(importer_name);
}

QStringList helper_candidates(const QString &name)
{
    QStringList candidates;
    const auto add = [&candidates, &name](const QString &folder) {
        const QString candidate = QDir(folder).filePath(name);
        if (!folder.isEmpty() && !candidates.contains(candidate))
            candidates.append(candidate);
    };
    add(folder_of(QStringLiteral("/proc/self/exe")));
    // The path the kernel was asked to run: relative to the folder the
    // worker was started in, which it has not left by now.
    if (const auto started_as = reinterpret_cast<const char *>(::getauxval(AT_EXECFN)))
        add(folder_of(QFile::decodeName(started_as)));
    add(QStringLiteral(VANTREL_BUILD_TREE_BINDIR));
    add(QStringLiteral(VANTREL_INSTALLED_BINDIR));
    add(QStringLiteral(VANTREL_PACKAGED_BINDIR));
    return candidates;
}

QString helper_executable(const QString &name)
{
    for (const QString &candidate : helper_candidates(name)) {
        const QFileInfo helper(candidate);
        if (helper.isFile() && helper.isExecutable())
            return helper.filePath();
    }
    return QString();
}
