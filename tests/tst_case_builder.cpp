// The case builder as an examiner runs it: the case it lays out, the worker
// command lines it prints and the mistakes it refuses.

#include "case_conventions.h"
#include "text_rows.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QtEndian>
#include <QtTest>

#include <sys/xattr.h>

namespace {

struct BuilderResult
{
    int exit_code = -1;
    QString standard_output;
    QString standard_error;
};

BuilderResult run_builder(const QStringList &arguments)
{
    QProcess builder;
    builder.start(QStringLiteral(VANTREL_CASE_EXECUTABLE), arguments);
    BuilderResult result;
    if (!builder.waitForFinished(60000)) {
        builder.kill();
        builder.waitForFinished();
        return result;
    }
    result.exit_code = builder.exitStatus() == QProcess::NormalExit ? builder.exitCode() : -1;
    result.standard_output = QString::fromUtf8(builder.readAllStandardOutput());
    result.standard_error = QString::fromUtf8(builder.readAllStandardError());
    return result;
}

QStringList column(const QList<QStringList> &rows, int index)
{
    QStringList values;
    for (const QStringList &row : rows)
        values << row.value(index);
    return values;
}

// The words a POSIX shell makes of a printed line, the way a pasted line is read.
QStringList shell_words(const QString &line)
{
    QProcess shell;
    shell.start(QStringLiteral("/bin/sh"),
                {QStringLiteral("-c"), QStringLiteral("printf '%s\\0' ") + line});
    shell.waitForFinished();
    QStringList words = QString::fromUtf8(shell.readAllStandardOutput()).split(QChar(0));
    words.removeLast();
    return words;
}

// The worker command lines of a report: every line that is not a comment.
QStringList command_lines(const QString &report)
{
    QStringList lines;
    for (const QString &line : report.split(QLatin1Char('\n'), Qt::SkipEmptyParts)) {
        if (!line.startsWith(QLatin1Char('#')))
            lines << line;
    }
    return lines;
}

void write_file(const QString &path, const QByteArray &content)
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(content);
}

// A small examined volume with the entries that are easy to get wrong.
void make_tree(const QString &root)
{
    write_file(root + QStringLiteral("/docs/report.txt"), "quarterly figures\n");
    write_file(root + QStringLiteral("/docs/a,b.TXT"), "x");
    write_file(root + QStringLiteral("/.DS_Store"), "0123");
    write_file(root + QStringLiteral("/it's here/\u00fcber.pdf"), "%PDF");
    QVERIFY(QDir().mkpath(root + QStringLiteral("/empty")));
    QVERIFY(QFile::link(QStringLiteral("docs"), root + QStringLiteral("/link_to_docs")));
    QVERIFY(QFile::link(QStringLiteral("nowhere"), root + QStringLiteral("/dangling")));
}

const QStringList tree_paths = {
    QStringLiteral("/.DS_Store"),
    QStringLiteral("/dangling"),
    QStringLiteral("/docs"),
    QStringLiteral("/docs/a,b.TXT"),
    QStringLiteral("/docs/report.txt"),
    QStringLiteral("/empty"),
    QStringLiteral("/it's here"),
    QStringLiteral("/it's here/\u00fcber.pdf"),
    QStringLiteral("/link_to_docs"),
};

} // namespace

class tst_case_builder : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void records_of_a_tree();
    void record_columns_data();
    void record_columns();
    void result_tables_data();
    void result_tables();
    void essential_database_data();
    void essential_database();
    void printed_command_lines_data();
    void printed_command_lines();
    void attribute_lists_data();
    void attribute_lists();
    void refused_requests_data();
    void refused_requests();
    void force_replaces_the_source();
    void synthetic_source_data();
    void synthetic_source();
    void decorated_files();

private:
    // A fresh case per test; its folder names need quoting in a shell.
    BuilderResult build(const QStringList &options = QStringList());
    QString database(const QString &name) const;
    QString file_system_db() const { return database(case_conventions::file_system_database_name()); }

    std::unique_ptr<QTemporaryDir> work;
    QString tree;
    QString case_folder;
};

void tst_case_builder::init()
{
    work = std::make_unique<QTemporaryDir>();
    QVERIFY(work->isValid());
    tree = work->filePath(QStringLiteral("examined volume's tree"));
    case_folder = work->filePath(QStringLiteral("case one"));
    make_tree(tree);
}

BuilderResult tst_case_builder::build(const QStringList &options)
{
    return run_builder(options + QStringList{tree, case_folder});
}

QString tst_case_builder::database(const QString &name) const
{
    return case_conventions::database_directory(case_folder + QLatin1Char('/'), QStringLiteral("SRC1")) + name;
}

void tst_case_builder::records_of_a_tree()
{
    const BuilderResult result = build();
    QVERIFY2(result.exit_code == 0, qPrintable(result.standard_error));

    const QList<QStringList> records = text_rows(file_system_db(),
          QStringLiteral("select INT, filepath, fs_module_apple_metadata_run_status from files order by rowid"));
    QCOMPARE(column(records, 1), tree_paths);
    QStringList numbers;
    for (int number = 1; number <= tree_paths.size(); ++number)
        numbers << QString::number(number);
    QCOMPARE(column(records, 0), numbers);
    QCOMPARE(column(records, 2), QStringList(tree_paths.size(), QStringLiteral("0")));

    // A record inserted later by the host starts unread as well.
    const QList<QStringList> status = text_rows(file_system_db(),
          QStringLiteral("select dflt_value from pragma_table_info('files') "
                         "where name = 'fs_module_apple_metadata_run_status'"));
    QCOMPARE(status, QList<QStringList>{{QStringLiteral("'0'")}});
}

void tst_case_builder::record_columns_data()
{
    QTest::addColumn<QString>("filepath");
    QTest::addColumn<QStringList>("expected"); // name, parent, extension, type, size, link target

    QTest::newRow("a file in a folder")
        << "/docs/report.txt"
        << QStringList{"report.txt", "/docs", "txt", "file", "18", "NULL"};
    QTest::newRow("an extension in capitals is kept in lower case")
        << "/docs/a,b.TXT" << QStringList{"a,b.TXT", "/docs", "txt", "file", "1", "NULL"};
    QTest::newRow("a hidden file has no extension")
        << "/.DS_Store" << QStringList{".DS_Store", "/", "", "file", "4", "NULL"};
    QTest::newRow("a name with a quote and a non-ASCII letter")
        << "/it's here/\u00fcber.pdf"
        << QStringList{"\u00fcber.pdf", "/it's here", "pdf", "file", "4", "NULL"};
    QTest::newRow("a link to a folder is the link itself")
        << "/link_to_docs" << QStringList{"link_to_docs", "/", "", "symlink", "4", "docs"};
    QTest::newRow("a dangling link is still recorded")
        << "/dangling" << QStringList{"dangling", "/", "", "symlink", "7", "nowhere"};
    QTest::newRow("an empty folder")
        << "/empty" << QStringList{"empty", "/", "", "directory", "4096", "NULL"};
}

void tst_case_builder::record_columns()
{
    QFETCH(QString, filepath);
    QFETCH(QStringList, expected);

    QVERIFY(build().exit_code == 0);
    const QList<QStringList> record = text_rows(file_system_db(),
          QStringLiteral("select file_name, parent_path, extension, file_type, file_size, "
                         "symlink_target from files where filepath = '%1'")
              .arg(QString(filepath).replace(QLatin1Char('\''), QLatin1String("''"))));
    QCOMPARE(record.size(), 1);
    if (expected.at(3) == QLatin1String("directory"))
        expected[4] = record.first().at(4); // a folder's size is its file system's
    QCOMPARE(record.first(), expected);
}

void tst_case_builder::result_tables_data()
{
    QTest::addColumn<QStringList>("options");
    QTest::addColumn<QString>("file");
    QTest::addColumn<QStringList>("columns");

    QTest::newRow("the metadata table has a column per key")
        << QStringList{"--attributes", "kMDItemFSName,kMDItemWhereFroms"}
        << QString(case_conventions::apple_metadata_database_name())
        << QStringList{"INT", "kMDItemFSName", "kMDItemWhereFroms", "filesystem_record"};
    QTest::newRow("twenty common keys when none are asked for")
        << QStringList() << QString(case_conventions::apple_metadata_database_name()) << QStringList();
    QTest::newRow("the timestamps table has the six timestamp columns")
        << QStringList() << QString(case_conventions::apple_timestamps_database_name())
        << QStringList{"INT", "useddates", "usecount", "last_useddate", "content_creation_date",
                       "content_modification_date", "date_added", "filesystem_record"};
    QTest::newRow("the essential table lists records by number and path")
        << QStringList{"--essential", "1"} << "../SRC1_essential.sqlite"
        << QStringList{"INT", "fs_record_no", "display_filepath", "source_count_name"};
}

void tst_case_builder::result_tables()
{
    QFETCH(QStringList, options);
    QFETCH(QString, file);
    QFETCH(QStringList, columns);

    const BuilderResult result = build(options);
    QVERIFY2(result.exit_code == 0, qPrintable(result.standard_error));
    const QList<QStringList> names = text_rows(database(file), QStringLiteral("select name from pragma_table_info('files')"));
    if (columns.isEmpty()) {
        QCOMPARE(names.size(), 22);
        QVERIFY(column(names, 0).contains(QStringLiteral("kMDItemUseCount")));
    } else {
        QCOMPARE(column(names, 0), columns);
    }
    // The worker creates the index itself, after its first run.
    const QList<QStringList> indexes = text_rows(database(file),
          QStringLiteral("select name from sqlite_master where name = 'fs_parent'"));
    QVERIFY(indexes.isEmpty());
}

void tst_case_builder::essential_database_data()
{
    QTest::addColumn<QStringList>("options");
    QTest::addColumn<QStringList>("expected"); // "number path" per row

    QTest::newRow("record numbers in the order chosen")
        << QStringList{"-e", "5,3"} << QStringList{"5 /docs/report.txt", "3 /docs"};
    QTest::newRow("a range of records")
        << QStringList{"-e", "7-8"} << QStringList{"7 /it's here", "8 /it's here/\u00fcber.pdf"};
    QTest::newRow("a stored path holding a comma")
        << QStringList{"-e", "/docs/a,b.TXT"} << QStringList{"4 /docs/a,b.TXT"};
    QTest::newRow("a record chosen twice is listed once")
        << QStringList{"-e", "2", "-e", "/dangling", "-e", "1-2"}
        << QStringList{"2 /dangling", "1 /.DS_Store"};
    QStringList all;
    for (int index = 0; index < tree_paths.size(); ++index)
        all << QStringLiteral("%1 %2").arg(index + 1).arg(tree_paths.at(index));
    QTest::newRow("all records") << QStringList{"--essential", "all"} << all;
}

void tst_case_builder::essential_database()
{
    QFETCH(QStringList, options);
    QFETCH(QStringList, expected);

    const BuilderResult result = build(options + QStringList{"--source-name", "SRC7"});
    QVERIFY2(result.exit_code == 0, qPrintable(result.standard_error));
    const QList<QStringList> listed = text_rows(case_folder + QStringLiteral("/SRC7_essential.sqlite"),
          QStringLiteral("select fs_record_no || ' ' || display_filepath, source_count_name "
                         "from files order by INT"));
    QCOMPARE(column(listed, 0), expected);
    QCOMPARE(column(listed, 1), QStringList(expected.size(), QStringLiteral("SRC7")));
}

void tst_case_builder::printed_command_lines_data()
{
    QTest::addColumn<QStringList>("options");
    QTest::addColumn<int>("line");
    QTest::addColumn<QString>("flag");
    QTest::addColumn<QString>("file_paths"); // relative to the case for the essential database

    const QStringList essential = {"--essential", "2-3"};
    QTest::newRow("timestamps run has no file paths") << essential << 0 << "1" << "";
    QTest::newRow("full metadata run has no file paths") << essential << 1 << "2" << "";
    QTest::newRow("right-click run names the essential database")
        << essential << 2 << "3" << "/SRC1_essential.sqlite";
    QTest::newRow("left-click run names the first file by its stored path")
        << essential << 3 << "4" << "/.DS_Store";
    QTest::newRow("left-click run on a chosen record")
        << QStringList{"--left-click", "8"} << 2 << "4" << "/it's here/\u00fcber.pdf";
}

void tst_case_builder::printed_command_lines()
{
    QFETCH(QStringList, options);
    QFETCH(int, line);
    QFETCH(QString, flag);
    QFETCH(QString, file_paths);

    const BuilderResult result = build(options + QStringList{"--worker", "/opt/the worker"});
    QVERIFY2(result.exit_code == 0, qPrintable(result.standard_error));
    const QStringList lines = command_lines(result.standard_output);
    QVERIFY(line < lines.size());
    const QStringList words = shell_words(lines.at(line));
    QCOMPARE(words.size(), 8);

    QCOMPARE(words.at(0), QStringLiteral("/opt/the worker"));
    QCOMPARE(words.at(1), tree);
    QCOMPARE(words.at(3), case_folder + QLatin1Char('/'));
    QCOMPARE(words.at(6), QStringLiteral("SRC1"));
    QCOMPARE(words.at(7), flag);
    if (flag == QLatin1String("3"))
        QCOMPARE(words.at(2), case_folder + file_paths);
    else
        QCOMPARE(words.at(2), file_paths);

    // The worker's own path rules must lead to the files just written.
    QVERIFY(QFile::exists(words.at(3) + words.at(6) + QLatin1Char('/') + case_conventions::file_system_database_name()));
    if (flag == QLatin1String("4"))
        QVERIFY(QFileInfo::exists(words.at(1) + words.at(2)));
}

void tst_case_builder::attribute_lists_data()
{
    QTest::addColumn<QString>("keys");
    QTest::addColumn<QString>("attributes");
    QTest::addColumn<QString>("columns");

    const QString sep = case_conventions::list_separator();
    QTest::newRow("a single key keeps a trailing separator")
        << "kMDItemFSName" << "kMDItemFSName" + sep << "kMDItemFSName" + sep;
    QTest::newRow("a key contained in another gets its column first")
        << "kMDItemUsedDatesX,kMDItemUsedDates" << "kMDItemUsedDatesX" + sep + "kMDItemUsedDates"
        << "kMDItemUsedDates" + sep + "kMDItemUsedDatesX";
    QTest::newRow("blanks around keys are dropped")
        << " kMDItemKind , kMDItemPath" << "kMDItemKind" + sep + "kMDItemPath"
        << "kMDItemKind" + sep + "kMDItemPath";
}

void tst_case_builder::attribute_lists()
{
    QFETCH(QString, keys);
    QFETCH(QString, attributes);
    QFETCH(QString, columns);

    const BuilderResult result = build({QStringLiteral("--attributes"), keys});
    QVERIFY2(result.exit_code == 0, qPrintable(result.standard_error));
    for (const QString &line : command_lines(result.standard_output)) {
        const QStringList words = shell_words(line);
        QCOMPARE(words.value(4), attributes);
        QCOMPARE(words.value(5), columns);
    }
}

void tst_case_builder::refused_requests_data()
{
    QTest::addColumn<QStringList>("arguments"); // {tree}, {case} and {file} stand for paths
    QTest::addColumn<int>("exit_code");
    QTest::addColumn<QString>("message");

    QTest::newRow("no folders") << QStringList() << 2 << "expected a source folder and a case folder";
    QTest::newRow("an unknown option") << QStringList{"--fast", "{tree}", "{case}"} << 2 << "fast";
    QTest::newRow("a tree that does not exist")
        << QStringList{"{tree}/missing", "{case}"} << 1 << "does not exist";
    QTest::newRow("a tree that is a file")
        << QStringList{"{file}", "{case}"} << 1 << "is not a directory";
    QTest::newRow("a case folder that is a file")
        << QStringList{"{tree}", "{file}"} << 1 << "is not a directory";
    QTest::newRow("a case inside the tree")
        << QStringList{"{tree}", "{tree}/docs/case"} << 2 << "lies inside the source tree";
    QTest::newRow("a source name with a slash")
        << QStringList{"-s", "a/b", "{tree}", "{case}"} << 2 << "cannot name a folder";
    QTest::newRow("a key listed twice")
        << QStringList{"-a", "kMDItemKind,kMDItemkind", "{tree}", "{case}"} << 2 << "listed twice";
    QTest::newRow("a key with a quote")
        << QStringList{"-a", "kMDItem'Kind", "{tree}", "{case}"} << 2 << "may hold only";
    QTest::newRow("a key named like the record column")
        << QStringList{"-a", "filesystem_record", "{tree}", "{case}"} << 2 << "would clash";
    QTest::newRow("an empty key") << QStringList{"-a", "kMDItemKind,", "{tree}", "{case}"} << 2
                                  << "empty attribute key";
    QTest::newRow("a record past the last")
        << QStringList{"-e", "3,10", "{tree}", "{case}"} << 2 << "record 10 is not in the source";
    QTest::newRow("record zero") << QStringList{"-e", "0", "{tree}", "{case}"} << 2
                                 << "record 0 is not in the source";
    QTest::newRow("a backwards range")
        << QStringList{"-e", "5-2", "{tree}", "{case}"} << 2 << "runs backwards";
    QTest::newRow("a path the source does not have")
        << QStringList{"-e", "/docs/missing", "{tree}", "{case}"} << 2 << "no record of the source";
    QTest::newRow("words instead of records")
        << QStringList{"-e", "first", "{tree}", "{case}"} << 2 << "neither a record number";
    QTest::newRow("a left click on several records")
        << QStringList{"--left-click", "1-3", "{tree}", "{case}"} << 2 << "names one record";
    QTest::newRow("no synthetic records")
        << QStringList{"--synthetic", "0", "{tree}", "{case}"} << 2 << "from 1 to";
    QTest::newRow("files without a synthetic source")
        << QStringList{"--write-files", "{tree}", "{case}"} << 2 << "only goes with --synthetic";
    QTest::newRow("decoration without files")
        << QStringList{"--synthetic", "5", "--decorate", "{tree}", "{case}"} << 2
        << "only goes with --write-files";
    QTest::newRow("synthetic files into a folder that has files")
        << QStringList{"--synthetic", "5", "--write-files", "{tree}", "{case}"} << 1
        << "is not empty; pass --force";
}

void tst_case_builder::refused_requests()
{
    QFETCH(QStringList, arguments);
    QFETCH(int, exit_code);
    QFETCH(QString, message);

    const QString file = tree + QStringLiteral("/docs/report.txt");
    arguments.replaceInStrings(QStringLiteral("{tree}"), tree);
    arguments.replaceInStrings(QStringLiteral("{case}"), case_folder);
    arguments.replaceInStrings(QStringLiteral("{file}"), file);

    const BuilderResult result = run_builder(arguments);
    QCOMPARE(result.exit_code, exit_code);
    QVERIFY2(result.standard_error.startsWith(QStringLiteral("vantrel-case: ")),
             qPrintable(result.standard_error));
    QVERIFY2(result.standard_error.contains(message), qPrintable(result.standard_error));
    QCOMPARE(result.standard_output, QString());
    // A refused request leaves no case behind to be mistaken for a built one.
    QVERIFY(!QFile::exists(file_system_db()));
}

void tst_case_builder::force_replaces_the_source()
{
    QCOMPARE(build({QStringLiteral("-e"), QStringLiteral("1")}).exit_code, 0);
    write_file(tree + QStringLiteral("/zz_new.txt"), "added later");

    const BuilderResult refused = build();
    QCOMPARE(refused.exit_code, 1);
    QVERIFY(refused.standard_error.contains(QStringLiteral("already holds source SRC1")));
    QVERIFY(refused.standard_error.contains(QStringLiteral("pass --force")));

    QCOMPARE(build({QStringLiteral("--force")}).exit_code, 0);
    const QList<QStringList> records = text_rows(file_system_db(),
          QStringLiteral("select filepath from files order by INT"));
    QCOMPARE(column(records, 0), tree_paths + QStringList{QStringLiteral("/zz_new.txt")});
    // A right-click list of the old records would no longer match them.
    QVERIFY(!QFile::exists(case_folder + QStringLiteral("/SRC1_essential.sqlite")));
}

void tst_case_builder::synthetic_source_data()
{
    QTest::addColumn<bool>("write_files");

    QTest::newRow("records only") << false;
    QTest::newRow("records and their files") << true;
}

void tst_case_builder::synthetic_source()
{
    QFETCH(bool, write_files);

    const QString source = work->filePath(QStringLiteral("synthetic"));
    QStringList arguments = {QStringLiteral("--synthetic"), QStringLiteral("250")};
    if (write_files)
        arguments << QStringLiteral("--write-files");
    const BuilderResult result = run_builder(arguments + QStringList{source, case_folder});
    QVERIFY2(result.exit_code == 0, qPrintable(result.standard_error));

    const QList<QStringList> records = text_rows(file_system_db(),
          QStringLiteral("select INT, filepath, file_type, file_size, date_modified from files order by INT"));
    QCOMPARE(records.size(), 250);
    QCOMPARE(records.last().at(0), QStringLiteral("250"));
    QCOMPARE(records.at(0).mid(1, 2), (QStringList{"/folder_0000", "directory"}));
    QCOMPARE(records.at(100).mid(1, 2), (QStringList{"/folder_0001", "directory"}));
    QCOMPARE(records.at(101).at(2), QStringLiteral("file"));
    QVERIFY(records.at(101).at(1).startsWith(QStringLiteral("/folder_0001/")));
    QCOMPARE(QDir(source).exists(), write_files);
    if (!write_files)
        return;
    // What is recorded is what is on disk.
    for (const QStringList &record : records) {
        const QFileInfo entry(source + record.at(1));
        QVERIFY2(entry.exists(), qPrintable(record.at(1)));
        QCOMPARE(entry.lastModified().toSecsSinceEpoch(), record.at(4).toLongLong());
        if (entry.isFile())
            QCOMPARE(entry.size(), record.at(3).toLongLong());
    }
}

void tst_case_builder::decorated_files()
{
    const QString source = work->filePath(QStringLiteral("decorated"));
    const BuilderResult result =
        run_builder({QStringLiteral("--synthetic"), QStringLiteral("120"), QStringLiteral("--write-files"),
                     QStringLiteral("--decorate"), source, case_folder});
    if (result.standard_error.contains(QStringLiteral("keeps no extended attributes")))
        QSKIP("the temporary folder's file system keeps no extended attributes");
    QVERIFY2(result.exit_code == 0, qPrintable(result.standard_error));

    const QList<QStringList> records = text_rows(file_system_db(),
          QStringLiteral("select filepath, date_modified from files where file_type = 'file' order by INT"));
    QCOMPARE(records.size(), 118);
    const QByteArray path = QFile::encodeName(source + records.first().at(0));
    const auto attribute = [&path](const char *name) {
        QByteArray value(4096, '\0');
        const ssize_t length = ::getxattr(path.constData(), name, value.data(), size_t(value.size()));
        return length < 0 ? QByteArray() : value.left(int(length));
    };

    const QByteArray where_froms = attribute("user.com.apple.metadata:kMDItemWhereFroms");
    QVERIFY(where_froms.startsWith("bplist00"));
    QVERIFY(where_froms.contains(records.first().at(0).toUtf8()));
    QVERIFY(attribute("user.com.apple.metadata:_kMDItemUserTags").contains("Red\n6"));
    QVERIFY(attribute("user.xdg.tags").startsWith("Red"));
    // The last-used stamp comes a day after the file's modification.
    const QByteArray stamp = attribute("user.com.apple.lastuseddate#PS");
    QCOMPARE(stamp.size(), 16);
    QCOMPARE(qFromLittleEndian<qint64>(stamp.constData()), records.first().at(1).toLongLong() + 86400);
    QVERIFY(qFromLittleEndian<qint64>(stamp.constData() + 8) < 1000000000);
}

QTEST_GUILESS_MAIN(tst_case_builder)
#include "tst_case_builder.moc"
