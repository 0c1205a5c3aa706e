#include "loop_device.h"

namespace {

// The kernel counts a partition's start and size in these, whatever the
// device's own sector size.
constexpr quint64 sysfs_sector = 512;

bool all_digits(const QByteArray &text)
{
    for (const char character : text) {
        if (character < '0' || character > '9')
            return false;
    }
    return !text.isEmpty();
}

} // namespace

std::optional<LoopSource> loop_source(const QByteArray &source)
{
    if (!source.startsWith("/dev/loop"))
        return std::nullopt;
    const QByteArray name = source.mid(5);
    const qsizetype mark = name.indexOf('p', 4);
    const QByteArray number = mark < 0 ? name.mid(4) : name.mid(4, mark - 4);
    const QByteArray partition = mark < 0 ? QByteArray("0") : name.mid(mark + 1);
    if (!all_digits(number) || number.size() > 9 || !all_digits(partition) || partition.size() > 9)
        return std::nullopt;
    return LoopSource{"loop" + number, mark < 0 ? QByteArray() : name};
}

std::optional<quint64> sysfs_number(const QByteArray &text)
{
    const QByteArray digits = text.endsWith('\n') ? text.chopped(1) : text;
    if (!all_digits(digits) || digits.size() > 19)
        return std::nullopt;
    const quint64 value = digits.toULongLong();
    if (value > quint64(INT64_MAX))
        return std::nullopt;
    return value;
}

std::optional<LoopWindow> loop_window(const QByteArray &backing_file, const QByteArray &offset,
                                      const QByteArray &size_limit)
{
    // The path ends in one newline; a name may itself end in a blank.
    if (!backing_file.endsWith('\n'))
        return std::nullopt;
    const QByteArray file = backing_file.chopped(1);
    const std::optional<quint64> start = sysfs_number(offset), size = sysfs_number(size_limit);
    if (!start || !size || !file.startsWith('/') || file.contains('\0') || file.contains('\n')
        || file.endsWith(" (deleted)") || quint64(INT64_MAX) - *start < *size)
        return std::nullopt;
    return LoopWindow{file, *start, *size};
}

std::optional<LoopWindow> partition_window(const LoopWindow &window, const QByteArray &start, const QByteArray &size)
{
    const std::optional<quint64> first = sysfs_number(start), sectors = sysfs_number(size);
    constexpr quint64 max_sectors = quint64(INT64_MAX) / sysfs_sector;
    if (!first || !sectors || *sectors == 0 || *first > max_sectors || *sectors > max_sectors)
        return std::nullopt;
    const quint64 offset = *first * sysfs_sector, length = *sectors * sysfs_sector;
    if (window.size != 0 && (offset >= window.size || length > window.size - offset))
        return std::nullopt;
    if (quint64(INT64_MAX) - window.offset < offset || quint64(INT64_MAX) - window.offset - offset < length)
        return std::nullopt;
    return LoopWindow{window.backing_file, window.offset + offset, length};
}
