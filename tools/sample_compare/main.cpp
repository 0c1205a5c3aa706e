// vantrel-compare: what the worker's suppliers give sample files, against
// what an examiner expects (from mdls on a Mac, say). Wiring only.

#include "expected_values.h"
#include "metadata_store.h"
#include "sample_comparison.h"

#include <QCoreApplication>
#include <QFile>
#include <QTextStream>

namespace {

const char usage[] =
    "usage: vantrel-compare SAMPLES EXPECTED\n"
    "\n"
    "Reads every file named in EXPECTED beneath the folder SAMPLES as the worker\n"
    "does (the volume's own index if SAMPLES holds one, the files' attributes and\n"
    "facts, their content through vantrel-importer beside this tool) and prints\n"
    "each value that differs from the expected one.\n"
    "\n"
    "EXPECTED is UTF-8 text. A line \"[path]\" names a file (its path beneath\n"
    "SAMPLES); each \"key = value\" line after it is one of its values, written\n"
    "as the worker stores it in the result database: numbers as text, dates in\n"
    "seconds since 1970, lists joined by \";\", and (null) for no value. Blank\n"
    "lines and lines starting with # are skipped. For example:\n"
    "\n"
    "    [Documents/notes.md]\n"
    "    kMDItemContentType = net.daringfireball.markdown\n"
    "    kMDItemFSHasCustomIcon = (null)\n"
    "\n"
    "Exit status: 0 when every value is as expected, 1 when some differ or a\n"
    "file is missing, 2 for bad arguments or an unreadable EXPECTED.\n";

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication application(argc, argv);
    QTextStream out(stdout);
    QTextStream err(stderr);
    const QStringList arguments = application.arguments().mid(1);
    if (arguments.size() != 2) {
        err << usage;
        return 2;
    }
    QFile expected_file(arguments[1]);
    if (!expected_file.open(QIODevice::ReadOnly)) {
        err << "vantrel-compare: cannot read " << arguments[1] << "\n";
        return 2;
    }
    QString error;
    const std::optional<QList<ExpectedFile>> expected = parse_expected_values(expected_file.readAll(), &error);
    if (!expected) {
        err << "vantrel-compare: " << arguments[1] << ": " << error << "\n";
        return 2;
    }
    QString samples = arguments[0];
    while (samples.size() > 1 && samples.endsWith(QLatin1Char('/')))
        samples.chop(1);
    const std::unique_ptr<MetadataStore> store = create_platform_metadata_store(samples);
    const QStringList differences = differing_values(*store, samples, *expected);
    for (const QString &difference : differences)
        out << difference << "\n";
    return differences.isEmpty() ? 0 : 1;
}
