#ifndef CASE_BUILDER_COMMAND_LINE_H
#define CASE_BUILDER_COMMAND_LINE_H

#include "attribute_keys.h"

#include <QCommandLineOption>
#include <QCommandLineParser>
#include <QString>
#include <QStringList>

// What the examiner asked the case builder for.
struct CaseBuilderOptions
{
    QString source;      // the tree to record, or where a synthetic source lies
    QString case_folder; // the case's database folder
    QString source_count_name = QStringLiteral("SRC1");
    AttributeKeys keys;
    QStringList essential_items; // records chosen for a right-click run
    QString left_click;          // record number or stored path; empty: the first file
    int synthetic_count = 0;     // records of a synthetic source; 0 to scan the tree
    bool write_files = false;    // create the synthetic records as real files
    bool decorate = false;       // give those files macOS metadata in extended attributes
    bool force = false;          // replace the source's databases in an existing case
    QString worker;              // the worker executable the printed lines start
};

// The case builder's own command line.
class CaseBuilderCommandLine
{
public:
    enum class Outcome { Build, Help, Version, Error };

    // default_worker is the worker the printed lines start unless told otherwise.
    explicit CaseBuilderCommandLine(const QString &default_worker);

    // Reads the arguments (program name first) into options(); Error leaves
    // the reason in error_text().
    Outcome parse(const QStringList &arguments);

    CaseBuilderOptions options() const { return parsed; }
    QString error_text() const { return error; }
    QString help_text() const { return parser.helpText(); }

private:
    Outcome fail(const QString &reason);

    QCommandLineParser parser;
    QCommandLineOption source_name_option;
    QCommandLineOption attributes_option;
    QCommandLineOption essential_option;
    QCommandLineOption left_click_option;
    QCommandLineOption synthetic_option;
    QCommandLineOption write_files_option;
    QCommandLineOption decorate_option;
    QCommandLineOption worker_option;
    QCommandLineOption force_option;
    QCommandLineOption help_option;
    QCommandLineOption version_option;
    QString default_worker_path;
    CaseBuilderOptions parsed;
    QString error;
};

#endif // CASE_BUILDER_COMMAND_LINE_H
