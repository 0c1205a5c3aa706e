// An importer for tests: the file's own first lines say what it gives or
// how it misbehaves, so that a test lays out hostile behaviour as files.
//
//   kMDItemTitle=text    a text value        kMDItemFNumber#2.8   a number
//   kMDItemX@1700000000  a date              kMDItemX[a,b]        an array of texts
//   sleep / spin         never answers (asleep, or burning CPU)
//   crash / abort        dies by SIGSEGV or SIGABRT
//   garbage / lie        answers an oversized length, or a malformed body
//   memory               allocates until the address space runs out
//   forge                sends a second answer nobody asked for
//   kill-spawner         kills the spawner that forked it (and so itself)
//   stop-spawner         stops the spawner that forked it, then never answers
//   chatter              prints on its standard streams before answering
//   limits               gives its own limits, foreign descriptors and
//                        whether it can be attached to
//   served               gives how many files this process has read
//   trespass             tries what its sandbox refuses (open a file by
//                        name, make a socket, start a program or a process,
//                        write elsewhere than its channel, signal its
//                        spawner) and gives the error of each, 0 for success;
//                        started by exec, it also has a thread it started
//                        before the sandbox try to open a file
//
// Started under a name ending in "silent-spawner" it never answers the
// worker at all; under one ending in "threaded-spawner" it holds a thread,
// so that its importers are started again by exec.

#include "importer_spawner.h"
#include "import_protocol.h"
#include "spawn_protocol.h"
#include "unique_fd.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <atomic>
#include <cstring>
#include <thread>
#include <vector>

namespace {

QByteArray head_of(int file)
{
    QByteArray head(4096, '\0');
    const ssize_t got = ::pread(file, head.data(), std::size_t(head.size()), 0);
    head.resize(got > 0 ? qsizetype(got) : 0);
    return head;
}

// Descriptors open besides the standard ones, the channel and the file,
// found by asking each one's position: no listing of /proc is open to a
// confined importer.
int foreign_descriptors(int file)
{
    int count = 0;
    for (int fd = import_protocol::importer_channel_fd + 1; fd < 1024; ++fd) {
        if (fd != file && (::lseek(fd, 0, SEEK_CUR) >= 0 || errno != EBADF))
            ++count;
    }
    return count;
}

// Sleeps for good, as a confined importer may (pause() is not among its calls).
[[noreturn]] void never_answer()
{
    for (;;)
        std::this_thread::sleep_for(std::chrono::seconds(1));
}

// The error a refused call left, 0 when it was allowed.
double outcome(long result)
{
    return result < 0 ? errno : 0;
}

// A thread started before the sandbox, as a library may start one at load,
// that tries to open a file by name every millisecond; the error of its
// latest try, 0 for success; -1 until it tries again; -2 when never started.
std::atomic<int> bystander_error{-2};

void start_bystander()
{
    bystander_error = -1;
    std::thread([] {
        for (;;) {
            const int opened = ::open("/etc/passwd", O_RDONLY | O_CLOEXEC);
            bystander_error = opened < 0 ? errno : 0;
            if (opened >= 0)
                ::close(opened);
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    }).detach();
    // Returns once it runs: one still starting would be caught by the sandbox halfway through its start.
    while (bystander_error.load() == -1)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
}

// The error of a try begun once the sandbox held: the second try after asking.
int bystander_try()
{
    for (int tries = 0; tries < 2; ++tries) {
        for (bystander_error = -1; bystander_error.load() == -1;)
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return bystander_error;
}

// What the sandbox refuses, tried; each key holds the error it gave.
ImportedValues trespass(pid_t spawner)
{
    ImportedValues tried;
    const auto record = [&tried](const char *key, double error) {
        tried.emplace_back(QString::fromLatin1(key), MetadataValue::from_number(error));
    };
    const UniqueFd opened(::open("/etc/passwd", O_RDONLY | O_CLOEXEC));
    record("open", outcome(opened.get()));
    const UniqueFd socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    record("socket", outcome(socket.get()));
    char *const argv[] = {const_cast<char *>("true"), nullptr};
    record("execve", outcome(::execve("/bin/true", argv, argv + 1)));
    const pid_t child = ::fork();
    if (child == 0)
        ::_exit(0);
    record("fork", outcome(child));
    record("write", outcome(::write(STDERR_FILENO, "x", 1)));
    record("signal", outcome(::kill(spawner, 0)));
    if (bystander_error != -2)
        record("open-elsewhere", bystander_try());
    if (child > 0)
        ::waitpid(child, nullptr, 0);
    return tried;
}

class ScriptedImporter : public ContentImporter
{
public:
    // Made before the importer is confined, which may refuse to tell.
    ScriptedImporter() : dumpable(::prctl(PR_GET_DUMPABLE)), spawner(::getppid())
    {
        ::getrlimit(RLIMIT_AS, &address_space);
        ::getrlimit(RLIMIT_CORE, &core);
    }

    QString name() const override { return QStringLiteral("scripted"); }
    bool reads(const QString &) const override { return true; }
    QStringList keys() const override { return {}; }

    ImportedValues import(int file, const QString &) const override
    {
        ++served;
        ImportedValues values;
        const QList<QByteArray> lines = head_of(file).split('\n');
        for (const QByteArray &raw : lines) {
            const QByteArray line = raw.trimmed();
            if (line == "sleep") {
                never_answer();
            } else if (line == "spin") {
                for (volatile unsigned long n = 0;; n = n + 1) {
                }
            } else if (line == "crash") {
                std::raise(SIGSEGV);
            } else if (line == "abort") {
                std::abort();
            } else if (line == "garbage") {
                ::write(import_protocol::importer_channel_fd, "\xff\xff\xff\xffgarbage", 11);
                never_answer();
            } else if (line == "lie") {
                // A plausible length, then a body that does not hold together.
                ::write(import_protocol::importer_channel_fd, "\x0b\0\0\0\x01\0\0\0\x01\0X\x09\0\0\0", 15);
                never_answer();
            } else if (line == "forge") {
                const QByteArray forged = import_protocol::encode_answer(
                    0, {{"kMDItemTitle", MetadataValue::from_text(QStringLiteral("forged"))}});
                ::write(import_protocol::importer_channel_fd, forged.constData(), std::size_t(forged.size()));
            } else if (line == "kill-spawner") {
                ::kill(spawner, SIGKILL);
                never_answer();
            } else if (line == "stop-spawner") {
                ::kill(spawner, SIGSTOP);
                never_answer();
            } else if (line == "memory") {
                // Each block is written to, so that none can be optimised away.
                std::vector<char *> blocks;
                for (;;) {
                    volatile char *block = new char[64 << 20];
                    block[0] = 1;
                    blocks.push_back(const_cast<char *>(block));
                }
            } else if (line == "chatter") {
                std::fputs("importer chatter on stdout\n", stdout);
                std::fputs("importer chatter on stderr\n", stderr);
                std::fflush(nullptr);
            } else if (line == "limits") {
                values.emplace_back("kMDItemPixelWidth", MetadataValue::from_number(double(address_space.rlim_max)));
                values.emplace_back("kMDItemPixelHeight", MetadataValue::from_number(double(core.rlim_max)));
                values.emplace_back("kMDItemNumberOfPages", MetadataValue::from_number(foreign_descriptors(file)));
                values.emplace_back("kMDItemDurationSeconds", MetadataValue::from_number(dumpable));
            } else if (line == "trespass") {
                values = trespass(spawner);
            } else if (line == "served") {
                values.emplace_back("kMDItemNumberOfPages", MetadataValue::from_number(served));
            } else if (const int at = line.indexOf('='); at > 0) {
                values.emplace_back(QString::fromUtf8(line.left(at)), MetadataValue::from_text(QString::fromUtf8(line.mid(at + 1))));
            } else if (const int at = line.indexOf('#'); at > 0) {
                values.emplace_back(QString::fromUtf8(line.left(at)), MetadataValue::from_number(line.mid(at + 1).toDouble()));
            } else if (const int at = line.indexOf('@'); at > 0) {
                values.emplace_back(QString::fromUtf8(line.left(at)), MetadataValue::from_date(line.mid(at + 1).toDouble()));
            } else if (const int at = line.indexOf('['); at > 0 && line.endsWith(']')) {
                std::vector<MetadataValue> items;
                for (const QByteArray &item : line.mid(at + 1).chopped(1).split(','))
                    items.push_back(MetadataValue::from_text(QString::fromUtf8(item)));
                values.emplace_back(QString::fromUtf8(line.left(at)), MetadataValue::from_array(std::move(items)));
            }
        }
        return values;
    }

private:
    mutable int served = 0;
    const int dumpable;
    const pid_t spawner;
    rlimit address_space = {}, core = {};
};

ContentImporters scripted_importers()
{
    ContentImporters importers;
    importers.push_back(std::make_unique<ScriptedImporter>());
    return importers;
}

} // namespace

int main(int argc, char *argv[])
{
    if (argc == 2 && std::strcmp(argv[1], importer_only_argument) == 0) {
        start_bystander();
        return run_exec_started_importer(scripted_importers);
    }
    const QByteArray name = argv[0];
    if (name.endsWith("silent-spawner")) {
        for (;;)
            ::pause();
    }
    std::thread held;
    if (name.endsWith("threaded-spawner"))
        held = std::thread([] { ::pause(); });
    const int status = run_importer_spawner(spawn_protocol::control_fd, scripted_importers);
    ::_exit(status);
}
