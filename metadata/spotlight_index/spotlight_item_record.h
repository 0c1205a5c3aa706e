#ifndef SPOTLIGHT_ITEM_RECORD_H
#define SPOTLIGHT_ITEM_RECORD_H

#include "metadata_value.h"

#include <QByteArray>
#include <QString>

#include <vector>

class SpotlightTables;
struct SpotlightProperty;

// One item's record, kept while a file's keys are asked for. Values are
// decoded only for the keys asked: a record holds dozens of attributes and
// a run asks for a few. The tables must outlive the record.
class SpotlightItemRecord
{
public:
    // The attributes that follow the record's header; those after damage
    // are left out, as nothing after it can be trusted.
    SpotlightItemRecord(QByteArray record, qsizetype attributes_start, const SpotlightTables &tables);

    // The first value of key the item holds that is not Null; Null when none.
    MetadataValue value(const QString &key) const;

    // Whether every attribute of the record could be read.
    bool complete() const { return complete_; }

private:
    struct Attribute
    {
        const SpotlightProperty *property;
        qsizetype value_start;
    };

    QByteArray record_;
    const SpotlightTables *tables_;
    std::vector<Attribute> attributes_;
    bool complete_ = true;
};

#endif // SPOTLIGHT_ITEM_RECORD_H
