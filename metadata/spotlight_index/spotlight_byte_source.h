#ifndef SPOTLIGHT_BYTE_SOURCE_H
#define SPOTLIGHT_BYTE_SOURCE_H

#include "evidence/evidence_volume.h"

#include <QByteArray>

#include <memory>

// Where a store's bytes come from: the file on the volume, or memory.
class SpotlightByteSource
{
public:
    virtual ~SpotlightByteSource() = default;
    virtual qint64 size() const = 0;
    // Up to length bytes from offset; fewer when the source ends or fails.
    virtual QByteArray read(qint64 offset, qint64 length) = 0;
    // Whether read may be called from several threads at once.
    virtual bool reads_concurrently() const { return false; }
    // Whether the range lies wholly in stored data: a range in a hole of a
    // sparse file holds only zeros, which no page of a real store is.
    virtual bool holds_data(qint64 offset, qint64 length) { return offset >= 0 && length <= size() - offset; }

    // A regular file of the evidence volume.
    static std::unique_ptr<SpotlightByteSource> from_object(std::unique_ptr<EvidenceObject> file);
    static std::unique_ptr<SpotlightByteSource> from_bytes(QByteArray bytes);
};

#endif // SPOTLIGHT_BYTE_SOURCE_H
