#include "vantrel.h"

#include <array>

bool vantrel::bool_is_permission_restricted_file(QString file_path, QString caller)
{
    Q_UNUSED(caller);

    // The version store, the volume trash and the temporary items: macOS
    // denies reading them, so the runs leave their files out. The version
    // store's folder name carries a version number after "-V".
    static const std::array<QLatin1String, 3> protected_fragments = {
        QLatin1String("/.DocumentRevisions-V"),
        QLatin1String("/.Trashes"),
        QLatin1String("/.TemporaryItems"),
    };

    // Every fragment starts with "/.": only there is each one compared.
    const QStringView path(file_path);
    for (qsizetype at = 0; at + 1 < path.size(); ++at) {
        if (path[at] != QLatin1Char('/') || path[at + 1] != QLatin1Char('.'))
            continue;
        const QStringView rest = path.sliced(at);
        for (const QLatin1String &fragment : protected_fragments) {
            if (rest.startsWith(fragment))
                return true;
        }
    }
    return false;
}
