// The text a value is stored as: numbers, dates, strings and arrays, with
// null text (stored as NULL) told apart from empty text.

#include "metadata_value_text.h"

#include <QtTest>

#include <clocale>
#include <cstdio>

Q_DECLARE_METATYPE(MetadataValue)

namespace {

// Stands for null text in the tables: stored as NULL, unlike empty text.
const QString null = QStringLiteral("<null>");

MetadataValue text(const char *utf8) { return MetadataValue::from_text(QString::fromUtf8(utf8)); }
MetadataValue number(double value) { return MetadataValue::from_number(value); }
MetadataValue date(double seconds_since_1970) { return MetadataValue::from_date(seconds_since_1970); }
MetadataValue array(std::vector<MetadataValue> items) { return MetadataValue::from_array(std::move(items)); }

} // namespace

class tst_metadata_value_text : public QObject
{
    Q_OBJECT

private slots:
    void value_text_data();
    void value_text();
    void date_text_ignores_the_process_locale();
};

void tst_metadata_value_text::value_text_data()
{
    QTest::addColumn<MetadataValue>("value");
    QTest::addColumn<QString>("expected");

    const MetadataValue epoch = date(0.0);

    QTest::newRow("five digits stay whole") << number(12345) << "12345";
    QTest::newRow("six significant digits") << number(3.14159265) << "3.14159";
    QTest::newRow("large count loses its lower digits") << number(1234567) << "1.23457e+06";
    QTest::newRow("small number in exponent form") << number(0.00001) << "1e-05";
    QTest::newRow("zero number is a value, not missing") << number(0) << "0";

    QTest::newRow("date cut to whole seconds") << date(1700000000.25) << "1700000000";
    QTest::newRow("date before 1970") << date(-86400) << "-86400";
    QTest::newRow("half second before the epoch keeps its sign") << date(-0.5) << "-0";
    QTest::newRow("rounding to microseconds carries into the seconds")
        << date(1699999999.9999996) << "1700000000";
    QTest::newRow("date just short of the next second") << date(1699999999.999) << "1699999999";
    QTest::newRow("epoch date is missing") << epoch << null;
    QTest::newRow("negative zero date is the epoch") << date(-0.0) << null;
    QTest::newRow("tenth of a microsecond after the epoch") << date(1e-7) << "0";
    QTest::newRow("date far beyond 64-bit seconds") << date(1e20) << "100000000000000000000";

    QTest::newRow("string unchanged, blanks kept") << text("  a b\t") << "  a b\t";
    QTest::newRow("empty string is empty, not missing") << text("") << "";
    QTest::newRow("null string from a store is still a string")
        << MetadataValue::from_text(QString()) << "";
    QTest::newRow("raw data or dictionary is missing") << MetadataValue::other() << null;
    QTest::newRow("no value") << MetadataValue::null_value() << null;

    QTest::newRow("epoch date vanishes in array with its separator")
        << array({epoch, date(1700000000), date(1700003600)}) << "1700000000;1700003600";
    QTest::newRow("epoch date between strings leaves one separator")
        << array({text("a"), epoch, text("b")}) << "a;b";
    QTest::newRow("empty string keeps its slot") << array({text("a"), text(""), text("b")}) << "a;;b";
    QTest::newRow("only the one trailing separator goes") << array({text("x;")}) << "x;";
    QTest::newRow("one empty string is empty text") << array({text("")}) << "";
    QTest::newRow("empty array is missing") << array({}) << null;
    QTest::newRow("array of skipped items is missing")
        << array({epoch, MetadataValue::other(), array({text("deep")}), MetadataValue::null_value()}) << null;
    QTest::newRow("nested array contributes nothing")
        << array({text("a"), array({text("b"), text("c")}), text("d")}) << "a;d";
    QTest::newRow("mixed kinds in array order, numbers by the number rule")
        << array({text("Red"), number(1234567), date(-86400.5)}) << "Red;1.23457e+06;-86400";
}

void tst_metadata_value_text::value_text()
{
    QFETCH(MetadataValue, value);
    QFETCH(QString, expected);

    const QString rendered = metadata_value_text(value);
    QVERIFY2(expected == null ? rendered.isNull() : !rendered.isNull() && rendered == expected,
             qPrintable("got " + (rendered.isNull() ? null : '"' + rendered + '"')));
}

void tst_metadata_value_text::date_text_ignores_the_process_locale()
{
    // The application object takes the number format from the environment,
    // so an examiner's German desktop must not turn the point into a comma.
    const QByteArray previous = std::setlocale(LC_NUMERIC, nullptr);
    if (!std::setlocale(LC_NUMERIC, "de_DE.UTF-8") && !std::setlocale(LC_NUMERIC, "de_DE.utf8")
        && !std::setlocale(LC_NUMERIC, "de_DE"))
        QSKIP("no German locale on this machine (install and generate de_DE.UTF-8 to run this)");
    char printed[32];
    std::snprintf(printed, sizeof printed, "%f", 0.5);
    const QStringList texts = {printed, metadata_value_text(date(1700000000.75)), metadata_value_text(number(0.5))};
    std::setlocale(LC_NUMERIC, previous.constData());
    // The first shows the locale is in force.
    QCOMPARE(texts, (QStringList{"0,500000", "1700000000", "0.5"}));
}

QTEST_GUILESS_MAIN(tst_metadata_value_text)
#include "tst_metadata_value_text.moc"
