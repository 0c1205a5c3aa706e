#include "case_databases.h"

#include "case_conventions.h"
#include "sqlite_file.h"

#include <QVariantList>
#include <QVector>

namespace {

QString quoted_identifier(const QString &name)
{
    return QLatin1Char('"') + QString(name).replace(QLatin1Char('"'), QLatin1String("\"\""))
           + QLatin1Char('"');
}

// A result table: the host's own row number, one text column per name and
// the record the row belongs to.
QString result_table(const QStringList &columns)
{
    QStringList definitions = {QStringLiteral("\"INT\" INTEGER PRIMARY KEY")};
    for (const QString &column : columns)
        definitions << quoted_identifier(column) + QStringLiteral(" TEXT");
    definitions << QStringLiteral("filesystem_record INTEGER");
    return QStringLiteral("CREATE TABLE files (%1)").arg(definitions.join(QStringLiteral(", ")));
}

// A text column the host always fills: empty text, never NULL, when there
// is nothing to say (a file without an extension).
QVariant filled_text(const QString &text)
{
    return text.isNull() ? QVariant(QString(QLatin1String(""))) : QVariant(text);
}

bool create_database(const QString &path, const QStringList &statements, QString *error)
{
    SqliteFile file(path);
    if (!file.is_open()) {
        *error = file.error();
        return false;
    }
    for (const QString &statement : statements) {
        if (!file.execute(statement)) {
            *error = file.error();
            return false;
        }
    }
    return true;
}

} // namespace

CaseDatabases::CaseDatabases(const CaseLayout &layout, const QString &source_count_name)
    : layout(layout)
    , source_name(source_count_name)
{
}

QStringList CaseDatabases::timestamp_columns()
{
    return case_conventions::timestamp_column_names();
}

bool CaseDatabases::write_file_system(const SourceRecords &records, QString *error) const
{
    SqliteFile file(layout.file_system_database());
    // The run status is left to its default: no module has read a record yet.
    const bool created =
        file.is_open()
        && file.execute(QStringLiteral(
            "CREATE TABLE files ("
            "\"INT\" INTEGER PRIMARY KEY, "
            "file_name TEXT, "
            "filepath TEXT, "
            "parent_path TEXT, "
            "extension TEXT, "
            "file_type TEXT, "
            "file_size INTEGER, "
            "symlink_target TEXT, "
            "date_modified INTEGER, "
            "date_accessed INTEGER, "
            "date_changed INTEGER, "
            "source_count_name TEXT, "
            "fs_module_apple_metadata_run_status TEXT DEFAULT '0')"))
        // The left-click run looks its file up by path.
        && file.execute(QStringLiteral("CREATE INDEX files_filepath ON files(filepath)"));
    if (!created) {
        *error = file.error();
        return false;
    }

    QVector<QVariantList> rows;
    rows.reserve(records.size());
    for (int index = 0; index < records.size(); ++index) {
        const SourceRecord &record = records.at(index);
        const bool is_link = record.kind == SourceRecord::Kind::SymbolicLink;
        rows.append({qint64(index) + 1, filled_text(record.file_name()), record.stored_path,
                     record.parent_path(), filled_text(record.extension()), record.kind_text(),
                     record.size,
                     is_link ? QVariant(record.symlink_target) : QVariant(QMetaType::fromType<QString>()),
                     record.modified, record.accessed, record.changed, source_name});
    }
    if (!file.insert_rows(QStringLiteral("INSERT INTO files (\"INT\", file_name, filepath, parent_path, "
                                         "extension, file_type, file_size, symlink_target, "
                                         "date_modified, date_accessed, date_changed, "
                                         "source_count_name) VALUES (?,?,?,?,?,?,?,?,?,?,?,?)"),
                          rows)) {
        *error = file.error();
        return false;
    }
    return true;
}

bool CaseDatabases::write_apple_metadata(const AttributeKeys &keys, QString *error) const
{
    return create_database(layout.apple_metadata_database(), {result_table(keys.keys())}, error);
}

bool CaseDatabases::write_apple_timestamps(QString *error) const
{
    return create_database(layout.apple_timestamps_database(), {result_table(timestamp_columns())},
                           error);
}

bool CaseDatabases::write_essential(const SourceRecords &records, const EssentialSelection &selection,
                                    QString *error) const
{
    SqliteFile file(layout.essential_database());
    if (!file.is_open()
        || !file.execute(QStringLiteral("CREATE TABLE files (\"INT\" INTEGER PRIMARY KEY, "
                                        "fs_record_no INTEGER, display_filepath TEXT, "
                                        "source_count_name TEXT)"))) {
        *error = file.error();
        return false;
    }
    QVector<QVariantList> rows;
    for (int number : selection.record_numbers())
        rows.append({number, records.at(number - 1).stored_path, source_name});
    if (!file.insert_rows(QStringLiteral("INSERT INTO files (fs_record_no, display_filepath, "
                                         "source_count_name) VALUES (?,?,?)"),
                          rows)) {
        *error = file.error();
        return false;
    }
    return true;
}
