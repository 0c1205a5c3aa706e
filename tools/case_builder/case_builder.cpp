#include "case_builder.h"

#include "case_databases.h"
#include "source_tree_scan.h"
#include "synthetic_source.h"
#include "worker_command_line.h"

#include <QDir>
#include <QFileInfo>

CaseBuilder::CaseBuilder(const CaseBuilderOptions &options)
    : options(options)
    , layout(options.case_folder, options.source_count_name)
{
}

CaseBuilder::Result CaseBuilder::fail(Result result, const QString &reason)
{
    error_text = reason;
    return result;
}

CaseBuilder::Result CaseBuilder::build()
{
    for (Result (CaseBuilder::*step)() : {&CaseBuilder::check_case_folder, &CaseBuilder::collect_records,
                                          &CaseBuilder::choose_records,
                                          &CaseBuilder::write_synthetic_files,
                                          &CaseBuilder::write_databases}) {
        const Result result = (this->*step)();
        if (result != Result::Built)
            return result;
    }
    return Result::Built;
}

QString CaseBuilder::virtual_source_path() const
{
    // Stored paths start with "/", so the mount point is kept without one.
    const QString path = QDir::cleanPath(QDir(options.source).absolutePath());
    return path == QLatin1String("/") ? QString() : path;
}

CaseBuilder::Result CaseBuilder::check_case_folder()
{
    const QFileInfo case_info(options.case_folder);
    if (case_info.exists() && !case_info.isDir())
        return fail(Result::Failed,
                    QStringLiteral("case folder %1 is not a directory").arg(options.case_folder));
    const QStringList existing = layout.existing_databases();
    if (!existing.isEmpty() && !options.force)
        return fail(Result::Failed,
                    QStringLiteral("the case already holds source %1 (%2); pass --force to replace it")
                        .arg(options.source_count_name, existing.join(QStringLiteral(", "))));
    return Result::Built;
}

CaseBuilder::Result CaseBuilder::collect_records()
{
    if (options.synthetic_count > 0) {
        records = SyntheticSource(options.synthetic_count).records();
        return Result::Built;
    }

    // A case inside the tree would record its own databases as evidence.
    const QString tree = QFileInfo(options.source).canonicalFilePath();
    const QFileInfo case_info(options.case_folder);
    const QString case_path = case_info.exists() ? case_info.canonicalFilePath()
                                                 : QDir::cleanPath(case_info.absoluteFilePath());
    const QString tree_prefix = tree.endsWith(QLatin1Char('/')) ? tree : tree + QLatin1Char('/');
    if (!tree.isEmpty() && (case_path == tree || case_path.startsWith(tree_prefix)))
        return fail(Result::BadArgument,
                    QStringLiteral("case folder %1 lies inside the source tree %2")
                        .arg(options.case_folder, options.source));

    SourceTreeScan scan = scan_source_tree(options.source);
    if (!scan.error.isEmpty())
        return fail(Result::Failed, scan.error);
    warning_list = scan.warnings;
    records = scan.records;
    return Result::Built;
}

CaseBuilder::Result CaseBuilder::choose_records()
{
    QString reason;
    if (!EssentialSelection::resolve(options.essential_items, records, &essential, &reason))
        return fail(Result::BadArgument, reason);

    if (!options.left_click.isEmpty()) {
        EssentialSelection clicked;
        if (!EssentialSelection::resolve({options.left_click}, records, &clicked, &reason))
            return fail(Result::BadArgument, reason);
        if (clicked.record_numbers().size() != 1)
            return fail(Result::BadArgument,
                        QStringLiteral("--left-click names one record, not \"%1\"").arg(options.left_click));
        left_click_number = clicked.record_numbers().constFirst();
        return Result::Built;
    }
    // An examiner clicks a file far more often than a folder.
    for (int index = 0; index < records.size(); ++index) {
        if (records.at(index).kind == SourceRecord::Kind::File) {
            left_click_number = index + 1;
            return Result::Built;
        }
    }
    left_click_number = records.isEmpty() ? 0 : 1;
    return Result::Built;
}

CaseBuilder::Result CaseBuilder::write_synthetic_files()
{
    if (!options.write_files)
        return Result::Built;
    const QString root = virtual_source_path();
    const QFileInfo root_info(options.source);
    if (root_info.exists() && !root_info.isDir())
        return fail(Result::Failed,
                    QStringLiteral("source folder %1 is not a directory").arg(options.source));
    if (root_info.exists() && !QDir(options.source).isEmpty() && !options.force)
        return fail(Result::Failed,
                    QStringLiteral("source folder %1 is not empty; pass --force to write the "
                                   "synthetic files into it")
                        .arg(options.source));
    if (!QDir().mkpath(options.source))
        return fail(Result::Failed, QStringLiteral("cannot create source folder %1").arg(options.source));
    QString reason;
    if (!SyntheticSource(options.synthetic_count).write_files(root, options.decorate, &reason))
        return fail(Result::Failed, reason);
    return Result::Built;
}

CaseBuilder::Result CaseBuilder::write_databases()
{
    QString reason;
    if (!layout.remove_existing(&reason) || !layout.create_directories(&reason))
        return fail(Result::Failed, reason);

    const CaseDatabases databases(layout, options.source_count_name);
    const bool written = databases.write_file_system(records, &reason)
                         && databases.write_apple_metadata(options.keys, &reason)
                         && databases.write_apple_timestamps(&reason)
                         && (options.essential_items.isEmpty()
                             || databases.write_essential(records, essential, &reason));
    if (!written) {
        // A half-written case would pass for a whole one at the next try.
        QString ignored;
        layout.remove_existing(&ignored);
        return fail(Result::Failed, reason);
    }
    return Result::Built;
}

QStringList CaseBuilder::report_lines() const
{
    int files = 0;
    int folders = 0;
    int others = 0;
    for (const SourceRecord &record : records) {
        if (record.kind == SourceRecord::Kind::File)
            ++files;
        else if (record.kind == SourceRecord::Kind::Directory)
            ++folders;
        else
            ++others;
    }

    WorkerCommandLine command_line;
    command_line.worker = options.worker;
    command_line.virtual_source_path = virtual_source_path();
    command_line.file_system_dir_path = layout.file_system_dir_path();
    command_line.source_count_name = options.source_count_name;
    command_line.keys = options.keys;

    QStringList lines;
    lines << QStringLiteral("# Source %1 in %2: %3 records (%4 files, %5 folders, %6 others) of %7")
                 .arg(options.source_count_name, layout.database_directory())
                 .arg(records.size())
                 .arg(files)
                 .arg(folders)
                 .arg(others)
                 .arg(virtual_source_path().isEmpty() ? QStringLiteral("/") : virtual_source_path());
    lines << QStringLiteral("# Timestamps run:") << command_line.shell_line(RunKind::Timestamps);
    lines << QStringLiteral("# Full metadata run:") << command_line.shell_line(RunKind::FullMetadata);
    if (options.essential_items.isEmpty()) {
        lines << QStringLiteral("# Right-click run: choose its records with --essential.");
    } else {
        lines << QStringLiteral("# Right-click run on %1 listed records:").arg(essential.record_numbers().size())
              << command_line.shell_line(RunKind::RightClick, layout.essential_database());
    }
    if (left_click_number == 0) {
        lines << QStringLiteral("# Left-click run: the source has no record to click.");
    } else {
        lines << QStringLiteral("# Left-click run on record %1:").arg(left_click_number)
              << command_line.shell_line(RunKind::LeftClick,
                                         records.at(left_click_number - 1).stored_path);
    }
    return lines;
}
