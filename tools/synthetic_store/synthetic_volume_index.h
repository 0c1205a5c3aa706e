#ifndef SYNTHETIC_VOLUME_INDEX_H
#define SYNTHETIC_VOLUME_INDEX_H

#include "synthetic_spotlight_store.h"

#include <QString>
#include <QStringList>

// A volume's Spotlight store of many items shaped like a user's data
// volume: about one item in eight a folder, folders at most eight deep,
// files carrying the dates, sizes, kinds, content types, download origins,
// tags and use dates the index keeps (records of 150 to 700 bytes), about
// 64 KiB of records to a page.
struct SyntheticVolumeIndex
{
    qint64 items = 100000;
    synthetic_spotlight::Compression compression = synthetic_spotlight::Compression::Lz4;
    int samples = 0; // files whose paths are handed back, spread over the store
    quint32 seed = 1;
};

struct SyntheticVolumeResult
{
    qint64 items = 0;
    qint64 folders = 0;
    qint64 store_bytes = 0;
    qint64 record_bytes = 0;
    QStringList sample_paths; // relative to the volume root, with a leading "/"
};

// Writes the store to store_path; false when it cannot be written.
bool write_synthetic_volume_index(const SyntheticVolumeIndex &shape, const QString &store_path,
                                  SyntheticVolumeResult &result);

#endif // SYNTHETIC_VOLUME_INDEX_H
