#ifndef HFS_BTREE_H
#define HFS_BTREE_H

#include "hfs_fork.h"
#include "image_bytes.h"

#include <QByteArray>

#include <cstdint>
#include <functional>

// One record of a B-tree node: its key, without the key's length, and the
// data that follows it.
struct HfsBTreeRecord
{
    QByteArray key;
    QByteArray data;
};

// One of an HFS+ volume's B-tree files (the catalog, the attributes file),
// read node by node through its fork. Every key of such a tree begins, at a
// fixed place, with the 32-bit number of the object it belongs to (a
// catalog key's parent, an attribute key's file), which orders the keys
// first; lookups go by that number. Every walk is bounded: a damaged or
// hostile tree costs the records it damages, never a hang.
class HfsBTree
{
public:
    // Opens the tree in fork whose keys hold their object's number
    // number_at bytes in; false when its header node is unreadable or
    // implausible.
    bool open(const ImageBytes &volume, const HfsFork &fork, qsizetype number_at);

    // Visits, in order, the leaf records whose object number is number,
    // until visit answers false or they end; false when the tree could not
    // be walked to their end (a malformed node, a loop in the chain).
    bool each_record_of(std::uint32_t number, const std::function<bool(const HfsBTreeRecord &)> &visit) const;

private:
    // One node; empty when it lies outside the tree or can't be read.
    QByteArray node(std::uint32_t number) const;

    const ImageBytes *volume_ = nullptr;
    HfsFork fork_;
    qsizetype number_at_ = 0;
    std::uint32_t node_size_ = 0;
    std::uint32_t root_ = 0;
};

#endif // HFS_BTREE_H
