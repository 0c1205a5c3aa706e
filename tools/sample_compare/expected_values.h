#ifndef EXPECTED_VALUES_H
#define EXPECTED_VALUES_H

#include <QByteArrayView>
#include <QList>
#include <QString>

#include <optional>
#include <utility>

// The values an examiner expects of one sample file, as mdls would list
// them, in the order the expected file gives them.
struct ExpectedFile
{
    QString name;                                // the file's path beneath the samples' folder
    QList<std::pair<QString, QString>> values;   // key, value as the worker stores it
};

// The text written for a key that has no value, as mdls prints it.
inline const char *const no_value_text = "(null)";

// The files and values an expected file lists: "[path]" on a line of its
// own names a file, each "key = value" line after it one of its values;
// blank lines and lines starting with "#" are skipped. nullopt, with the
// line at fault in error, for a value before any file, a line that is
// neither, or an empty file name.
std::optional<QList<ExpectedFile>> parse_expected_values(QByteArrayView text, QString *error);

#endif // EXPECTED_VALUES_H
