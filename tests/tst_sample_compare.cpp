// vantrel-compare run as an examiner runs it, over samples made here: the
// values the worker's suppliers give match the expected ones, and a value,
// a file or a line planted wrong is reported.

#include "content_samples.h"
#include "evidence_files.h"

#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>

namespace {

// What the samples below are expected to show, as mdls would list them.
const QByteArray expected_values = R"(# A Markdown note, a journal package and a photo.
[Documents/notes.md]
kMDItemFSName = notes.md
kMDItemContentType = net.daringfireball.markdown
kMDItemDocumentIdentifier = 0
kMDItemFSHasCustomIcon = (null)
kMDItemFSIsStationery = (null)

[Journal.dayone]
kMDItemContentType = com.dayoneapp.journal
kMDItemKind = Day One Journal

[Pictures/photo.jpg]
kMDItemContentTypeTree = public.jpeg;public.image;public.data;public.item;public.content
kMDItemPixelWidth = 64
kMDItemAcquisitionMake = Canon
)";

} // namespace

class tst_sample_compare : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void reports_what_differs_data();
    void reports_what_differs();

private:
    ContentSamples samples;
    QTemporaryDir folder;
};

void tst_sample_compare::initTestCase()
{
    samples.make_all();
    QVERIFY(write_file(folder.filePath("volume/Documents/notes.md"), "# Notes\n"));
    QVERIFY(QDir().mkpath(folder.filePath("volume/Journal.dayone/entries")));
    QVERIFY(write_file(folder.filePath("volume/Pictures/photo.jpg"), samples.read("photo.jpg")));
}

void tst_sample_compare::reports_what_differs_data()
{
    QTest::addColumn<QByteArray>("expected");
    QTest::addColumn<int>("status");
    QTest::addColumn<QString>("output"); // what it prints on standard output

    QTest::newRow("samples as expected: nothing printed") << expected_values << 0 << "";
    QTest::newRow("a planted value is reported with what was found")
        << QByteArray(expected_values).replace("kMDItemPixelWidth = 64", "kMDItemPixelWidth = 65") << 1
        << "Pictures/photo.jpg: kMDItemPixelWidth: expected '65', got '64'\n";
    QTest::newRow("a value expected where there is none is reported as (null)")
        << expected_values + "kMDItemTitle = Holiday\n" << 1
        << "Pictures/photo.jpg: kMDItemTitle: expected 'Holiday', got '(null)'\n";
    QTest::newRow("a file the samples lack is reported") << expected_values + "[gone.txt]\nkMDItemFSName = gone.txt\n"
                                                         << 1 << "gone.txt: no such file beneath the samples' folder\n";
    QTest::newRow("a value before any file is refused") << "kMDItemFSName = x\n" + expected_values << 2 << "";
}

void tst_sample_compare::reports_what_differs()
{
    QFETCH(QByteArray, expected);
    QFETCH(int, status);
    QFETCH(QString, output);
    if (samples.missing.count("photo.jpg"))
        QSKIP(qPrintable(samples.missing["photo.jpg"]));

    QVERIFY(write_file(folder.filePath("expected.txt"), expected));
    QProcess tool;
    tool.start(VANTREL_COMPARE_EXECUTABLE, {folder.filePath("volume"), folder.filePath("expected.txt")});
    QVERIFY(tool.waitForFinished(60000));
    const QByteArray errors = tool.readAllStandardError();
    QCOMPARE(QString::fromUtf8(tool.readAllStandardOutput()), output);
    QVERIFY2(tool.exitCode() == status, errors.constData());
    // A refusal says which line is at fault.
    if (status == 2)
        QVERIFY(errors.contains("line 1:"));
}

QTEST_GUILESS_MAIN(tst_sample_compare)
#include "tst_sample_compare.moc"
