#include "binary_property_list_layout.h"

#include <QtEndian>

#include <cstring>

namespace {

constexpr std::uint64_t header_size = 8; // "bplist00"
constexpr std::uint64_t trailer_size = 32;
// The marker's low four bits when the count follows as an integer object.
constexpr unsigned count_follows = 0xF;

} // namespace

std::uint64_t BinaryPropertyListLayout::integer(const unsigned char *at, std::uint64_t width)
{
    switch (width) {
    case 1:
        return at[0];
    case 2:
        return qFromBigEndian<quint16>(at);
    case 4:
        return qFromBigEndian<quint32>(at);
    case 8:
        return qFromBigEndian<quint64>(at);
    default: { // widths the format allows but writers seldom use
        unsigned char widened[8] = {};
        std::memcpy(widened + 8 - width, at, width);
        return qFromBigEndian<quint64>(widened);
    }
    }
}

std::optional<BinaryPropertyListLayout> BinaryPropertyListLayout::of(QByteArrayView bytes)
{
    const std::uint64_t size = std::uint64_t(bytes.size());
    const auto *data = reinterpret_cast<const unsigned char *>(bytes.data());
    if (size < header_size + trailer_size || std::memcmp(data, "bplist", 6) != 0)
        return std::nullopt;
    const std::uint64_t objects_end = size - trailer_size;
    const unsigned char *trailer = data + objects_end;
    BinaryPropertyListLayout layout;
    layout.data_ = data;
    layout.offset_size_ = trailer[6];
    layout.reference_size_ = trailer[7];
    layout.object_count_ = integer(trailer + 8, 8);
    layout.root_ = integer(trailer + 16, 8);
    const std::uint64_t table = integer(trailer + 24, 8);
    if (layout.offset_size_ < 1 || layout.offset_size_ > 8 || layout.reference_size_ < 1
        || layout.reference_size_ > 8 || layout.root_ >= layout.object_count_ || table < header_size
        || table >= objects_end
        // The table's size, object_count * offset_size, without overflowing.
        || layout.object_count_ > (objects_end - table) / layout.offset_size_)
        return std::nullopt;
    layout.offset_table_ = data + table;
    return layout;
}

const unsigned char *BinaryPropertyListLayout::object(std::uint64_t number) const
{
    if (number >= object_count_)
        return nullptr;
    const std::uint64_t offset = integer(offset_table_ + number * offset_size_, offset_size_);
    if (offset < header_size || offset >= std::uint64_t(offset_table_ - data_))
        return nullptr;
    return data_ + offset;
}

bool BinaryPropertyListLayout::holds(const unsigned char *at, std::uint64_t count, std::uint64_t unit_size) const
{
    return at <= offset_table_ && count <= std::uint64_t(offset_table_ - at) / unit_size;
}

std::optional<BinaryPropertyListLayout::Sized> BinaryPropertyListLayout::sized(const unsigned char *at) const
{
    Sized sized{std::uint64_t(at[0] & 0x0F), at + 1};
    if (sized.count != count_follows)
        return sized;
    if (!holds(sized.content, 1, 1) || (sized.content[0] >> 4) != integer_kind)
        return std::nullopt;
    const std::uint64_t width = std::uint64_t(1) << (sized.content[0] & 0x0F);
    if (width > 8 || !holds(sized.content + 1, width, 1))
        return std::nullopt;
    sized.count = integer(sized.content + 1, width);
    sized.content += 1 + width;
    return sized;
}
