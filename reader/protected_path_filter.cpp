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

    for (const QLatin1String &fragment : protected_fragments) {
        if (file_path.contains(fragment))
            return true;
    }
    return false;
}
