#ifndef CASE_DATABASES_H
#define CASE_DATABASES_H

#include "attribute_keys.h"
#include "case_layout.h"
#include "essential_selection.h"
#include "source_record.h"

#include <QString>
#include <QStringList>

// The databases the host writes for one source before it starts the worker:
// its records, the two empty result tables and the right-click list.
class CaseDatabases
{
public:
    CaseDatabases(const CaseLayout &layout, const QString &source_count_name);

    // file_system.sqlite: one row per record, numbered from 1, not yet read.
    bool write_file_system(const SourceRecords &records, QString *error) const;
    // apple_metadata.sqlite: an empty table with one column per key.
    bool write_apple_metadata(const AttributeKeys &keys, QString *error) const;
    // apple_timestamps.sqlite: an empty table with the six timestamp columns.
    bool write_apple_timestamps(QString *error) const;
    // The essential database listing the chosen records for a right-click run.
    bool write_essential(const SourceRecords &records, const EssentialSelection &selection,
                         QString *error) const;

    // The timestamp columns the host keeps, in the worker's order.
    static QStringList timestamp_columns();

private:
    CaseLayout layout;
    QString source_name;
};

#endif // CASE_DATABASES_H
