#include "executable_architectures.h"

#include <cstdint>

namespace {

// The magic numbers a Mach-O file starts with, read big-endian.
constexpr std::uint32_t thin_32 = 0xfeedface;
constexpr std::uint32_t thin_64 = 0xfeedfacf;
constexpr std::uint32_t thin_32_swapped = 0xcefaedfe;
constexpr std::uint32_t thin_64_swapped = 0xcffaedfe;
constexpr std::uint32_t universal = 0xcafebabe;
constexpr std::uint32_t universal_64 = 0xcafebabf;

// A universal file lists a handful of slices; a Java class file shares its
// magic number and has its version there instead, 45 or more.
constexpr std::uint32_t max_slices = 16;

struct ArchitectureName
{
    std::uint32_t cpu_type;
    const char *name;
};

// The names the Mac shows for the processor types of a header; the
// subtype (arm64e, x86_64h) is not shown.
const ArchitectureName architecture_names[] = {
    // 32-bit Intel.
    {7, "i386"},
    // 64-bit Intel.
    {0x01000007, "x86_64"},
    // 64-bit ARM, Apple silicon.
    {0x0100000c, "arm64"},
    // 32-bit PowerPC.
    {18, "ppc"},
    // 64-bit PowerPC.
    {0x01000012, "ppc64"},
};

std::uint32_t big_endian(QByteArrayView bytes, qsizetype at)
{
    std::uint32_t value = 0;
    for (qsizetype i = 0; i < 4; ++i)
        value = (value << 8) | std::uint8_t(bytes[at + i]);
    return value;
}

std::uint32_t little_endian(QByteArrayView bytes, qsizetype at)
{
    std::uint32_t value = 0;
    for (qsizetype i = 3; i >= 0; --i)
        value = (value << 8) | std::uint8_t(bytes[at + i]);
    return value;
}

void add_name(std::uint32_t cpu_type, QStringList &names)
{
    for (const ArchitectureName &known : architecture_names) {
        if (known.cpu_type == cpu_type) {
            const QString name = QLatin1String(known.name);
            if (!names.contains(name))
                names.append(name);
            return;
        }
    }
}

} // namespace

QStringList ExecutableArchitectures::of(QByteArrayView header)
{
    QStringList names;
    if (header.size() < 8)
        return names;
    const std::uint32_t magic = big_endian(header, 0);
    // A thin header names its processor in the file's own byte order.
    if (magic == thin_32 || magic == thin_64) {
        add_name(big_endian(header, 4), names);
    } else if (magic == thin_32_swapped || magic == thin_64_swapped) {
        add_name(little_endian(header, 4), names);
    } else if (magic == universal || magic == universal_64) {
        // The list of slices is big-endian whatever the slices are.
        const std::uint32_t slices = big_endian(header, 4);
        const qsizetype entry_size = magic == universal ? 20 : 32;
        if (slices == 0 || slices > max_slices || 8 + qsizetype(slices) * entry_size > header.size())
            return names;
        for (std::uint32_t slice = 0; slice < slices; ++slice)
            add_name(big_endian(header, 8 + qsizetype(slice) * entry_size), names);
    }
    return names;
}
