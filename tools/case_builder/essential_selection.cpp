#include "essential_selection.h"

#include <QHash>
#include <QRegularExpression>

void EssentialSelection::add(int record_number)
{
    if (!seen.contains(record_number)) {
        seen.insert(record_number);
        numbers.append(record_number);
    }
}

bool EssentialSelection::resolve(const QStringList &items, const SourceRecords &records,
                                 EssentialSelection *selection, QString *error)
{
    static const QRegularExpression number_or_range(QStringLiteral("^(\\d+)(?:-(\\d+))?$"));

    QHash<QString, int> number_of_path;
    for (int index = 0; index < records.size(); ++index)
        number_of_path.insert(records.at(index).stored_path, index + 1);
    const int last = int(records.size());

    EssentialSelection chosen;
    for (const QString &item : items) {
        // A path is taken whole: file names may hold commas.
        if (item.startsWith(QLatin1Char('/'))) {
            const auto found = number_of_path.constFind(item);
            if (found == number_of_path.constEnd()) {
                *error = QStringLiteral("no record of the source has the path %1").arg(item);
                return false;
            }
            chosen.add(found.value());
            continue;
        }
        if (item.trimmed() == QLatin1String("all")) {
            for (int number = 1; number <= last; ++number)
                chosen.add(number);
            continue;
        }
        for (const QString &part : item.split(QLatin1Char(','))) {
            const QRegularExpressionMatch match = number_or_range.match(part.trimmed());
            if (!match.hasMatch()) {
                *error = QStringLiteral("\"%1\" is neither a record number, a range such as 3-9, "
                                        "a stored path nor \"all\"")
                             .arg(part.trimmed());
                return false;
            }
            const qint64 first = match.captured(1).toLongLong();
            const qint64 end = match.captured(2).isEmpty() ? first : match.captured(2).toLongLong();
            if (first > end) {
                *error = QStringLiteral("the range %1 runs backwards").arg(part.trimmed());
                return false;
            }
            if (last == 0) {
                *error = QStringLiteral("the source has no records to choose");
                return false;
            }
            if (first < 1 || end > last) {
                *error = QStringLiteral("record %1 is not in the source, whose records are 1 to %2")
                             .arg(first < 1 || first > last ? first : end)
                             .arg(last);
                return false;
            }
            for (qint64 number = first; number <= end; ++number)
                chosen.add(int(number));
        }
    }
    *selection = chosen;
    return true;
}
