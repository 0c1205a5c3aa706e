#include "case_builder_command_line.h"

#include "case_conventions.h"

namespace {

// Enough for any benchmark this machine can hold in one case.
const int largest_synthetic_source = 10000000;
const QString list_separator = case_conventions::list_separator();

} // namespace

CaseBuilderCommandLine::CaseBuilderCommandLine(const QString &default_worker)
    : source_name_option({QStringLiteral("s"), QStringLiteral("source-name")},
                         QStringLiteral("The source's identifier, which names its database folder "
                                        "(default: SRC1)."),
                         QStringLiteral("name"), QStringLiteral("SRC1"))
    , attributes_option({QStringLiteral("a"), QStringLiteral("attributes")},
                        QStringLiteral("Comma-separated Spotlight attribute keys, one result "
                                       "column each (default: twenty common keys)."),
                        QStringLiteral("keys"))
    , essential_option({QStringLiteral("e"), QStringLiteral("essential")},
                       QStringLiteral("Lists records for a right-click run: record numbers and "
                                      "ranges (\"3,7,10-20\"), one stored path (\"/dir/file\") or "
                                      "\"all\". May be repeated."),
                       QStringLiteral("records"))
    , left_click_option(QStringLiteral("left-click"),
                        QStringLiteral("The record (number or stored path) of the left-click run "
                                       "(default: the first file)."),
                        QStringLiteral("record"))
    , synthetic_option(QStringLiteral("synthetic"),
                       QStringLiteral("Makes up a source of n records under <source> instead of "
                                      "recording a tree."),
                       QStringLiteral("n"))
    , write_files_option(QStringLiteral("write-files"),
                         QStringLiteral("With --synthetic: creates the records as real files "
                                        "under <source>."))
    , decorate_option(QStringLiteral("decorate"),
                      QStringLiteral("With --write-files: gives every file macOS metadata in "
                                     "extended attributes."))
    , worker_option(QStringLiteral("worker"),
                    QStringLiteral("The worker the printed command lines start (default: "
                                   "vantrel beside this tool)."),
                    QStringLiteral("path"))
    , force_option({QStringLiteral("f"), QStringLiteral("force")},
                   QStringLiteral("Replaces the source's databases when the case already has "
                                  "them, and writes synthetic files into a folder that is not empty."))
    , help_option({QStringLiteral("h"), QStringLiteral("help")},
                  QStringLiteral("Shows this help."))
    , version_option({QStringLiteral("v"), QStringLiteral("version")},
                     QStringLiteral("Shows the version."))
    , default_worker_path(default_worker)
{
    parser.setApplicationDescription(QStringLiteral(
        "Lays out a case as the host does before it starts the worker: the records of a "
        "source in <case>/<name>/file_system.sqlite, the empty result databases and, when "
        "asked, the essential database of a right-click run; then prints the worker's "
        "command line for each run kind."));
    parser.addOptions({source_name_option, attributes_option, essential_option, left_click_option,
                       synthetic_option, write_files_option, decorate_option, worker_option,
                       force_option, help_option, version_option});
    parser.addPositionalArgument(QStringLiteral("source"),
                                 QStringLiteral("The source's folder: the tree to record, or where "
                                                "a synthetic source lies."));
    parser.addPositionalArgument(QStringLiteral("case"),
                                 QStringLiteral("The case folder that receives the databases."));
}

CaseBuilderCommandLine::Outcome CaseBuilderCommandLine::fail(const QString &reason)
{
    error = reason;
    return Outcome::Error;
}

CaseBuilderCommandLine::Outcome CaseBuilderCommandLine::parse(const QStringList &arguments)
{
    if (!parser.parse(arguments))
        return fail(parser.errorText());
    if (parser.isSet(help_option))
        return Outcome::Help;
    if (parser.isSet(version_option))
        return Outcome::Version;

    const QStringList positional = parser.positionalArguments();
    if (positional.size() != 2)
        return fail(QStringLiteral("expected a source folder and a case folder, got %1 argument(s)")
                        .arg(positional.size()));
    if (positional.at(0).isEmpty() || positional.at(1).isEmpty())
        return fail(QStringLiteral("the source folder and the case folder may not be empty"));

    CaseBuilderOptions options;
    options.source = positional.at(0);
    options.case_folder = positional.at(1);

    // The name becomes a folder of the case and an item of the worker's
    // command line, so it may hold no path separator or list separator.
    options.source_count_name = parser.value(source_name_option);
    if (options.source_count_name.isEmpty() || options.source_count_name == QLatin1String(".")
        || options.source_count_name == QLatin1String("..")
        || options.source_count_name.contains(QLatin1Char('/'))
        || options.source_count_name.contains(list_separator))
        return fail(QStringLiteral("source name \"%1\" cannot name a folder of the case")
                        .arg(options.source_count_name));

    if (parser.isSet(attributes_option)) {
        QString reason;
        if (!AttributeKeys::parse(parser.value(attributes_option), &options.keys, &reason))
            return fail(reason);
    }

    options.essential_items = parser.values(essential_option);
    if (options.essential_items.contains(QString()))
        return fail(QStringLiteral("--essential needs record numbers, a stored path or \"all\""));
    options.left_click = parser.value(left_click_option);
    if (parser.isSet(left_click_option) && options.left_click.isEmpty())
        return fail(QStringLiteral("--left-click needs a record number or a stored path"));

    if (parser.isSet(synthetic_option)) {
        bool is_number = false;
        const qlonglong count = parser.value(synthetic_option).toLongLong(&is_number);
        if (!is_number || count < 1 || count > largest_synthetic_source)
            return fail(QStringLiteral("--synthetic needs a number of records from 1 to %1, not \"%2\"")
                            .arg(largest_synthetic_source)
                            .arg(parser.value(synthetic_option)));
        options.synthetic_count = int(count);
    }
    options.write_files = parser.isSet(write_files_option);
    options.decorate = parser.isSet(decorate_option);
    if (options.write_files && options.synthetic_count == 0)
        return fail(QStringLiteral("--write-files only goes with --synthetic"));
    if (options.decorate && !options.write_files)
        return fail(QStringLiteral("--decorate only goes with --write-files"));

    options.worker = parser.isSet(worker_option) ? parser.value(worker_option) : default_worker_path;
    options.force = parser.isSet(force_option);
    parsed = options;
    return Outcome::Build;
}
