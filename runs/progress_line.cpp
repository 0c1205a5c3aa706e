#include "progress_line.h"

#include <QDebug>

void print_progress_line(const QString &label, int count, const QString &total)
{
    // The texts go out quoted and escaped, so that a label holding blanks,
    // quotes or "&&" still reads back as one item.
    qDebug() << QStringLiteral("Record:") << label << "&&" << count << "&&" << total;
}
