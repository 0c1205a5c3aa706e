#ifndef IMPORTER_PROCESS_H
#define IMPORTER_PROCESS_H

#include "imported_values.h"
#include "unique_fd.h"

#include <QString>

#include <sys/types.h>

#include <chrono>
#include <cstdint>
#include <optional>

// What one importer process may spend. The time limit bounds every wait:
// for a file's values, and for the spawner to start or end an importer
// (which a healthy one does in milliseconds); the others stop a runaway
// decoder before it hurts the examiner's machine.
struct ImporterLimits
{
    std::chrono::milliseconds time_per_file{2000};
    quint64 address_space_bytes = quint64(2) << 30;
    // Whole-process backstop behind the time limit; the process is replaced
    // after files_per_process files, long before honest work reaches it.
    quint64 cpu_seconds = 300;
    int files_per_process = 128;
    // Importers that could not be had (the executable does not start, the
    // spawner does not answer) this many times in a row are not asked for
    // again in the run: each attempt may cost the time limit, and a fault of
    // the host does not mend between files. A file that crashes or hangs
    // its importer does not count.
    int failed_starts_before_giving_up = 3;
};

// The isolated importer processes, seen from the worker: a spawner started
// on first need forks each importer, which is handed one open file at a
// time and replaced whenever it fails. They die with the worker and never
// outlive this object.
class ImporterProcess
{
public:
    ImporterProcess(QString executable, ImporterLimits limits = {});
    ~ImporterProcess();
    ImporterProcess(const ImporterProcess &) = delete;
    ImporterProcess &operator=(const ImporterProcess &) = delete;

    // The values the importer reads from the open regular file (passed as
    // it is, never reopened by name) of that content type. nullopt when the
    // importer crashed, hung, exceeded a limit or answered garbage; it is
    // then killed and reaped, and the next call starts a fresh one. nullopt
    // at once, with nothing started or asked, once importers could not be
    // had too often in a row.
    std::optional<ImportedValues> import(int file, const QString &content_type);

    // How many importers were started so far.
    int starts() const { return starts_; }
    // How many files were handed over, or meant to be, so far.
    int requests() const { return requests_; }
    // Whether importers are no longer asked for in this run.
    bool given_up() const { return failed_starts_ >= limits_.failed_starts_before_giving_up; }

private:
    // Starts a fresh importer, and the spawner first when there is none.
    bool start();
    // Kills and reaps the running importer, if any.
    void stop();
    bool start_spawner();
    // Kills and reaps the spawner, and with it any importer.
    void stop_spawner();
    // The spawner's answer to request (sent with passed, when >= 0), within
    // the time limit; nullopt when it failed to give one.
    std::optional<pid_t> ask_spawner(const QByteArray &request, int passed = -1);
    // The answer to request sequence, just sent, within the time limit.
    std::optional<ImportedValues> read_answer(std::uint32_t sequence);

    const QString executable_;
    const ImporterLimits limits_;
    pid_t spawner_ = -1;
    UniqueFd control_;
    pid_t pid_ = -1;
    UniqueFd channel_;
    int files_served_ = 0;
    int starts_ = 0;
    // Starts that failed since the last one that worked.
    int failed_starts_ = 0;
    int requests_ = 0;
    std::uint32_t sequence_ = 0;
};

#endif // IMPORTER_PROCESS_H
