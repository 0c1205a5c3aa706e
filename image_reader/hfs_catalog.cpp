#include "hfs_catalog.h"

#include <vector>

namespace {

// Bounds of one lookup: more than a real catalog's depth, and more
// records than one folder of a real volume holds in a row.
constexpr int max_depth = 16;
constexpr int max_leaf_nodes = 4096;

// Catalog record types.
constexpr std::uint16_t folder_record = 1;
constexpr std::uint16_t file_record = 2;
constexpr std::uint16_t folder_thread = 3;
constexpr std::uint16_t file_thread = 4;

// Node kinds.
constexpr std::int8_t leaf_node = -1;
constexpr std::int8_t index_node = 0;

std::uint32_t big_endian(const QByteArray &bytes, qsizetype at, int size)
{
    std::uint32_t value = 0;
    for (int i = 0; i < size; ++i)
        value = (value << 8) | static_cast<unsigned char>(bytes[at + i]);
    return value;
}

struct Extent
{
    std::uint64_t start = 0; // in allocation blocks
    std::uint64_t count = 0;
};

// The catalog file: its nodes, read through its extents.
class Catalog
{
public:
    bool open(const ImageBytes &volume)
    {
        volume_ = &volume;
        QByteArray header(512, '\0');
        if (volume.read_at(header.data(), header.size(), 1024) != header.size())
            return false;
        const std::uint16_t signature = std::uint16_t(big_endian(header, 0, 2));
        if (signature != 0x482B && signature != 0x4858) // "H+", "HX"
            return false;
        block_size_ = big_endian(header, 40, 4);
        if (block_size_ < 512 || block_size_ > (1u << 20) || (block_size_ & (block_size_ - 1)) != 0)
            return false;
        // The catalog file's fork data: its size, then eight extents.
        const qsizetype fork = 0x110;
        for (int index = 0; index < 8; ++index) {
            const Extent extent{big_endian(header, fork + 16 + index * 8, 4), big_endian(header, fork + 20 + index * 8, 4)};
            if (extent.count == 0)
                break;
            extents_.push_back(extent);
        }
        // The header node: the size of every node, and the root.
        QByteArray first(512, '\0');
        if (!read(0, first))
            return false;
        node_size_ = big_endian(first, 32, 2);
        root_ = big_endian(first, 16, 4);
        return node_size_ >= 512 && node_size_ <= 32768 && (node_size_ & (node_size_ - 1)) == 0;
    }

    std::uint32_t root() const { return root_; }

    // One node; empty when it can't be read or is malformed.
    QByteArray node(std::uint32_t number) const
    {
        QByteArray bytes(qsizetype(node_size_), '\0');
        if (!read(std::uint64_t(number) * node_size_, bytes))
            return QByteArray();
        return bytes;
    }

private:
    // Fills buffer from offset in the catalog file.
    bool read(std::uint64_t offset, QByteArray &buffer) const
    {
        qsizetype filled = 0;
        std::uint64_t extent_start = 0; // in the file, bytes
        for (const Extent &extent : extents_) {
            const std::uint64_t extent_size = extent.count * block_size_;
            const std::uint64_t at = offset + std::uint64_t(filled);
            if (filled < buffer.size() && at >= extent_start && at < extent_start + extent_size) {
                const std::uint64_t within = at - extent_start;
                const qint64 length = qint64(qMin<std::uint64_t>(extent_size - within, std::uint64_t(buffer.size() - filled)));
                const qint64 volume_offset = qint64(extent.start * block_size_ + within);
                if (volume_->read_at(buffer.data() + filled, length, volume_offset) != length)
                    return false;
                filled += qsizetype(length);
            }
            extent_start += extent_size;
        }
        return filled == buffer.size();
    }

    const ImageBytes *volume_ = nullptr;
    std::uint32_t block_size_ = 0;
    std::vector<Extent> extents_;
    std::uint32_t node_size_ = 0;
    std::uint32_t root_ = 0;
};

// One record of a node: its key's parent and name, and its data.
struct Record
{
    std::uint32_t parent = 0;
    QByteArray name; // UTF-16BE
    QByteArray data;
};

// The records of node, in order; empty when the node is malformed.
std::vector<Record> records_of(const QByteArray &node, bool index)
{
    std::vector<Record> records;
    const qsizetype size = node.size();
    const std::uint32_t count = big_endian(node, 10, 2);
    if (size < 14 || count == 0 || 14 + 2 * qsizetype(count) > size)
        return records;
    for (std::uint32_t i = 0; i < count; ++i) {
        const qsizetype start = big_endian(node, size - 2 * (i + 1), 2);
        const qsizetype end = big_endian(node, size - 2 * (i + 2), 2);
        if (start < 14 || end <= start || end > size - 2 * qsizetype(count + 1) || end - start < 8)
            return {};
        const QByteArray record = node.mid(start, end - start);
        const qsizetype key_length = big_endian(record, 0, 2);
        if (key_length < 6 || 2 + key_length > record.size())
            return {};
        const qsizetype name_length = big_endian(record, 6, 2);
        if (8 + 2 * name_length > 2 + key_length)
            return {};
        Record parsed;
        parsed.parent = big_endian(record, 2, 4);
        parsed.name = record.mid(8, 2 * name_length);
        parsed.data = record.mid(2 + key_length);
        if (index && parsed.data.size() < 4)
            return {};
        records.push_back(std::move(parsed));
    }
    return records;
}

// Visits, in order, the leaf records whose parent is parent, until visit
// answers false or they end; false when the catalog could not be walked.
template <typename Visit>
bool each_record_of(const Catalog &catalog, std::uint32_t parent, Visit visit)
{
    // Down the index to the leaf where records of parent start: the last
    // index record whose key comes before every key of parent.
    std::uint32_t number = catalog.root();
    for (int depth = 0;; ++depth) {
        if (depth >= max_depth || number == 0)
            return false;
        const QByteArray node = catalog.node(number);
        if (node.isEmpty())
            return false;
        const auto kind = static_cast<std::int8_t>(node[8]);
        if (kind == leaf_node)
            break;
        if (kind != index_node)
            return false;
        const std::vector<Record> records = records_of(node, true);
        if (records.empty())
            return false;
        std::uint32_t child = big_endian(records.front().data, 0, 4);
        for (const Record &record : records) {
            if (record.parent >= parent)
                break;
            child = big_endian(record.data, 0, 4);
        }
        number = child;
    }
    // Along the leaves (each one's forward link) while the parent lasts.
    for (int visited = 0; visited < max_leaf_nodes && number != 0; ++visited) {
        const QByteArray node = catalog.node(number);
        if (node.isEmpty() || static_cast<std::int8_t>(node[8]) != leaf_node)
            return false;
        for (const Record &record : records_of(node, false)) {
            if (record.parent > parent)
                return true;
            if (record.parent == parent && !visit(record))
                return true;
        }
        number = big_endian(node, 0, 4);
    }
    return true;
}

} // namespace

std::optional<QByteArray> hfs_catalog_finder_info(const ImageBytes &volume, std::uint32_t id)
{
    Catalog catalog;
    if (id == 0 || !catalog.open(volume))
        return std::nullopt;
    // The thread record (key: the object's own number, no name) names the
    // object's parent and name: the key of its own record.
    std::optional<std::pair<std::uint32_t, QByteArray>> key;
    each_record_of(catalog, id, [&key](const Record &record) {
        if (!record.name.isEmpty() || record.data.size() < 10)
            return true;
        const std::uint32_t type = big_endian(record.data, 0, 2);
        if (type == folder_thread || type == file_thread) {
            const qsizetype name_length = big_endian(record.data, 8, 2);
            if (10 + 2 * name_length <= record.data.size())
                key.emplace(big_endian(record.data, 4, 4), record.data.mid(10, 2 * name_length));
        }
        return false;
    });
    if (!key)
        return std::nullopt;
    std::optional<QByteArray> finder_info;
    each_record_of(catalog, key->first, [&](const Record &record) {
        if (record.name != key->second)
            return true;
        const std::uint32_t type = record.data.size() >= 80 ? big_endian(record.data, 0, 2) : 0;
        // The folder's or file's own number, 8 bytes in, must be the one asked for.
        if ((type == folder_record || type == file_record) && big_endian(record.data, 8, 4) == id)
            finder_info = record.data.mid(48, 32);
        return false;
    });
    return finder_info;
}
