#include "image_scope.h"

#include "image_protocol.h"

namespace image_scope {

namespace {

// A decimal number of at most 19 digits, so that it fits a signed 64-bit offset.
std::optional<std::uint64_t> decimal(const QByteArray &text)
{
    if (text.isEmpty() || text.size() > 19)
        return std::nullopt;
    std::uint64_t value = 0;
    for (const char digit : text) {
        if (digit < '0' || digit > '9')
            return std::nullopt;
        value = value * 10 + std::uint64_t(digit - '0');
    }
    return value;
}

} // namespace

bool is_plain_folder(const QByteArray &folder)
{
    if (folder.isEmpty())
        return true;
    if (folder.size() > qsizetype(image_protocol::max_path_size) || folder.contains('\0'))
        return false;
    for (const QByteArray &component : folder.split('/')) {
        if (component.isEmpty() || component == "." || component == "..")
            return false;
    }
    return true;
}

QList<QByteArray> arguments(const ImageScope &scope)
{
    // The folder goes as hexadecimal digits: no byte of a name can then be
    // taken for anything else on the way.
    return {QByteArray::number(qulonglong(scope.offset)), QByteArray::number(qulonglong(scope.size)),
            QByteArray::number(scope.volume), "/" + scope.folder.toHex()};
}

std::optional<ImageScope> from_arguments(const QList<QByteArray> &arguments)
{
    if (arguments.size() != 4 || !arguments[3].startsWith('/')
        || arguments[3].size() > 1 + 2 * qsizetype(image_protocol::max_path_size))
        return std::nullopt;
    const std::optional<std::uint64_t> offset = decimal(arguments[0]), size = decimal(arguments[1]),
                                       volume = decimal(arguments[2]);
    const QByteArray hex = arguments[3].mid(1);
    for (const char digit : hex) {
        if (!((digit >= '0' && digit <= '9') || (digit >= 'a' && digit <= 'f')))
            return std::nullopt;
    }
    const QByteArray folder = QByteArray::fromHex(hex);
    if (!offset || !size || !volume || *volume > max_volume || hex.size() % 2 != 0 || !is_plain_folder(folder)
        || *offset > std::uint64_t(INT64_MAX) || *size > std::uint64_t(INT64_MAX))
        return std::nullopt;
    return ImageScope{*offset, *size, std::uint32_t(*volume), folder};
}

} // namespace image_scope
