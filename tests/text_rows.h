#ifndef TEXT_ROWS_H
#define TEXT_ROWS_H

#include "test_case.h"

#include <QStringList>

// Rows of a statement on an SQLite file, each value as text ("NULL" for
// NULL): one comparison tells a missing value from an empty text.
inline QList<QStringList> text_rows(const QString &path, const QString &statement)
{
    QList<QStringList> rows;
    for (const QVariantList &row : TestCase::rows(path, statement)) {
        QStringList texts;
        for (const QVariant &value : row)
            texts << (value.isNull() ? QStringLiteral("NULL") : value.toString());
        rows << texts;
    }
    return rows;
}

#endif // TEXT_ROWS_H
