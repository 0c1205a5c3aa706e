#include "importer_process.h"

#include "descriptor_channel.h"
#include "import_protocol.h"

#include <QFile>

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>

extern char **environ;

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

// In the child, between fork and exec: only async-signal-safe calls.
[[noreturn]] void become_importer(const char *program, char *const argv[], int channel, int null_device,
                                  pid_t worker, const ImporterLimits &limits)
{
    // The importer must not outlive the worker, even when the worker is
    // killed; and if the worker is already gone, it must not start at all.
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (::getppid() != worker)
        ::_exit(127);
    // A group of its own, so that whatever it starts is killed with it.
    ::setpgid(0, 0);

    const rlimit address_space = {limits.address_space_bytes, limits.address_space_bytes};
    const rlimit cpu = {limits.cpu_seconds, limits.cpu_seconds};
    const rlimit no_core = {0, 0};
    if (::setrlimit(RLIMIT_AS, &address_space) != 0 || ::setrlimit(RLIMIT_CPU, &cpu) != 0
        || ::setrlimit(RLIMIT_CORE, &no_core) != 0)
        ::_exit(127);

    // A library's chatter must not reach the worker's output, which the
    // host reads.
    if (::dup2(null_device, STDIN_FILENO) < 0 || ::dup2(null_device, STDOUT_FILENO) < 0
        || ::dup2(null_device, STDERR_FILENO) < 0
        || ::dup2(channel, import_protocol::importer_channel_fd) < 0)
        ::_exit(127);
    // Nothing else of the worker (case databases, evidence) reaches it.
    if (::close_range(import_protocol::importer_channel_fd + 1, ~0U, 0) != 0) {
        for (int fd = import_protocol::importer_channel_fd + 1; fd < 65536; ++fd)
            ::close(fd);
    }

    sigset_t none;
    ::sigemptyset(&none);
    ::sigprocmask(SIG_SETMASK, &none, nullptr);
    ::signal(SIGPIPE, SIG_DFL);

    ::execve(program, argv, environ);
    ::_exit(127);
}

} // namespace

ImporterProcess::ImporterProcess(QString executable, ImporterLimits limits)
    : executable_(std::move(executable)), limits_(limits)
{
}

ImporterProcess::~ImporterProcess()
{
    stop();
}

bool ImporterProcess::start()
{
    int ends[2];
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0)
        return false;
    UniqueFd worker_end(ends[0]);
    const UniqueFd importer_end = moved_above_standard(UniqueFd(ends[1]));
    const UniqueFd null_device = moved_above_standard(UniqueFd(::open("/dev/null", O_RDWR | O_CLOEXEC)));
    if (!importer_end || !null_device)
        return false;

    // Everything the child needs is made before fork: after it, only
    // async-signal-safe calls are allowed.
    const QByteArray program = QFile::encodeName(executable_);
    char *const argv[] = {const_cast<char *>(program.constData()), nullptr};
    const pid_t worker = ::getpid();

    const pid_t pid = ::fork();
    if (pid < 0)
        return false;
    if (pid == 0)
        become_importer(program.constData(), argv, importer_end.get(), null_device.get(), worker, limits_);

    // Also from this side, so that the group exists whichever runs first.
    ::setpgid(pid, pid);
    pid_ = pid;
    channel_ = std::move(worker_end);
    files_served_ = 0;
    ++starts_;
    return true;
}

void ImporterProcess::stop()
{
    if (pid_ > 0) {
        ::kill(-pid_, SIGKILL);
        ::kill(pid_, SIGKILL);
        while (::waitpid(pid_, nullptr, 0) < 0 && errno == EINTR) {
        }
    }
    pid_ = -1;
    channel_.reset();
}

std::optional<ImportedValues> ImporterProcess::import(int file, const QString &content_type)
{
    const std::uint32_t sequence = ++sequence_;
    const std::optional<QByteArray> request = import_protocol::encode_request(sequence, content_type);
    if (!request || file < 0)
        return std::nullopt;

    ++requests_;
    if (pid_ < 0 || files_served_ >= limits_.files_per_process || !idle()) {
        stop();
        if (!start())
            return std::nullopt;
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

bool ImporterProcess::idle() const
{
    // Bytes nobody asked for would be read as the next file's answer; a
    // hang-up is an importer that died between files.
    pollfd state = {channel_.get(), POLLIN, 0};
    return ::poll(&state, 1, 0) == 0;
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
