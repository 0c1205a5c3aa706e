#include "image_reader_process.h"

#include "descriptor_channel.h"
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

// Descriptors the child arranges from: above every place it fills, so that
// placing one never overwrites another.
constexpr int first_spare_fd = image_protocol::first_image_fd + image_protocol::max_image_files + 1;

UniqueFd moved_above_places(int fd)
{
    return UniqueFd(::fcntl(fd, F_DUPFD_CLOEXEC, first_spare_fd));
}

// Whether nothing waits on socket: bytes nobody asked for would be read as
// the next answer.
bool quiet(int socket)
{
    pollfd state = {socket, POLLIN, 0};
    return ::poll(&state, 1, 0) == 0;
}

} // namespace

ImageReaderProcess::ImageReaderProcess(QString executable, std::vector<UniqueFd> image_files, ImageReaderLimits limits,
                                       ImageScope scope)
    : executable_(std::move(executable)), image_files_(std::move(image_files)), limits_(limits),
      scope_(std::move(scope))
{
}

ImageReaderProcess::~ImageReaderProcess()
{
    stop();
}

bool ImageReaderProcess::start()
{
    if (executable_.isEmpty() || image_files_.empty()
        || image_files_.size() > std::size_t(image_protocol::max_image_files))
        return false;
    int ends[2];
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0)
        return false;
    UniqueFd worker_end(ends[0]);
    const UniqueFd reader_end = moved_above_places(ends[1]);
    ::close(ends[1]);
    const UniqueFd opened_null(::open("/dev/null", O_RDWR | O_CLOEXEC));
    const UniqueFd null_device = opened_null ? moved_above_places(opened_null.get()) : UniqueFd();
    std::vector<UniqueFd> moved;
    std::vector<int> files;
    for (const UniqueFd &file : image_files_) {
        moved.push_back(moved_above_places(file.get()));
        if (!moved.back())
            return false;
        files.push_back(moved.back().get());
    }
    if (!reader_end || !null_device)
        return false;

    // Everything the child needs is made before fork.
    const QByteArray program = QFile::encodeName(executable_);
    const QByteArray count = QByteArray::number(qulonglong(files.size()));
    // The whole image goes by its count alone; a part of it by its scope too.
    const QList<QByteArray> scope = scope_ == ImageScope() ? QList<QByteArray>() : image_scope::arguments(scope_);
    std::vector<char *> argv = {const_cast<char *>(program.constData()), const_cast<char *>(count.constData())};
    for (const QByteArray &argument : scope)
        argv.push_back(const_cast<char *>(argument.constData()));
    argv.push_back(nullptr);
    // Nothing of the worker's environment reaches a process that reads hostile images.
    char *const environment[] = {nullptr};
    // The channel becomes the reader's channel descriptor, the image files
    // the ones after it.
    static_assert(image_protocol::reader_channel_fd == 3 && image_protocol::first_image_fd == 4);
    std::vector<int> places = {reader_end.get()};
    places.insert(places.end(), files.begin(), files.end());
    const pid_t worker = ::getpid();
    const pid_t pid = ::fork();
    if (pid < 0)
        return false;
    if (pid == 0)
        become_isolated_child({program.constData(), argv.data(), environment, places.data(), int(places.size()),
                               null_device.get(), worker, limits_.address_space_bytes, limits_.cpu_seconds});
    ::setpgid(pid, pid);
    pid_ = pid;
    channel_ = std::move(worker_end);
    ++starts_;
    return true;
}

void ImageReaderProcess::stop()
{
    channel_.reset();
    if (pid_ <= 0)
        return;
    ::kill(-pid_, SIGKILL);
    ::kill(pid_, SIGKILL);
    while (::waitpid(pid_, nullptr, 0) < 0 && errno == EINTR) {
    }
    pid_ = -1;
}

std::optional<image_protocol::Answer> ImageReaderProcess::ask(image_protocol::Request request)
{
    const std::lock_guard<std::mutex> one_at_a_time(asking_);
    if (given_up())
        return std::nullopt;
    request.sequence = ++sequence_;
    const std::optional<QByteArray> bytes = image_protocol::encode_request(request);
    if (!bytes)
        return std::nullopt;
    if (pid_ > 0 && !quiet(channel_.get()))
        stop();
    std::optional<image_protocol::Answer> answer;
    if ((pid_ > 0 || start()) && descriptor_channel::send(channel_.get(), *bytes))
        answer = read_answer(request.sequence);
    if (!answer) {
        stop();
        ++failures_;
        return std::nullopt;
    }
    failures_ = 0;
    return answer;
}

std::optional<image_protocol::Answer> ImageReaderProcess::read_answer(std::uint32_t sequence)
{
    using descriptor_channel::ReadOutcome;
    const auto deadline = std::chrono::steady_clock::now() + limits_.time_per_request;
    char length[4];
    if (descriptor_channel::read_exactly(channel_.get(), length, sizeof length, deadline) != ReadOutcome::Complete)
        return std::nullopt;
    const std::optional<std::uint32_t> size = image_protocol::decode_frame_length(QByteArrayView(length, sizeof length));
    if (!size)
        return std::nullopt;
    QByteArray body(qsizetype(*size), Qt::Uninitialized);
    if (descriptor_channel::read_exactly(channel_.get(), body.data(), body.size(), deadline) != ReadOutcome::Complete)
        return std::nullopt;
    std::optional<image_protocol::Answer> answer = image_protocol::decode_answer(body);
    if (!answer || answer->sequence != sequence)
        return std::nullopt;
    return answer;
}
