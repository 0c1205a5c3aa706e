// Reads arbitrary bytes as the first bytes of a bundle's main executable:
// whatever the magic number and the count of slices claim, nothing is read
// beyond the bytes given, and every name given is one the Mac shows, once.

#include "type_identity/executable_architectures.h"

#include <QSet>

#include <cstddef>
#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    if (size > std::size_t(ExecutableArchitectures::header_size))
        return 0;
    // The fuzzer's own buffer, exactly the input's size: any read past it is caught.
    const QStringList names =
        ExecutableArchitectures::of(QByteArrayView(reinterpret_cast<const char *>(data), qsizetype(size)));
    static const QSet<QString> shown = {"i386", "x86_64", "arm64", "ppc", "ppc64"};
    QSet<QString> seen;
    for (const QString &name : names) {
        if (!shown.contains(name) || seen.contains(name))
            std::abort();
        seen.insert(name);
    }
    return 0;
}
