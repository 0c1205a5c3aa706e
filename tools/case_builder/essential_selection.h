#ifndef ESSENTIAL_SELECTION_H
#define ESSENTIAL_SELECTION_H

#include "source_record.h"

#include <QSet>
#include <QString>
#include <QStringList>
#include <QVector>

// The records an examiner right-clicked, as the host lists them for the
// worker: each named once, in the order first chosen.
class EssentialSelection
{
public:
    // Resolves the chosen items against records (numbered from 1). An item
    // is a stored path (starting with "/"), "all", or a comma-separated list
    // of record numbers and ranges such as "3,7,10-20". False with the
    // reason in *error for an item that names no record.
    static bool resolve(const QStringList &items, const SourceRecords &records,
                        EssentialSelection *selection, QString *error);

    // The chosen record numbers.
    QVector<int> record_numbers() const { return numbers; }

private:
    void add(int record_number);

    QVector<int> numbers;
    QSet<int> seen;
};

#endif // ESSENTIAL_SELECTION_H
