// vantrel-spotlight-store: writes a synthetic Spotlight store of many items
// into a volume folder, or times the worker's reading of a volume's index.

#include "synthetic_volume_index.h"

#include "spotlight_index/spotlight_volume_index.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QTextStream>

#include <sys/resource.h>

namespace {

const char store_folder[] = ".Spotlight-V100/Store-V2/00000000-0000-4000-8000-000000000000";

qint64 peak_kib()
{
    struct rusage usage = {};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss;
}

// Processor time used so far: on a shared machine it says more than the clock.
qint64 cpu_ms()
{
    struct rusage usage = {};
    getrusage(RUSAGE_SELF, &usage);
    const auto ms = [](const timeval &time) { return qint64(time.tv_sec) * 1000 + time.tv_usec / 1000; };
    return ms(usage.ru_utime) + ms(usage.ru_stime);
}

int write_store(const QCommandLineParser &options, const QString &volume, QTextStream &out)
{
    SyntheticVolumeIndex shape;
    bool ok = true;
    shape.items = options.value("items").toLongLong(&ok);
    if (!ok || shape.items < 1)
        return 2;
    shape.samples = options.value("samples").toInt(&ok);
    if (!ok || shape.samples < 0)
        return 2;
    if (options.isSet("zlib"))
        shape.compression = synthetic_spotlight::Compression::Zlib;

    const QString folder = QDir(volume).filePath(store_folder);
    if (!QDir().mkpath(folder))
        return 1;
    SyntheticVolumeResult result;
    if (!write_synthetic_volume_index(shape, folder + "/store.db", result))
        return 1;
    out << "# store " << folder << "/store.db: " << result.items << " items (" << result.folders << " folders), "
        << result.record_bytes << " bytes of records in " << result.store_bytes << " bytes\n";
    for (const QString &path : qAsConst(result.sample_paths)) {
        // The sample files exist on the volume, so that a case can record them.
        if (options.isSet("write-samples")) {
            const QString file = volume + path;
            QDir().mkpath(QFileInfo(file).absolutePath());
            QFile touched(file);
            if (!touched.open(QIODevice::WriteOnly))
                return 1;
        }
        out << path << "\n";
    }
    return 0;
}

int time_load(const QString &volume, const QStringList &paths, QTextStream &out)
{
    QElapsedTimer timer;
    const qint64 cpu_before = cpu_ms();
    timer.start();
    // Read whole: every store scanned and every item placed.
    auto index = SpotlightVolumeIndex::read(volume);
    const qsizetype items = index ? index->item_count() : 0;
    const qint64 load_ms = timer.elapsed();
    const qint64 load_cpu_ms = cpu_ms() - cpu_before;
    int found = 0;
    for (const QString &path : paths)
        found += index && index->record(path) ? 1 : 0;
    out << "items " << items << " load_ms " << load_ms << " load_cpu_ms " << load_cpu_ms << " lookups_ms "
        << timer.elapsed() - load_ms << " found " << found << "/" << paths.size() << " peak_kib " << peak_kib()
        << "\n";
    return index ? 0 : 1;
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication application(argc, argv);
    QCommandLineParser options;
    options.setApplicationDescription("Writes a synthetic Spotlight store into VOLUME, or times reading it.");
    options.addHelpOption();
    options.addOptions({
        {"items", "Items in the store.", "N", "100000"},
        {"zlib", "zlib pages (default: LZ4, as macOS 12 writes them)."},
        {"samples", "Print the paths of K files spread over the store.", "K", "0"},
        {"write-samples", "Create those files (empty) on the volume."},
        {"load", "Instead of writing, time reading VOLUME's index and looking up PATH..."},
    });
    options.addPositionalArgument("VOLUME", "The volume folder.");
    options.addPositionalArgument("PATH", "With --load: paths relative to the volume to look up.", "[PATH...]");
    options.process(application);
    QStringList arguments = options.positionalArguments();
    QTextStream out(stdout);
    if (arguments.isEmpty()) {
        options.showHelp(2);
    }
    const QString volume = arguments.takeFirst();
    const int status = options.isSet("load") ? time_load(volume, arguments, out) : write_store(options, volume, out);
    if (status == 2)
        QTextStream(stderr) << "vantrel-spotlight-store: bad argument\n";
    return status;
}
