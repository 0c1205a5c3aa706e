#include "hfs_btree.h"

#include <QSet>
#include <QtEndian>

#include <vector>

namespace {

// Bounds of one lookup: more than a real tree's depth, and more leaves than
// one object's records fill in a row on a real volume.
constexpr int max_depth = 16;
constexpr int max_leaf_nodes = 4096;

// Every node starts with a descriptor: the next node in its row, the one
// before, its kind, its height and its record count.
constexpr qsizetype descriptor_size = 14;
constexpr qsizetype kind_at = 8;
constexpr qsizetype record_count_at = 10;

// Node kinds.
constexpr std::int8_t leaf_node = -1;
constexpr std::int8_t index_node = 0;
constexpr std::int8_t header_node = 1;

// The header node's record, after the descriptor: the root's node number
// 2 bytes in, the node size 18 bytes in.
constexpr qsizetype root_at = descriptor_size + 2;
constexpr qsizetype node_size_at = descriptor_size + 18;

std::uint32_t be16(const QByteArray &bytes, qsizetype at)
{
    return qFromBigEndian<quint16>(bytes.constData() + at);
}

std::uint32_t be32(const QByteArray &bytes, qsizetype at)
{
    return qFromBigEndian<quint32>(bytes.constData() + at);
}

// The records of node, in order; an index node's records' data begin with
// a child's node number. Empty when any record is malformed.
std::vector<HfsBTreeRecord> records_of(const QByteArray &node, bool index, qsizetype number_at)
{
    std::vector<HfsBTreeRecord> records;
    const qsizetype size = node.size();
    if (size < descriptor_size)
        return records;
    // The records' offsets run backwards from the node's end, one more than
    // there are records: the last tells where the free space starts.
    const qsizetype count = be16(node, record_count_at);
    if (count == 0 || descriptor_size + 2 * (count + 1) > size)
        return records;
    const qsizetype offsets_start = size - 2 * (count + 1);
    for (qsizetype i = 0; i < count; ++i) {
        const qsizetype start = be16(node, size - 2 * (i + 1));
        const qsizetype end = be16(node, size - 2 * (i + 2));
        if (start < descriptor_size || end <= start || end > offsets_start)
            return {};
        const qsizetype key_length = be16(node, start);
        if (key_length < number_at + 4 || start + 2 + key_length > end)
            return {};
        HfsBTreeRecord record;
        record.key = node.mid(start + 2, key_length);
        record.data = node.mid(start + 2 + key_length, end - start - 2 - key_length);
        if (index && record.data.size() < 4)
            return {};
        records.push_back(std::move(record));
    }
    return records;
}

} // namespace

bool HfsBTree::open(const ImageBytes &volume, const HfsFork &fork, qsizetype number_at)
{
    volume_ = &volume;
    fork_ = fork;
    number_at_ = number_at;
    QByteArray header(512, '\0');
    if (!fork_.read(volume, 0, header.data(), header.size())
        || static_cast<std::int8_t>(header[kind_at]) != header_node)
        return false;
    node_size_ = be16(header, node_size_at);
    root_ = be32(header, root_at);
    return node_size_ >= 512 && node_size_ <= 32768 && (node_size_ & (node_size_ - 1)) == 0;
}

QByteArray HfsBTree::node(std::uint32_t number) const
{
    QByteArray bytes(qsizetype(node_size_), '\0');
    if (!fork_.read(*volume_, std::uint64_t(number) * node_size_, bytes.data(), bytes.size()))
        return QByteArray();
    return bytes;
}

bool HfsBTree::each_record_of(std::uint32_t number, const std::function<bool(const HfsBTreeRecord &)> &visit) const
{
    // Down the index to the leaf where records of number start: the last
    // index record whose key comes before every key of number.
    std::uint32_t at = root_;
    for (int depth = 0;; ++depth) {
        // An empty tree has no root.
        if (depth >= max_depth || at == 0)
            return false;
        const QByteArray node = this->node(at);
        if (node.isEmpty())
            return false;
        const auto kind = static_cast<std::int8_t>(node[kind_at]);
        if (kind == leaf_node)
            break;
        if (kind != index_node)
            return false;
        const std::vector<HfsBTreeRecord> records = records_of(node, true, number_at_);
        if (records.empty())
            return false;
        std::uint32_t child = be32(records.front().data, 0);
        for (const HfsBTreeRecord &record : records) {
            if (be32(record.key, number_at_) >= number)
                break;
            child = be32(record.data, 0);
        }
        at = child;
    }
    // Along the leaves (each one's forward link) while the number lasts; a
    // leaf seen before means the chain loops.
    QSet<std::uint32_t> seen;
    for (int visited = 0; visited < max_leaf_nodes && at != 0; ++visited) {
        if (seen.contains(at))
            return false;
        seen.insert(at);
        const QByteArray node = this->node(at);
        if (node.isEmpty() || static_cast<std::int8_t>(node[kind_at]) != leaf_node)
            return false;
        for (const HfsBTreeRecord &record : records_of(node, false, number_at_)) {
            const std::uint32_t of = be32(record.key, number_at_);
            if (of > number)
                return true;
            if (of == number && !visit(record))
                return true;
        }
        at = be32(node, 0);
    }
    return at == 0;
}
