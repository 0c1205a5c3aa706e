// Resolves arbitrary paths through a small volume whose links point where
// the input says, by the kernel and by the component walk: whatever either
// opens must lie beneath the volume root, whatever the links and dot-dots,
// and both must find the same object, which is also what a look opens.

#include "evidence/evidence_root.h"

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QList>
#include <QTemporaryDir>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <unistd.h>

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

// Where an open descriptor really is, as the kernel names it.
QByteArray location(const UniqueFd &fd)
{
    QByteArray target(4096, '\0');
    const QByteArray proc = "/proc/self/fd/" + QByteArray::number(fd.get());
    const ssize_t length = ::readlink(proc.constData(), target.data(), size_t(target.size()));
    return length > 0 ? target.left(length) : QByteArray();
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
    for (const auto links : {EvidenceRoot::Links::InsideRoot, EvidenceRoot::Links::Refused}) {
        QByteArray found[2];
        for (const bool walk : {false, true}) {
            EvidenceRoot::force_component_walk(walk);
            const EvidenceRoot root(QFile::decodeName(volume.root));
            const UniqueFd object = root.open_object(path, links);
            if (!object)
                continue;
            const QByteArray where = location(object);
            if (where != volume.root && !where.startsWith(volume.root + "/"))
                std::abort(); // resolved outside the volume
            found[walk] = where;
            // What one look opens for reading is the object it looked at.
            const std::optional<EvidenceRoot::LookedObject> looked = root.look_and_open(path, links);
            if (looked && looked->opened && location(looked->opened) != where)
                std::abort();
        }
        if (found[0] != found[1])
            std::abort(); // the walk and the kernel disagree
    }
    EvidenceRoot::force_component_walk(false);
    return 0;
}
