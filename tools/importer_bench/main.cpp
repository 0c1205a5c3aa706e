// Times the worker's side of the importer process: one file's round trip
// on a running importer, and the start of a fresh one.
//
//   vantrel-importer-bench IMPORTER FILE [ROUNDS [CONTENT_TYPE]]

#include "content/importer_process.h"

#include <QFile>

#include <fcntl.h>

#include <chrono>
#include <cstdio>

namespace {

// Microseconds per file over rounds files, each process serving
// files_per_process of them.
double microseconds_per_file(const QString &importer, int file, const QString &content_type, int rounds,
                             int files_per_process)
{
    ImporterLimits limits;
    limits.files_per_process = files_per_process;
    ImporterProcess process(importer, limits);
    // The first start (loading the importer's libraries from disk) is not
    // what a run pays per file.
    process.import(file, content_type);
    const auto begin = std::chrono::steady_clock::now();
    int failed = 0;
    for (int i = 0; i < rounds; ++i)
        failed += process.import(file, content_type) ? 0 : 1;
    const auto spent = std::chrono::steady_clock::now() - begin;
    if (failed)
        std::fprintf(stderr, "%d of %d files failed\n", failed, rounds);
    return std::chrono::duration<double, std::micro>(spent).count() / rounds;
}

} // namespace

int main(int argc, char **argv)
{
    if (argc < 3) {
        std::fprintf(stderr, "usage: %s IMPORTER FILE [ROUNDS [CONTENT_TYPE]]\n", argv[0]);
        return 2;
    }
    const QString importer = QFile::decodeName(argv[1]);
    const int rounds = argc > 3 ? std::atoi(argv[3]) : 2000;
    const QString content_type = argc > 4 ? QString::fromUtf8(argv[4]) : QStringLiteral("com.adobe.pdf");
    const UniqueFd file(::open(argv[2], O_RDONLY | O_CLOEXEC));
    if (!file) {
        std::perror(argv[2]);
        return 1;
    }
    const double round_trip = microseconds_per_file(importer, file.get(), content_type, rounds, rounds + 1);
    const double with_restart = microseconds_per_file(importer, file.get(), content_type, rounds / 10, 1);
    std::printf("round trip: %.1f us per file\n", round_trip);
    std::printf("restart: %.1f us per start (round trip on a fresh process: %.1f us)\n",
                with_restart - round_trip, with_restart);
    return 0;
}
