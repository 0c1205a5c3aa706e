// How the reader takes the host's seven texts apart.

#include "case_conventions.h"
#include "vantrel.h"

#include <QtTest>

namespace {
const QString sep = case_conventions::list_separator();
}

class tst_run_parameters : public QObject
{
    Q_OBJECT

private slots:
    void file_paths_data();
    void file_paths();
    void attribute_and_column_lists_data();
    void attribute_and_column_lists();
    void plain_parameters_are_kept_whole();
    void column_for_key_data();
    void column_for_key();
};

void tst_run_parameters::file_paths_data()
{
    QTest::addColumn<QString>("file_paths");
    QTest::addColumn<QString>("flag");
    QTest::addColumn<QStringList>("expected_list");
    QTest::addColumn<QString>("expected_right_click");
    QTest::addColumn<QString>("expected_left_click");

    QTest::newRow("joined list is split, click paths untouched")
        << "a" + sep + "b" << "2" << QStringList{"a", "b"} << "" << "";
    QTest::newRow("trailing separator leaves an empty entry")
        << "a" + sep << "2" << QStringList{"a", ""} << "" << "";
    QTest::newRow("two separators in a row keep the empty entry between")
        << "a" + sep + sep + "b" << "2" << QStringList{"a", "", "b"} << "" << "";
    QTest::newRow("single path with flag 3 is the essential database")
        << "/case/essential.sqlite" << "3" << QStringList() << "/case/essential.sqlite" << "";
    QTest::newRow("single path with flag 4 is the left-click file")
        << "/Users/a/report.txt" << "4" << QStringList() << "" << "/Users/a/report.txt";
    QTest::newRow("single path with flag 1 is stored nowhere")
        << "/Users/a/report.txt" << "1" << QStringList() << "" << "";
    QTest::newRow("joined list with flag 3 leaves the right-click path empty")
        << "a" + sep + "b" << "3" << QStringList{"a", "b"} << "" << "";
    QTest::newRow("flag 3 with a blank is no right-click run")
        << "/case/essential.sqlite" << "3 " << QStringList() << "" << "";
    QTest::newRow("separator missing its last character is no separator")
        << "a[(@@)b" << "4" << QStringList() << "" << "a[(@@)b";
    QTest::newRow("separator with a blank inside is no separator")
        << "a[(@ @)]b" << "4" << QStringList() << "" << "a[(@ @)]b";
    QTest::newRow("non-ASCII path arrives unchanged")
        << QString::fromUtf8("/Users/zoë/Документы/報告.txt") << "4" << QStringList() << ""
        << QString::fromUtf8("/Users/zoë/Документы/報告.txt");
}

void tst_run_parameters::file_paths()
{
    QFETCH(QString, file_paths);
    QFETCH(QString, flag);
    QFETCH(QStringList, expected_list);
    QFETCH(QString, expected_right_click);
    QFETCH(QString, expected_left_click);

    vantrel reader;
    reader.pub_set_initialize(file_paths, QString(), "/case/", flag, "SRC1", "/mnt/src", QString());
    QCOMPARE(reader.file_paths_list, expected_list);
    QCOMPARE(reader.right_click_file_path, expected_right_click);
    QCOMPARE(reader.left_click_file_path, expected_left_click);
}

void tst_run_parameters::attribute_and_column_lists_data()
{
    QTest::addColumn<QString>("joined");
    QTest::addColumn<QStringList>("expected");

    QTest::newRow("one key without separator is not stored") << "kMDItemKind" << QStringList();
    QTest::newRow("one key with separator gives it and an empty entry")
        << "kMDItemKind" + sep << QStringList{"kMDItemKind", ""};
    QTest::newRow("three keys in their order")
        << "kMDItemKind" + sep + "kMDItemFSName" + sep + "kMDItemKind"
        << QStringList{"kMDItemKind", "kMDItemFSName", "kMDItemKind"};
    QTest::newRow("empty text is not a list") << "" << QStringList();
}

void tst_run_parameters::attribute_and_column_lists()
{
    QFETCH(QString, joined);
    QFETCH(QStringList, expected);

    vantrel reader;
    reader.pub_set_initialize(QString(), joined, "/case/", "2", "SRC1", "/mnt/src", joined);
    QCOMPARE(reader.apple_metadata_attributes_list, expected);
    QCOMPARE(reader.apple_metadata_columns_list, expected);

    // A second call without a list leaves the earlier list in place.
    reader.pub_set_initialize(QString(), "kMDItemPath", "/case/", "2", "SRC1", "/mnt/src", "x");
    QCOMPARE(reader.apple_metadata_attributes_list, expected);
    QCOMPARE(reader.apple_metadata_columns_list, expected);
}

void tst_run_parameters::plain_parameters_are_kept_whole()
{
    vantrel reader;
    reader.pub_set_initialize(QString(), QString(), " /case dir/ ", " 1", "SRC" + sep,
                              QString::fromUtf8("/mnt/Ünïcode "), QString());
    QCOMPARE(reader.file_system_dir_path, QStringLiteral(" /case dir/ "));
    QCOMPARE(reader.flag, QStringLiteral(" 1"));
    QCOMPARE(reader.source_count_name, "SRC" + sep);
    QCOMPARE(reader.virtual_source_path, QString::fromUtf8("/mnt/Ünïcode "));
}

void tst_run_parameters::column_for_key_data()
{
    QTest::addColumn<QStringList>("columns");
    QTest::addColumn<QString>("key");
    QTest::addColumn<QString>("expected");

    QTest::newRow("first column containing the key wins")
        << QStringList{"abc_tree", "abc"} << "abc" << "abc_tree";
    QTest::newRow("exact name found")
        << QStringList{"kMDItemKind", "kMDItemFSName"} << "kMDItemFSName" << "kMDItemFSName";
    QTest::newRow("column must contain the key, not the reverse")
        << QStringList{"abc"} << "abc_tree" << "";
    QTest::newRow("key in no column gives empty text")
        << QStringList{"kMDItemKind"} << "kMDItemPath" << "";
    QTest::newRow("empty column list gives empty text") << QStringList() << "kMDItemKind" << "";
    QTest::newRow("empty key gives the first column")
        << QStringList{"first", "second"} << "" << "first";
    QTest::newRow("letter case differs, not found")
        << QStringList{"kmditemkind"} << "kMDItemKind" << "";
}

void tst_run_parameters::column_for_key()
{
    QFETCH(QStringList, columns);
    QFETCH(QString, key);
    QFETCH(QString, expected);

    vantrel reader;
    reader.apple_metadata_columns_list = columns;
    QCOMPARE(reader.get_exact_column_name_from_key(key), expected);
}

QTEST_GUILESS_MAIN(tst_run_parameters)
#include "tst_run_parameters.moc"
