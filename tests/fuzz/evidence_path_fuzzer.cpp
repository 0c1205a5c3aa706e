// Resolves arbitrary paths through a small volume whose links point where
// the input says, by the kernel and by the component walk: whatever either
// finds must lie beneath the volume root, whatever the links and dot-dots,
// and both must find the same object, which is also what an open opens.

#include "evidence/host_folder_volume.h"

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QList>
#include <QTemporaryDir>

#include <sys/stat.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <set>

namespace {

struct Volume
{
    QTemporaryDir dir;
    QByteArray root;
    QList<QByteArray> links;

    Volume()
    {
        QDir().mkpath(dir.filePath("volume/a/b"));
        QDir().mkpath(dir.filePath("outside"));
        QFile(dir.filePath("volume/a/b/file")).open(QIODevice::WriteOnly);
        QFile(dir.filePath("outside/secret")).open(QIODevice::WriteOnly);
        root = QFile::encodeName(QDir(dir.filePath("volume")).canonicalPath());
        links = {root + "/l1", root + "/a/l2", root + "/a/b/l3"};
    }
};

// The numbers of every object on the volume, links included, as they are now.
std::set<std::uint64_t> volume_objects(const QByteArray &root)
{
    std::set<std::uint64_t> numbers;
    for (const char *entry : {"", "/a", "/a/b", "/a/b/file", "/l1", "/a/l2", "/a/b/l3"}) {
        struct stat status = {};
        if (::lstat((root + entry).constData(), &status) == 0)
            numbers.insert(status.st_ino);
    }
    return numbers;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static Volume volume;
    // Lines: three link targets, then the path to resolve.
    const QList<QByteArray> lines = QByteArray(reinterpret_cast<const char *>(data), qsizetype(size)).split('\n');
    for (int i = 0; i < volume.links.size(); ++i) {
        ::unlink(volume.links[i].constData());
        const QByteArray target = i < lines.size() ? lines[i] : QByteArray("a");
        if (!target.isEmpty() && !target.contains('\0'))
            ::symlink(target.constData(), volume.links[i].constData());
    }
    const QByteArray path = lines.size() > 3 ? lines[3] : QByteArray();
    const std::set<std::uint64_t> on_volume = volume_objects(volume.root);
    for (const auto links : {EvidenceVolume::Links::InsideRoot, EvidenceVolume::Links::Refused}) {
        std::optional<std::uint64_t> found[2];
        for (const bool walk : {false, true}) {
            HostFolderVolume::force_component_walk(walk);
            const HostFolderVolume root(QFile::decodeName(volume.root));
            const std::optional<FileFacts> facts = root.look_at(path, links);
            if (!facts)
                continue;
            if (!facts->number || !on_volume.count(*facts->number))
                std::abort(); // resolved outside the volume
            found[walk] = facts->number;
            // What an open opens for reading is the object it looked at.
            const std::unique_ptr<EvidenceObject> opened = root.open(path, links);
            struct stat status = {};
            if (opened && (opened->facts().number != facts->number
                           || (opened->content_descriptor() >= 0
                               && (::fstat(opened->content_descriptor(), &status) != 0
                                   || status.st_ino != *facts->number))))
                std::abort();
        }
        if (found[0] != found[1])
            std::abort(); // the walk and the kernel disagree
    }
    HostFolderVolume::force_component_walk(false);
    return 0;
}
