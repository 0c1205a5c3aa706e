#include "expected_values.h"

#include <QStringList>

std::optional<QList<ExpectedFile>> parse_expected_values(QByteArrayView text, QString *error)
{
    QList<ExpectedFile> files;
    const QStringList lines = QString::fromUtf8(text).split(QLatin1Char('\n'));
    for (qsizetype number = 0; number < lines.size(); ++number) {
        QString line = lines[number];
        if (line.endsWith(QLatin1Char('\r')))
            line.chop(1);
        const auto refuse = [&](const char *why) {
            if (error)
                *error = QStringLiteral("line %1: %2").arg(number + 1).arg(QLatin1String(why));
            return std::nullopt;
        };
        if (line.trimmed().isEmpty() || line.startsWith(QLatin1Char('#')))
            continue;
        if (line.startsWith(QLatin1Char('[')) && line.endsWith(QLatin1Char(']'))) {
            const QString name = line.mid(1, line.size() - 2);
            if (name.isEmpty())
                return refuse("a file header names no file");
            files.append(ExpectedFile{name, {}});
            continue;
        }
        const qsizetype equals = line.indexOf(QLatin1Char('='));
        if (equals < 0)
            return refuse("neither a [file] header nor a key = value line");
        if (files.isEmpty())
            return refuse("a value before any [file] header");
        const QString key = line.left(equals).trimmed();
        if (key.isEmpty())
            return refuse("a value without a key");
        // One blank after "=" belongs to the layout, the rest to the value.
        QString value = line.mid(equals + 1);
        if (value.startsWith(QLatin1Char(' ')))
            value.remove(0, 1);
        files.last().values.append({key, value});
    }
    return files;
}
