// The worker as the host starts it: what it prints and how it exits.

#include "test_case.h"

#include <QDir>
#include <QtTest>

namespace {

const QByteArray usage_lines =
    "Parameter Count Mismatch\n"
    "APP virtual_source_path file_paths file_system_dir_path apple_metadata_attributes_names "
    "apple_metadata_column_names source_count_name flag\n";

} // namespace

class tst_command_line : public QObject
{
    Q_OBJECT

private slots:
    void argument_count_data();
    void argument_count();
    void dispatch_data();
    void dispatch();
    void non_ascii_arguments_arrive_intact();
};

void tst_command_line::argument_count_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QByteArray>("expected_output");

    const QString unused_flag = QStringLiteral("9");
    const QStringList seven = {QStringLiteral("/nonexistent/source"), QString(),
                               QStringLiteral("/nonexistent/case/"), QString(), QString(),
                               QStringLiteral("SRC1"), unused_flag};

    QTest::newRow("no arguments print the usage lines") << QStringList() << usage_lines;
    QTest::newRow("six arguments print the usage lines") << seven.mid(0, 6) << usage_lines;
    QTest::newRow("seven arguments print nothing") << seven << QByteArray();
    QTest::newRow("eight arguments print the usage lines")
        << (seven + QStringList{QStringLiteral("extra")}) << usage_lines;
    QTest::newRow("framework options are the host's own texts")
        << QStringList{QStringLiteral("-platform"), QStringLiteral("xcb"),
                       QStringLiteral("-style"), QStringLiteral("-reverse"),
                       QStringLiteral("-qwindowgeometry"), QStringLiteral("-session"),
                       QStringLiteral("-display")}
        << QByteArray();
    QTest::newRow("empty texts as arguments")
        << QStringList{QString(), QString(), QString(), QString(), QString(), QString(), QString()}
        << QByteArray();
}

void tst_command_line::argument_count()
{
    QFETCH(QStringList, arguments);
    QFETCH(QByteArray, expected_output);

    const TestCase::Result result = run_worker(arguments);
    QCOMPARE(result.exit_status, QProcess::NormalExit);
    QCOMPARE(result.exit_code, 0);
    // Every line goes to the framework's debug stream: stderr, nothing else.
    QCOMPARE(result.standard_error, expected_output);
    QCOMPARE(result.standard_output, QByteArray());
}

void tst_command_line::dispatch_data()
{
    QTest::addColumn<QString>("flag");
    QTest::addColumn<QStringList>("expected_files");

    // Each run kind opens its own set of databases, and opening a missing
    // database file brings it into being: the files left show which run ran.
    const QStringList none;
    const QString file_system = "SRC1/" + case_conventions::file_system_database_name();
    const QString metadata = "SRC1/" + case_conventions::apple_metadata_database_name();
    const QString timestamps = "SRC1/" + case_conventions::apple_timestamps_database_name();
    QTest::newRow("1 starts the timestamps run") << "1" << QStringList{timestamps, file_system};
    QTest::newRow("2 starts the full metadata run") << "2" << QStringList{metadata, file_system};
    QTest::newRow("3 starts the right-click run")
        << "3" << QStringList{metadata, file_system, "essential.sqlite"};
    QTest::newRow("4 starts the left-click run") << "4" << QStringList{file_system};
    QTest::newRow("blank after the digit starts nothing") << "1 " << none;
    QTest::newRow("blank before the digit starts nothing") << " 1" << none;
    QTest::newRow("leading zero starts nothing") << "01" << none;
    QTest::newRow("empty flag starts nothing") << "" << none;
    QTest::newRow("unknown digit starts nothing") << "5" << none;
    QTest::newRow("full-width digit starts nothing") << QString::fromUtf8("\xef\xbc\x92") << none;
}

void tst_command_line::dispatch()
{
    QFETCH(QString, flag);
    QFETCH(QStringList, expected_files);

    TestCase test_case;
    const TestCase::Result result =
        test_case.run(flag, test_case.case_dir() + "essential.sqlite", {"kMDItemFSName"}, {"kMDItemFSName"});
    QCOMPARE(result.exit_code, 0);
    QCOMPARE(result.lines, QStringList());

    QStringList files;
    for (const QString &name : QDir(test_case.case_dir()).entryList(QDir::Files))
        files.append(name);
    for (const QString &name : QDir(test_case.database_dir()).entryList(QDir::Files))
        files.append("SRC1/" + name);
    files.sort();
    QCOMPARE(files, expected_files);
}

void tst_command_line::non_ascii_arguments_arrive_intact()
{
    TestCase test_case(QString::fromUtf8("Quelle Ü-€-報告"));
    const QString path = QString::fromUtf8("/Users/zoë/Документы/报告 \"draft\".txt");
    test_case.add_file(path);
    test_case.create_file_system_db({{1, path}});
    test_case.create_metadata_db({"kMDItemFSName"});

    const TestCase::Result result = test_case.run("2", QString(), {"kMDItemFSName"}, {"kMDItemFSName"});
    QCOMPARE(result.lines, QStringList());
    QCOMPARE(TestCase::rows(test_case.metadata_db(), "select kMDItemFSName from files"),
             (QList<QVariantList>{{QString::fromUtf8("报告 \"draft\".txt")}}));
}

QTEST_GUILESS_MAIN(tst_command_line)
#include "tst_command_line.moc"
