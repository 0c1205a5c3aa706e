#ifndef GPT_PARTITIONS_H
#define GPT_PARTITIONS_H

#include "image_bytes.h"

#include <vector>

// Where one partition of a disk lies, in bytes.
struct PartitionExtent
{
    qint64 offset = 0;
    qint64 size = 0;
};

// The most partition entries read: a GPT disk made by macOS holds 128.
constexpr int max_gpt_entries = 256;

// The partitions that the GPT partition map of bytes lists (sectors of 512
// or 4096 bytes), in the order listed, each inside the disk; empty when
// there is no map. The map's checksums are not required: a damaged map
// still shows where its volumes lie, and each volume's library checks its
// own records.
std::vector<PartitionExtent> gpt_partitions(const ImageBytes &bytes);

#endif // GPT_PARTITIONS_H
