#include "importer_process.h"

#include "descriptor_channel.h"
#include "import_protocol.h"
#include "spawn_protocol.h"

#include "isolated_child.h"

#include <QFile>

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

namespace {

// Descriptors the child arranges from; above the few it sets up, so that
// placing one never overwrites another.
constexpr int first_spare_fd = 10;

UniqueFd moved_above_standard(UniqueFd fd)
{
    if (!fd)
        return fd;
    return UniqueFd(::fcntl(fd.get(), F_DUPFD_CLOEXEC, first_spare_fd));
}

// Whether nothing waits on socket: bytes nobody asked for would be read as
// the next answer, and a hang-up is a peer that died in between.
bool quiet(int socket)
{
    pollfd state = {socket, POLLIN, 0};
    return ::poll(&state, 1, 0) == 0;
}

} // namespace

ImporterProcess::ImporterProcess(QString executable, ImporterLimits limits)
    : executable_(std::move(executable)), limits_(limits)
{
}

ImporterProcess::~ImporterProcess()
{
    channel_.reset();
    // An orderly end: at the end of its control stream the spawner kills
    // and reaps its importers, then exits, leaving no orphan for others to
    // reap. One that does not in time is killed.
    if (spawner_ > 0 && ::shutdown(control_.get(), SHUT_WR) == 0) {
        char ignored = 0;
        descriptor_channel::read_exactly(control_.get(), &ignored, 1,
                                         std::chrono::steady_clock::now() + limits_.time_per_file);
    }
    stop_spawner();
}

bool ImporterProcess::start_spawner()
{
    int ends[2];
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0)
        return false;
    UniqueFd worker_end(ends[0]);
    const UniqueFd spawner_end = moved_above_standard(UniqueFd(ends[1]));
    const UniqueFd null_device = moved_above_standard(UniqueFd(::open("/dev/null", O_RDWR | O_CLOEXEC)));
    if (!spawner_end || !null_device)
        return false;

    // Everything the child needs is made before fork: after it, only
    // async-signal-safe calls are allowed.
    const QByteArray program = QFile::encodeName(executable_);
    char *const argv[] = {const_cast<char *>(program.constData()), nullptr};
    // Nothing of the worker's environment (paths, the examiner's settings,
    // library switches a loader or parser would obey) reaches a process
    // that reads hostile files, but for the examiner's time zone: a
    // camera's time without a zone is read in it, as a Mac reads it in its
    // own. The spawner loads the zone before any importer is confined.
    const QByteArray zone = qEnvironmentVariableIsSet("TZ") ? "TZ=" + qgetenv("TZ") : QByteArray();
    char *const environment[] = {zone.isEmpty() ? nullptr : const_cast<char *>(zone.constData()), nullptr};
    const pid_t worker = ::getpid();

    const pid_t pid = ::fork();
    if (pid < 0)
        return false;
    if (pid == 0) {
        // The limits set here hold for every importer the spawner forks.
        static_assert(spawn_protocol::control_fd == 3);
        const int places[] = {spawner_end.get()};
        become_isolated_child({program.constData(), argv, environment, places, 1, null_device.get(), worker,
                               limits_.address_space_bytes, limits_.cpu_seconds});
    }

    // Also from this side, so that the group exists whichever runs first.
    ::setpgid(pid, pid);
    spawner_ = pid;
    control_ = std::move(worker_end);
    return true;
}

void ImporterProcess::stop_spawner()
{
    // Its importers die with it (their parent-death signal); they are no
    // longer this worker's to name.
    pid_ = -1;
    channel_.reset();
    if (spawner_ > 0) {
        ::kill(-spawner_, SIGKILL);
        ::kill(spawner_, SIGKILL);
        while (::waitpid(spawner_, nullptr, 0) < 0 && errno == EINTR) {
        }
    }
    spawner_ = -1;
    control_.reset();
}

std::optional<pid_t> ImporterProcess::ask_spawner(const QByteArray &request, int passed)
{
    using descriptor_channel::ReadOutcome;
    if (spawner_ < 0 || !quiet(control_.get()) || !descriptor_channel::send(control_.get(), request, passed))
        return std::nullopt;
    // A spawner just started loads its libraries before it answers.
    const auto deadline = std::chrono::steady_clock::now() + limits_.time_per_file;
    char answer[spawn_protocol::answer_size];
    if (descriptor_channel::read_exactly(control_.get(), answer, sizeof answer, deadline) != ReadOutcome::Complete)
        return std::nullopt;
    return spawn_protocol::decode_answer(QByteArrayView(answer, sizeof answer));
}

bool ImporterProcess::start()
{
    if (spawner_ < 0 && !start_spawner())
        return false;
    int ends[2];
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0)
        return false;
    UniqueFd worker_end(ends[0]);
    UniqueFd importer_end(ends[1]);
    const std::optional<pid_t> importer =
        ask_spawner(spawn_protocol::encode_request(spawn_protocol::Kind::Spawn), importer_end.get());
    if (!importer || *importer == spawner_) {
        stop_spawner();
        return false;
    }
    // Only the importer may hold the other end, so that its death ends
    // the stream.
    importer_end.reset();
    pid_ = *importer;
    channel_ = std::move(worker_end);
    files_served_ = 0;
    ++starts_;
    return true;
}

void ImporterProcess::stop()
{
    channel_.reset();
    if (pid_ <= 0)
        return;
    // The importer is the spawner's child, not this worker's: the worker
    // cannot wait for it, and once reaped its pid may name a stranger. So
    // the spawner, which reaps an importer only when asked to end it, is
    // the one to signal it and its group; until then even a dead importer
    // holds its pid. The worker signals only the spawner, its own child;
    // a spawner that does not answer in time is killed, and its importers
    // die with it.
    const pid_t importer = std::exchange(pid_, -1);
    if (ask_spawner(spawn_protocol::encode_request(spawn_protocol::Kind::End, importer)) != importer)
        stop_spawner();
}

std::optional<ImportedValues> ImporterProcess::import(int file, const QString &content_type)
{
    const std::uint32_t sequence = ++sequence_;
    const std::optional<QByteArray> request = import_protocol::encode_request(sequence, content_type);
    if (!request || file < 0 || given_up())
        return std::nullopt;

    ++requests_;
    if (pid_ < 0 || files_served_ >= limits_.files_per_process || !quiet(channel_.get())) {
        stop();
        // Only a start says whether importers can be had at all: what
        // happens after it may be the file's doing.
        if (!start()) {
            ++failed_starts_;
            return std::nullopt;
        }
        failed_starts_ = 0;
    }
    if (!descriptor_channel::send(channel_.get(), *request, file)) {
        stop();
        return std::nullopt;
    }

    std::optional<ImportedValues> values = read_answer(sequence);
    if (!values) {
        stop();
        return std::nullopt;
    }
    ++files_served_;
    return values;
}

std::optional<ImportedValues> ImporterProcess::read_answer(std::uint32_t sequence)
{
    using descriptor_channel::ReadOutcome;
    const auto deadline = std::chrono::steady_clock::now() + limits_.time_per_file;

    char length[import_protocol::length_size];
    if (descriptor_channel::read_exactly(channel_.get(), length, sizeof length, deadline) != ReadOutcome::Complete)
        return std::nullopt;
    const std::optional<std::uint32_t> size = import_protocol::decode_frame_length(QByteArrayView(length, sizeof length));
    if (!size)
        return std::nullopt;
    QByteArray body(qsizetype(*size), Qt::Uninitialized);
    if (descriptor_channel::read_exactly(channel_.get(), body.data(), body.size(), deadline) != ReadOutcome::Complete)
        return std::nullopt;
    std::optional<import_protocol::Answer> answer = import_protocol::decode_answer(body);
    if (!answer || answer->sequence != sequence)
        return std::nullopt;
    return std::move(answer->values);
}
