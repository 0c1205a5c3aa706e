#ifndef SYNTHETIC_SOURCE_H
#define SYNTHETIC_SOURCE_H

#include "metadata_decoration.h"
#include "source_record.h"

#include <QByteArray>
#include <QString>

// A made-up source of a chosen number of records, the same on every run:
// a folder opens every hundredth record and holds the files that follow.
class SyntheticSource
{
public:
    explicit SyntheticSource(int record_count);

    // The records, numbered from 1 in this order.
    const SourceRecords &records() const { return record_list; }

    // Creates every record as a real entry under root (an existing folder),
    // with its content and times, and with its macOS metadata in extended
    // attributes when decorate is set; false with the reason in *error.
    bool write_files(const QString &root, bool decorate, QString *error) const;

private:
    // The bytes of the file at a record index (from 0).
    static QByteArray content_of(int index);
    // The macOS metadata a decorated file at a record index carries.
    static MetadataDecoration decoration_of(int index, const SourceRecord &record);

    SourceRecords record_list;
};

#endif // SYNTHETIC_SOURCE_H
