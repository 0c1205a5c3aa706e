#include "extended_attributes.h"

#include <sys/types.h>
#include <sys/xattr.h>

#include <cerrno>

namespace {

// Most values fit: one call reads them. A longer one is measured first.
constexpr qsizetype first_read_size = 4096;

// Reads through call(buffer, size) into a buffer grown to what the call
// asks for; nullopt on any other failure. The object can change between
// two calls, so a few rounds are allowed.
template <typename Call>
std::optional<QByteArray> read_grown(Call call)
{
    // Read on the stack and kept at their own size: a page-sized block per
    // attribute and file would keep the allocator busy merging free blocks.
    char first[first_read_size];
    const ssize_t first_read = call(first, sizeof first);
    if (first_read >= 0)
        return QByteArray(first, qsizetype(first_read));
    if (errno != ERANGE)
        return std::nullopt;
    QByteArray buffer;
    for (int round = 0; round < 4; ++round) {
        const ssize_t needed = call(nullptr, 0);
        if (needed < 0)
            return std::nullopt;
        buffer.resize(qsizetype(needed) + 1);
        const ssize_t read = call(buffer.data(), std::size_t(buffer.size()));
        if (read >= 0) {
            buffer.truncate(qsizetype(read));
            return buffer;
        }
        if (errno != ERANGE)
            return std::nullopt;
    }
    return std::nullopt;
}

} // namespace

ExtendedAttributes::ExtendedAttributes(UniqueFd object)
    : object_(std::move(object))
{
    if (!object_)
        return;
    const std::optional<QByteArray> listed = read_grown([this](char *buffer, std::size_t size) {
        return flistxattr(object_.get(), buffer, size);
    });
    if (!listed)
        return;
    names = *listed;
    for (qsizetype at = 0; at < names.size();) {
        qsizetype end = names.indexOf('\0', at);
        if (end < 0)
            end = names.size();
        if (end > at)
            name_spans.emplace_back(at, end - at);
        at = end + 1;
    }
}

bool ExtendedAttributes::contains(QByteArrayView name) const
{
    if (name.isEmpty() || name.contains('\0'))
        return false;
    for (std::size_t i = 0; i < name_spans.size(); ++i) {
        if (name_at(i) == name)
            return true;
    }
    return false;
}

bool ExtendedAttributes::any_name_ends_with(QByteArrayView text) const
{
    for (std::size_t i = 0; i < name_spans.size(); ++i) {
        if (name_at(i).endsWith(text))
            return true;
    }
    return false;
}

std::optional<QByteArray> ExtendedAttributes::read(QByteArrayView name) const
{
    if (!contains(name))
        return std::nullopt;
    const QByteArray terminated = name.toByteArray();
    return read_grown([this, &terminated](char *buffer, std::size_t size) {
        return fgetxattr(object_.get(), terminated.constData(), buffer, size);
    });
}
