// Which paths the full, right-click and left-click runs leave out.

#include "vantrel.h"

#include <QtTest>

class tst_protected_path_filter : public QObject
{
    Q_OBJECT

private slots:
    void restricted_data();
    void restricted();
};

void tst_protected_path_filter::restricted_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<bool>("expected");

    QTest::newRow("version store of any version")
        << "/Volumes/Data/.DocumentRevisions-V100/PerUID/501/x.rtf" << true;
    QTest::newRow("volume trash") << "/Volumes/Data/.Trashes/501/old.doc" << true;
    QTest::newRow("fragment inside a longer folder name") << "/Volumes/Data/.TrashesOld/a" << true;
    QTest::newRow("temporary items") << "/Volumes/Data/.TemporaryItems/folders.501/a" << true;
    QTest::newRow("fragment in the source prefix restricts every file")
        << "/cases/.Trashes/image/Users/a/report.txt" << true;
    QTest::newRow("fragment at the very end") << "/Volumes/Data/.Trashes" << true;
    QTest::newRow("user's own trash is readable") << "/Users/a/.Trash/old.doc" << false;
    QTest::newRow("search is case-sensitive") << "/Volumes/Data/.temporaryitems/a" << false;
    QTest::newRow("version store without its version marker")
        << "/Volumes/Data/.DocumentRevisions/a" << false;
    QTest::newRow("fragment without its leading slash") << "/Volumes/Data.Trashes/a" << false;
    QTest::newRow("empty path") << "" << false;
}

void tst_protected_path_filter::restricted()
{
    QFETCH(QString, path);
    QFETCH(bool, expected);

    vantrel reader;
    QCOMPARE(reader.bool_is_permission_restricted_file(path, QString()), expected);
}

QTEST_GUILESS_MAIN(tst_protected_path_filter)
#include "tst_protected_path_filter.moc"
