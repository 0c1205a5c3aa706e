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
    QStringList candidates;
    const auto add = [&candidates](const QString &folder) {
        const QString candidate = QDir(folder).filePath(importer_name);
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

QString importer_executable()
{
    for (const QString &candidate : importer_candidates()) {
        const QFileInfo importer(candidate);
        if (importer.isFile() && importer.isExecutable())
            return importer.filePath();
    }
    return QString();
}
