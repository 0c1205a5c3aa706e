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
//   read-all             reads the whole file, then gives its size
//   chatter              prints on its standard streams before answering
//   limits               gives its own limits, foreign descriptors and
//                        whether it can be attached to
//   served               gives how many files this process has read

#include "importer_spawner.h"
#include "importers/import_protocol.h"
#include "importers/spawn_protocol.h"

#include <dirent.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
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

// Descriptors open besides the standard ones, the channel, the file and
// the listing itself.
int foreign_descriptors(int file)
{
    DIR *listing = ::opendir("/proc/self/fd");
    if (!listing)
        return -1;
    int count = 0;
    while (const dirent *entry = ::readdir(listing)) {
        const int fd = std::atoi(entry->d_name);
        if (entry->d_name[0] == '.' || fd <= import_protocol::importer_channel_fd || fd == file
            || fd == ::dirfd(listing))
            continue;
        ++count;
    }
    ::closedir(listing);
    return count;
}

class ScriptedImporter : public ContentImporter
{
public:
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
                for (;;)
                    std::this_thread::sleep_for(std::chrono::seconds(1));
            } else if (line == "spin") {
                for (volatile unsigned long n = 0;; n = n + 1) {
                }
            } else if (line == "crash") {
                std::raise(SIGSEGV);
            } else if (line == "abort") {
                std::abort();
            } else if (line == "garbage") {
                ::write(import_protocol::importer_channel_fd, "\xff\xff\xff\xffgarbage", 11);
                ::pause();
            } else if (line == "lie") {
                // A plausible length, then a body that does not hold together.
                ::write(import_protocol::importer_channel_fd, "\x0b\0\0\0\x01\0\0\0\x01\0X\x09\0\0\0", 15);
                ::pause();
            } else if (line == "forge") {
                const QByteArray forged = import_protocol::encode_answer(
                    0, {{"kMDItemTitle", MetadataValue::from_text(QStringLiteral("forged"))}});
                ::write(import_protocol::importer_channel_fd, forged.constData(), std::size_t(forged.size()));
            } else if (line == "kill-spawner") {
                ::kill(::getppid(), SIGKILL);
                ::pause();
            } else if (line == "stop-spawner") {
                ::kill(::getppid(), SIGSTOP);
                ::pause();
            } else if (line == "memory") {
                // Each block is written to, so that none can be optimised away.
                std::vector<char *> blocks;
                for (;;) {
                    volatile char *block = new char[64 << 20];
                    block[0] = 1;
                    blocks.push_back(const_cast<char *>(block));
                }
            } else if (line == "read-all") {
                static char buffer[1 << 20];
                double total = 0;
                for (ssize_t got; (got = ::pread(file, buffer, sizeof buffer, off_t(total))) > 0;)
                    total += double(got);
                values.emplace_back("kMDItemNumberOfPages", MetadataValue::from_number(total));
            } else if (line == "chatter") {
                std::fputs("importer chatter on stdout\n", stdout);
                std::fputs("importer chatter on stderr\n", stderr);
                std::fflush(nullptr);
            } else if (line == "limits") {
                rlimit address_space = {}, core = {};
                ::getrlimit(RLIMIT_AS, &address_space);
                ::getrlimit(RLIMIT_CORE, &core);
                values.emplace_back("kMDItemPixelWidth", MetadataValue::from_number(double(address_space.rlim_max)));
                values.emplace_back("kMDItemPixelHeight", MetadataValue::from_number(double(core.rlim_max)));
                values.emplace_back("kMDItemNumberOfPages", MetadataValue::from_number(foreign_descriptors(file)));
                values.emplace_back("kMDItemDurationSeconds", MetadataValue::from_number(::prctl(PR_GET_DUMPABLE)));
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
};

} // namespace

int main()
{
    return run_importer_spawner(spawn_protocol::control_fd, [] {
        ContentImporters importers;
        importers.push_back(std::make_unique<ScriptedImporter>());
        return importers;
    });
}
