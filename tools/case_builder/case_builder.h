#ifndef CASE_BUILDER_H
#define CASE_BUILDER_H

#include "case_builder_command_line.h"
#include "case_layout.h"
#include "essential_selection.h"
#include "source_record.h"

#include <QString>
#include <QStringList>

// Lays out one source of a case as the host would before it starts the
// worker, and says how to start the worker on it.
class CaseBuilder
{
public:
    enum class Result { Built, BadArgument, Failed };

    explicit CaseBuilder(const CaseBuilderOptions &options);

    // Records the source and writes its databases; on failure error() says
    // why and no database of the source is left half written.
    Result build();

    QString error() const { return error_text; }
    // Entries of the tree that could not be recorded.
    QStringList warnings() const { return warning_list; }
    // What was built, as shell comments, and one ready worker command line per run kind.
    QStringList report_lines() const;

private:
    Result fail(Result result, const QString &reason);
    Result check_case_folder();
    Result collect_records();
    Result choose_records();
    Result write_synthetic_files();
    Result write_databases();
    QString virtual_source_path() const;

    CaseBuilderOptions options;
    CaseLayout layout;
    SourceRecords records;
    EssentialSelection essential;
    int left_click_number = 0; // 0: the source has no record to click
    QString error_text;
    QStringList warning_list;
};

#endif // CASE_BUILDER_H
