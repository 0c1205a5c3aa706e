// The case builder as an examiner runs it: the case it lays out, the worker
// command lines it prints and the mistakes it refuses.

#include "evidence_files.h"
#include "text_rows.h"

#include <QDir>
#include <QtEndian>
#include <QtTest>

#include <sys/xattr.h>

namespace {

const QString builder = QStringLiteral(VANTREL_CASE_EXECUTABLE), sep = case_conventions::list_separator();

} // namespace

class tst_case_builder : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void builds_a_case_prints_its_runs_and_replaces_it_when_forced();
    void refused_requests_data();
    void refused_requests();
    void synthetic_decorated_source();
    void image_recorded_as_its_volume();

private:
    // Both folder names need quoting in a shell.
    TestCase::Result build(QStringList options = {}) const { return run_worker(options << tree << case_dir, builder); }
    QString database(const QString &name) const { return case_dir + "/SRC1/" + name; }

    std::unique_ptr<QTemporaryDir> work;
    QString tree, case_dir;
};

void tst_case_builder::init()
{
    work = std::make_unique<QTemporaryDir>();
    tree = work->filePath("examined volume's tree");
    case_dir = work->filePath("case one");
    QVERIFY(write_file(tree + "/docs/report.txt", "quarterly figures\n") && write_file(tree + "/docs/a,b.TXT", "x")
            && write_file(tree + "/.DS_Store", "0123") && write_file(tree + "/it's here/\u00fcber.pdf", "%PDF"));
    QVERIFY(QFile::link("docs", tree + "/link_to_docs") && QFile::link("nowhere", tree + "/dangling"));
}

void tst_case_builder::builds_a_case_prints_its_runs_and_replaces_it_when_forced()
{
    const TestCase::Result result = build({"-a", " kMDItemUsedDatesX , kMDItemUsedDates", "-e", "5,3", "-e",
                                           "/docs/a,b.TXT", "-e", "6-7,3", "--left-click", "7", "--worker", "worker"});
    QVERIFY2(result.exit_code == 0, result.standard_error.constData());

    // Links are recorded as themselves; a folder's size is its file system's.
    QCOMPARE(text_rows(database("file_system.sqlite"),
                       "select group_concat(INT || ' ' || filepath || ' ' || file_type || ' ' || iif(file_type = "
                       "'directory', '-', file_size) || ifnull(' ' || symlink_target, '') || ' ' || "
                       "fs_module_apple_metadata_run_status, '|') from files"),
             QList<QStringList>{{"1 /.DS_Store file 4 0|2 /dangling symlink 7 nowhere 0|3 /docs directory - 0|"
                                 "4 /docs/a,b.TXT file 1 0|5 /docs/report.txt file 18 0|6 /it's here directory - 0|"
                                 "7 /it's here/\u00fcber.pdf file 4 0|8 /link_to_docs symlink 4 docs 0"}});
    // Result tables are empty, without the index the worker makes itself.
    const QString columns = "select group_concat(name) from pragma_table_info('files') union all "
                            "select count(*) from files union all "
                            "select count(*) from sqlite_master where type = 'index'";
    QCOMPARE(text_rows(database("apple_metadata.sqlite"), columns),
             (QList<QStringList>{{"INT,kMDItemUsedDatesX,kMDItemUsedDates,filesystem_record"}, {"0"}, {"0"}}));
    QCOMPARE(text_rows(database("apple_timestamps.sqlite"), columns), (QList<QStringList>{
        {"INT," + case_conventions::timestamp_column_names().join(',') + ",filesystem_record"}, {"0"}, {"0"}}));
    // Records in the order chosen, each once.
    const QString essential = case_dir + "/SRC1_essential.sqlite";
    QCOMPARE(text_rows(essential, "select group_concat(fs_record_no || ' ' || display_filepath || ' ' || "
                                  "source_count_name, '|') from (select * from files order by INT)"),
             QList<QStringList>{{"5 /docs/report.txt SRC1|3 /docs SRC1|4 /docs/a,b.TXT SRC1|6 /it's here SRC1|"
                                 "7 /it's here/\u00fcber.pdf SRC1"}});

    // Pasted into a shell, each printed line starts the worker with the host's seven texts; a key
    // contained in another gets its column first, so that it finds its own.
    QProcess shell;
    shell.start("/bin/sh", {"-c", "worker() { printf '[%s]' \"$@\"; echo; }\n" + result.standard_output});
    QVERIFY(shell.waitForFinished());
    const QStringList paths = {"", "", essential, "/it's here/\u00fcber.pdf"};
    QString expected;
    for (int flag = 1; flag <= 4; ++flag)
        expected += "[" + QStringList{tree, paths[flag - 1], case_dir + "/", "kMDItemUsedDatesX" + sep
                                      + "kMDItemUsedDates", "kMDItemUsedDates" + sep + "kMDItemUsedDatesX", "SRC1",
                                      QString::number(flag)}.join("][") + "]\n";
    QCOMPARE(QString::fromUtf8(shell.readAllStandardOutput()), expected);

    // A second build replaces the source, and drops its stale right-click list, only when forced.
    QVERIFY(write_file(tree + "/zz_new.txt", "added later"));
    const TestCase::Result refused = build();
    QVERIFY2(refused.exit_code == 1 && refused.standard_error.contains("already holds source SRC1 ("),
             refused.standard_error.constData());
    QCOMPARE(build({"--force"}).exit_code, 0);
    QCOMPARE(TestCase::count_rows(database("file_system.sqlite"), "where INT = 9 and filepath = '/zz_new.txt'"), 1);
    QVERIFY(!QFile::exists(essential));
}

void tst_case_builder::refused_requests_data()
{
    QTest::addColumn<QString>("arguments"); // split at blanks; {tree} and {case} stand for the folders
    QTest::addColumn<int>("exit_code");
    QTest::addColumn<QString>("message");

    QTest::newRow("no folders") << "" << 2 << "expected a source folder and a case folder";
    QTest::newRow("a tree that does not exist") << "{tree}/missing {case}" << 1 << "does not exist";
    QTest::newRow("a file that holds no volume image") << "{tree}/docs/report.txt {case}" << 1 << "holds no volume image";
    QTest::newRow("a case inside the tree") << "{tree} {tree}/docs/case" << 2 << "lies inside the source tree";
    QTest::newRow("a source name with a slash") << "-s a/b {tree} {case}" << 2 << "cannot name a folder";
    QTest::newRow("a key with a quote") << "-a kMDItem'Kind {tree} {case}" << 2 << "may hold only";
    QTest::newRow("a key named like the record column") << "-a filesystem_record {tree} {case}" << 2 << "would clash";
    QTest::newRow("an empty key") << "-a kMDItemKind, {tree} {case}" << 2 << "empty attribute key";
    QTest::newRow("a record past the last") << "-e 3,10 {tree} {case}" << 2 << "record 10 is not in the source";
    QTest::newRow("synthetic files into a folder that has files")
        << "--synthetic 5 --write-files {tree} {case}" << 1 << "is not empty; pass --force";
}

void tst_case_builder::refused_requests()
{
    QFETCH(QString, arguments);
    QFETCH(int, exit_code);
    QFETCH(QString, message);

    QStringList words = arguments.split(' ', Qt::SkipEmptyParts);
    const auto result = run_worker(words.replaceInStrings("{tree}", tree).replaceInStrings("{case}", case_dir), builder);
    QCOMPARE(result.exit_code, exit_code);
    QVERIFY2(result.standard_error.startsWith("vantrel-case: ") && result.standard_error.contains(message.toUtf8()),
             result.standard_error.constData());
    QCOMPARE(result.standard_output, QByteArray());
    // A refused request leaves no case behind to be mistaken for a built one.
    QVERIFY(!QFile::exists(database("file_system.sqlite")));
}

void tst_case_builder::synthetic_decorated_source()
{
    const QString source = work->filePath("synthetic");
    const auto result = run_worker({"--synthetic", "120", "--write-files", "--decorate", source, case_dir}, builder);
    if (result.standard_error.contains("keeps no extended attributes"))
        QSKIP("the temporary folder's file system keeps no extended attributes");
    QVERIFY2(result.exit_code == 0, result.standard_error.constData());

    const QList<QStringList> files = text_rows(database("file_system.sqlite"),
          "select filepath, file_size, date_modified from files where file_type = 'file' order by INT");
    QCOMPARE(files.size(), 118); // and a folder for every hundred records
    for (const QStringList &file : files)
        QVERIFY2(QFileInfo(source + file[0]).size() == file[1].toLongLong()
                     && QFileInfo(source + file[0]).lastModified().toSecsSinceEpoch() == file[2].toLongLong(),
                 qPrintable(file[0]));
    QByteArray path = QFile::encodeName(source + files[0][0]), stamp(16, '\0'), where_froms(4096, '\0');
    where_froms.resize(::getxattr(path.constData(), "user.com.apple.metadata:kMDItemWhereFroms", where_froms.data(), 4096));
    QVERIFY(where_froms.startsWith("bplist00") && where_froms.contains(files[0][0].toUtf8()));
    // The last-used stamp comes a day after the file's modification.
    QCOMPARE(::getxattr(path.constData(), "user.com.apple.lastuseddate#PS", stamp.data(), 16), ssize_t(16));
    QCOMPARE(qFromLittleEndian<qint64>(stamp.constData()), files[0][2].toLongLong() + 86400);
}

void tst_case_builder::image_recorded_as_its_volume()
{
    // The host records what an image's volume holds, as the worker reads it.
    const QString image = work->filePath("hfsplus.raw");
    if (QProcess::execute("sh", {"-c", "gunzip -c \"$0\" > \"$1\"", VANTREL_FIXTURES_DIR "/volumes/hfsplus.raw.gz", image}) != 0)
        QSKIP("the volume fixtures are not beside the checkout");
    const auto result = run_worker({image, case_dir}, builder);
    QVERIFY2(result.exit_code == 0, result.standard_error.constData());
    QCOMPARE(text_rows(database("file_system.sqlite"),
                       "select group_concat(filepath || ' ' || file_type || ' ' || iif(file_type = 'file', file_size, '-'), '|') "
                       "from files where filepath not like '/.%' and filepath not like '%HFS+ Private%'"),
             QList<QStringList>{{"/a_directory directory -|/a_directory/a_file file 53|/a_directory/a_resourcefork file 0|"
                                 "/a_directory/another_file file 22|/a_link symlink -|/passwords.txt file 116"}});
}

QTEST_GUILESS_MAIN(tst_case_builder)
#include "tst_case_builder.moc"
