// How the reader takes the host's seven texts apart.

#include "case_conventions.h"
#include "vantrel.h"

#include <QtTest>

static const QString sep = case_conventions::list_separator();

class tst_run_parameters : public QObject
{
    Q_OBJECT

private slots:
    void seven_texts_data();
    void seven_texts();
    void column_for_key_data();
    void column_for_key();
};

void tst_run_parameters::seven_texts_data()
{
    QTest::addColumn<QString>("paths"); // given as file paths and as key and column lists
    QTest::addColumn<QString>("flag");
    QTest::addColumn<QStringList>("expected_list");
    QTest::addColumn<QString>("expected_right_click");
    QTest::addColumn<QString>("expected_left_click");

    const QStringList none;
    QTest::newRow("joined list is split, click paths left alone")
        << "a" + sep + "b" << "3" << QStringList{"a", "b"} << "" << "";
    QTest::newRow("empty entries are kept, the trailing one too")
        << "a" + sep + sep + "b" + sep << "4" << QStringList{"a", "", "b", ""} << "" << "";
    QTest::newRow("single path with flag 3 is the essential database") << "/c/e" << "3" << none << "/c/e" << "";
    QTest::newRow("single path with flag 4 is the left-click file") << "/a/r" << "4" << none << "" << "/a/r";
    QTest::newRow("single path with flag 1 is stored nowhere") << "/a/r" << "1" << none << "" << "";
    QTest::newRow("flag 3 with a blank is no right-click run") << "/c/e" << "3 " << none << "" << "";
    QTest::newRow("separator missing its last character is none") << "a[(@@)b" << "4" << none << "" << "a[(@@)b";
}

void tst_run_parameters::seven_texts()
{
    QFETCH(QString, paths);
    QFETCH(QString, flag);
    QFETCH(QStringList, expected_list);
    QFETCH(QString, expected_right_click);
    QFETCH(QString, expected_left_click);

    vantrel reader;
    reader.pub_set_initialize(QString(), "earlier" + sep, "/case/", "2", "SRC1", "/mnt/src", "earlier" + sep);
    reader.pub_set_initialize(paths, paths, " /case dir/ ", flag, "SRC" + sep, "/mnt/\u00dcn\u00efcode ", paths);
    QCOMPARE(reader.file_paths_list, expected_list);
    QCOMPARE(reader.right_click_file_path, expected_right_click);
    QCOMPARE(reader.left_click_file_path, expected_left_click);
    // Key and column lists split alike; a text that is no list leaves the earlier one in place.
    const QStringList lists = expected_list.isEmpty() ? QStringList{"earlier", ""} : expected_list;
    QCOMPARE(reader.apple_metadata_attributes_list, lists);
    QCOMPARE(reader.apple_metadata_columns_list, lists);
    // The other texts are kept whole.
    QCOMPARE((QStringList{reader.file_system_dir_path, reader.flag, reader.source_count_name, reader.virtual_source_path}),
             (QStringList{" /case dir/ ", flag, "SRC" + sep, "/mnt/\u00dcn\u00efcode "}));
}

void tst_run_parameters::column_for_key_data()
{
    QTest::addColumn<QStringList>("columns");
    QTest::addColumn<QString>("key");
    QTest::addColumn<QString>("expected");

    QTest::newRow("first column containing the key wins") << QStringList{"abc_tree", "abc"} << "abc" << "abc_tree";
    QTest::newRow("column must contain the key, not the reverse") << QStringList{"abc"} << "abc_tree" << "";
    QTest::newRow("key in no column gives empty text") << QStringList{"kMDItemKind"} << "kMDItemPath" << "";
    QTest::newRow("empty key gives the first column") << QStringList{"first", "second"} << "" << "first";
    QTest::newRow("letter case differs, not found") << QStringList{"kmditemkind"} << "kMDItemKind" << "";
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
