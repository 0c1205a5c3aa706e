// The worker as the host starts it: what it prints and how it exits.

#include "test_case.h"

#include <QDir>
#include <QtTest>

class tst_command_line : public QObject
{
    Q_OBJECT

private slots:
    void arguments_and_run_kinds_data();
    void arguments_and_run_kinds();
};

void tst_command_line::arguments_and_run_kinds_data()
{
    QTest::addColumn<QStringList>("arguments"); // {case} and {source} stand for the case's folder and source
    QTest::addColumn<QByteArray>("expected_output");
    QTest::addColumn<QStringList>("expected_files"); // files left in the case folder

    const QByteArray usage = "Parameter Count Mismatch\nAPP virtual_source_path file_paths file_system_dir_path "
                             "apple_metadata_attributes_names apple_metadata_column_names source_count_name flag\n";
    const QString key = "kMDItemFSName" + case_conventions::list_separator();
    const QStringList six = {"/nonexistent/source", "{case}essential.sqlite", "{case}", key, key, "{source}"}, none;
    QTest::newRow("no arguments print the usage lines") << QStringList() << usage << none;
    QTest::newRow("six arguments print the usage lines") << six << usage << none;
    QTest::newRow("framework options are the host's own texts")
        << QStringList{"-platform", "xcb", "-style", "-reverse", "-qwindowgeometry", "-session", "-display"}
        << QByteArray() << none;
    QTest::newRow("empty texts as arguments") << QStringList(7, QString()) << QByteArray() << none;
    // Each run kind opens its own set of databases, and opening a missing
    // database file brings it into being: the files left show which run ran.
    const QString file_system = "source/file_system.sqlite", metadata = "source/apple_metadata.sqlite";
    QTest::newRow("1 starts the timestamps run")
        << six + QStringList{"1"} << QByteArray() << QStringList{"source/apple_timestamps.sqlite", file_system};
    QTest::newRow("2 starts the full metadata run")
        << six + QStringList{"2"} << QByteArray() << QStringList{metadata, file_system};
    QTest::newRow("3 starts the right-click run")
        << six + QStringList{"3"} << QByteArray() << QStringList{"essential.sqlite", metadata, file_system};
    QTest::newRow("4 starts the left-click run") << six + QStringList{"4"} << QByteArray() << QStringList{file_system};
    QTest::newRow("eight arguments: the usage lines, then the run of the first seven")
        << six + QStringList{"1", "extra"} << usage << QStringList{"source/apple_timestamps.sqlite", file_system};
    for (const QString flag : {"1 ", " 1", "01", "", "9", "\uff12"})
        QTest::addRow("flag \"%s\" starts nothing", qPrintable(flag)) << six + QStringList{flag} << QByteArray() << none;
}

void tst_command_line::arguments_and_run_kinds()
{
    QFETCH(QStringList, arguments);
    QFETCH(QByteArray, expected_output);
    QFETCH(QStringList, expected_files);

    // A source name in many scripts reaches its databases' folder intact.
    TestCase test_case("Quelle \u00dc-\u20ac-\u5831\u544a");
    arguments.replaceInStrings("{case}", test_case.case_dir()).replaceInStrings("{source}", test_case.source_name());
    const TestCase::Result result = run_worker(arguments);
    QVERIFY(result.exit_status == QProcess::NormalExit && result.exit_code == 0);
    // Every line goes to the framework's debug stream: stderr, nothing else.
    QCOMPARE(result.standard_error, expected_output);
    QCOMPARE(result.standard_output, QByteArray());
    QStringList files = QDir(test_case.case_dir()).entryList(QDir::Files);
    for (const QString &name : QDir(test_case.database(QString())).entryList(QDir::Files))
        files.append("source/" + name);
    files.sort();
    QCOMPARE(files, expected_files);
}

QTEST_GUILESS_MAIN(tst_command_line)
#include "tst_command_line.moc"
