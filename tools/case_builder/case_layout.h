#ifndef CASE_LAYOUT_H
#define CASE_LAYOUT_H

#include <QString>
#include <QStringList>

// Where the host keeps one source's databases inside a case folder.
class CaseLayout
{
public:
    // case_folder may be relative; it is made absolute.
    CaseLayout(const QString &case_folder, const QString &source_count_name);

    // The case folder as the worker's file_system_dir_path: absolute, ending in "/".
    QString file_system_dir_path() const;
    // The source's database folder: file_system_dir_path + source name + "/".
    QString database_directory() const;
    QString file_system_database() const;
    QString apple_metadata_database() const;
    QString apple_timestamps_database() const;
    // The right-click list lies beside the source's folder, not inside it.
    QString essential_database() const;

    // The databases of this source that are already on disk.
    QStringList existing_databases() const;
    // Deletes those databases and their journals; false with the reason in *error.
    bool remove_existing(QString *error) const;
    // Creates the case folder and the source's database folder.
    bool create_directories(QString *error) const;

private:
    QStringList all_databases() const;

    QString case_path;
    QString source_name;
};

#endif // CASE_LAYOUT_H
