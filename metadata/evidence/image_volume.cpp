#include "image_volume.h"

#include "content/importer_location.h"

#include <QFile>
#include <QFileInfo>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace {

using image_protocol::Kind;
using image_protocol::Request;

// Opens name in folder for reading without moving its access time; where
// the kernel won't keep it (an examiner who does not own the file), only on
// a mount that records no access times. Only a regular file is kept.
UniqueFd open_evidence_file(int folder, const QByteArray &name)
{
    const int flags = O_RDONLY | O_NONBLOCK | O_NOCTTY | O_NOFOLLOW | O_CLOEXEC;
    UniqueFd file(::openat(folder, name.constData(), flags | O_NOATIME));
    if (!file && errno == EPERM) {
        file.reset(::openat(folder, name.constData(), flags));
        struct statvfs mount = {};
        if (file && (::fstatvfs(file.get(), &mount) != 0 || (mount.f_flag & (ST_RDONLY | ST_NOATIME)) == 0))
            file.reset();
    }
    struct stat status = {};
    if (file && (::fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode)))
        file.reset();
    return file;
}

// The name of the segment that follows number (0 is .E01) with the
// extension's first letter first: E01 … E99, then EAA … EZZ, FAA ….
QByteArray segment_extension(int number, char first)
{
    if (number < 99)
        return QByteArray(1, first) + QByteArray::number(number + 1).rightJustified(2, '0');
    const int letters = number - 99;
    const bool lower = first >= 'a';
    const char base = lower ? 'a' : 'A';
    const int first_letter = (first - base) + letters / (26 * 26);
    if (first_letter >= 26)
        return QByteArray();
    return QByteArray(1, char(base + first_letter)) + char(base + (letters / 26) % 26) + char(base + letters % 26);
}

bool starts_as_ewf(int file)
{
    static const char signature[8] = {'E', 'V', 'F', '\x09', '\x0d', '\x0a', '\xff', '\x00'};
    char first[8] = {};
    return ::pread(file, first, sizeof first, 0) == sizeof first && std::memcmp(first, signature, sizeof first) == 0;
}

// One object of the image, as the reader last described it.
class ImageObject : public EvidenceObject
{
public:
    ImageObject(std::shared_ptr<ImageReaderProcess> reader, QByteArray path, bool follow_links, FileFacts facts)
        : reader_(std::move(reader)), path_(std::move(path)), follow_links_(follow_links), facts_(std::move(facts))
    {
    }

    const FileFacts &facts() const override { return facts_; }
    // Reading an image moves no access time of the volume's objects.
    bool readable() const override { return facts_.is_regular_file || facts_.is_directory; }

    QByteArray read_at(qint64 offset, qint64 length) const override
    {
        if (!facts_.is_regular_file || offset < 0 || length <= 0)
            return QByteArray();
        QByteArray content;
        while (content.size() < length) {
            const qint64 wanted = qMin<qint64>(length - content.size(), image_protocol::max_read_size);
            const std::optional<QByteArray> part = ask(Kind::Read, {}, quint64(offset + content.size()), quint32(wanted));
            if (!part)
                break;
            content.append(part->left(qsizetype(wanted)));
            // The reader fills what it is asked for but at the file's end:
            // a short answer ends the reading, however long the file.
            if (part->size() < wanted)
                break;
        }
        return content;
    }

    std::optional<std::vector<std::pair<qint64, qint64>>> data_ranges(int) const override { return std::nullopt; }
    // The reader answers by the path asked, and does not yet say where the
    // path led: the row keeps the stored path.
    std::optional<QByteArray> location() const override { return std::nullopt; }

    std::optional<QList<QByteArray>> entries(int max_entries) const override
    {
        if (!facts_.is_directory || max_entries < 0)
            return std::nullopt;
        const std::optional<QByteArray> payload = ask(Kind::Entries, {}, 0, quint32(max_entries));
        if (!payload)
            return std::nullopt;
        return image_protocol::decode_names(*payload, max_entries);
    }

    std::optional<qint64> entry_count(qint64 limit) const override
    {
        if (limit < 0 || limit >= (1 << 20))
            return std::nullopt;
        const std::optional<QList<QByteArray>> names = entries(int(limit) + 1);
        if (!names || names->size() > limit)
            return std::nullopt;
        return names->size();
    }

    std::optional<QByteArray> attribute_names() const override
    {
        if (!names_asked_) {
            names_ = ask(Kind::AttributeNames, {}, 0, 0);
            names_asked_ = true;
            if (names_ && !names_->isEmpty() && !names_->endsWith('\0'))
                names_.reset();
        }
        return names_;
    }

    std::optional<QByteArray> attribute(QByteArrayView name) const override
    {
        if (name.isEmpty() || name.contains('\0') || name.size() > qsizetype(image_protocol::max_name_size))
            return std::nullopt;
        return ask(Kind::Attribute, name.toByteArray(), 0, 0);
    }

    int content_descriptor() const override
    {
        if (!descriptor_made_) {
            descriptor_made_ = true;
            content_ = sealed_content();
        }
        return content_.get();
    }

private:
    // The payload of the reader's answer about this object; nullopt when
    // it is not there or the reader failed.
    std::optional<QByteArray> ask(Kind kind, QByteArray name, quint64 offset, quint32 length) const
    {
        Request request;
        request.kind = kind;
        request.follow_links = follow_links_;
        request.path = path_;
        request.name = std::move(name);
        request.offset = offset;
        request.length = length;
        std::optional<image_protocol::Answer> answer = reader_->ask(std::move(request));
        if (!answer || !answer->found)
            return std::nullopt;
        return std::move(answer->payload);
    }

    // The file's content in a sealed memory file, for an importer, which is
    // handed descriptors only; none for a file above the size limit.
    UniqueFd sealed_content() const
    {
        if (!facts_.is_regular_file || !facts_.size || *facts_.size > quint64(ImageVolume::max_content_descriptor_size))
            return UniqueFd();
        UniqueFd memory(::memfd_create("vantrel-image-content", MFD_CLOEXEC | MFD_ALLOW_SEALING));
        if (!memory)
            return UniqueFd();
        const qint64 size = qint64(*facts_.size);
        for (qint64 at = 0; at < size;) {
            const qint64 wanted = qMin<qint64>(size - at, image_protocol::max_read_size);
            const QByteArray part = read_at(at, wanted);
            // Content shorter than the file's size is damage: none is handed over.
            if (part.size() != wanted)
                return UniqueFd();
            for (qsizetype written = 0; written < part.size();) {
                const ssize_t got = ::write(memory.get(), part.constData() + written, size_t(part.size() - written));
                if (got < 0 && errno == EINTR)
                    continue;
                if (got <= 0)
                    return UniqueFd();
                written += got;
            }
            at += part.size();
        }
        if (::fcntl(memory.get(), F_ADD_SEALS, F_SEAL_SHRINK | F_SEAL_GROW | F_SEAL_WRITE | F_SEAL_SEAL) != 0
            || ::lseek(memory.get(), 0, SEEK_SET) != 0)
            return UniqueFd();
        return memory;
    }

    const std::shared_ptr<ImageReaderProcess> reader_;
    const QByteArray path_;
    const bool follow_links_;
    const FileFacts facts_;
    mutable bool names_asked_ = false;
    mutable std::optional<QByteArray> names_;
    mutable bool descriptor_made_ = false;
    mutable UniqueFd content_;
};

} // namespace

std::vector<UniqueFd> open_image_files(const QString &path)
{
    std::vector<UniqueFd> files;
    // The host names the image; a link it names is followed to the image
    // itself, whose folder holds the segments that follow it.
    const QString resolved = QFileInfo(path).canonicalFilePath();
    if (resolved.isEmpty())
        return files;
    const QFileInfo image(resolved);
    const QByteArray folder_name = QFile::encodeName(image.absolutePath());
    const QByteArray name = QFile::encodeName(image.fileName());
    const UniqueFd folder(::open(folder_name.constData(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    if (!folder || name.isEmpty() || name.contains('\0'))
        return files;
    UniqueFd first = open_evidence_file(folder.get(), name);
    if (!first)
        return files;
    const bool ewf = starts_as_ewf(first.get());
    files.push_back(std::move(first));
    // Further segments share the first one's name but for the last two
    // characters of its extension, which count on.
    const qsizetype dot = name.lastIndexOf('.');
    if (!ewf || dot < 0 || name.size() - dot != 4)
        return files;
    const QByteArray stem = name.left(dot + 1);
    const char first_letter = name.at(dot + 1);
    for (int number = 1; number < image_protocol::max_image_files; ++number) {
        const QByteArray extension = segment_extension(number, first_letter);
        if (extension.isEmpty())
            break;
        UniqueFd segment = open_evidence_file(folder.get(), stem + extension);
        if (!segment)
            break;
        files.push_back(std::move(segment));
    }
    return files;
}

std::vector<UniqueFd> open_block_device(const QString &path, quint64 device_number)
{
    std::vector<UniqueFd> files;
    // The mount names the device as it was named then, maybe by a link
    // (/dev/mapper/…); the device number says which it must be.
    const QByteArray resolved = QFile::encodeName(QFileInfo(path).canonicalFilePath());
    if (resolved.isEmpty() || !resolved.startsWith("/dev/"))
        return files;
    const int flags = O_RDONLY | O_NONBLOCK | O_NOCTTY | O_NOFOLLOW | O_CLOEXEC;
    UniqueFd device(::open(resolved.constData(), flags | O_NOATIME));
    // The device node's access time is the machine's, not the evidence's.
    if (!device && errno == EPERM)
        device.reset(::open(resolved.constData(), flags));
    struct stat status = {};
    if (device && ::fstat(device.get(), &status) == 0 && S_ISBLK(status.st_mode)
        && quint64(status.st_rdev) == device_number)
        files.push_back(std::move(device));
    return files;
}

ImageVolume::ImageVolume(const QString &image_path, ImageReaderLimits limits, const QString &reader_executable)
    : EvidenceVolume(image_path)
{
    std::vector<UniqueFd> files = open_image_files(image_path);
    open_ = !files.empty();
    reader_ = std::make_shared<ImageReaderProcess>(reader_executable, std::move(files), limits);
}

ImageVolume::ImageVolume(std::vector<UniqueFd> files, const ImageScope &scope, const QString &volume_root,
                         const QString &reader_executable)
    : EvidenceVolume(volume_root)
{
    // A volume placed in the file's raw bytes is one file, never an E01's segments.
    if (scope.places_volume() && files.size() > 1)
        files.resize(1);
    open_ = !files.empty();
    reader_ = std::make_shared<ImageReaderProcess>(reader_executable, std::move(files), ImageReaderLimits(), scope);
}

QString ImageVolume::default_reader_executable()
{
    return helper_executable(QStringLiteral("vantrel-image-reader"));
}

std::optional<FileFacts> ImageVolume::look_at(QByteArrayView relative, Links links) const
{
    Request request;
    request.kind = Kind::Look;
    request.follow_links = links == Links::InsideRoot;
    request.path = relative.toByteArray();
    const std::optional<image_protocol::Answer> answer = open_ ? reader_->ask(std::move(request)) : std::nullopt;
    if (!answer || !answer->found)
        return std::nullopt;
    return image_protocol::decode_facts(answer->payload);
}

std::unique_ptr<EvidenceObject> ImageVolume::open(QByteArrayView relative, Links links) const
{
    std::optional<FileFacts> facts = look_at(relative, links);
    if (!facts)
        return nullptr;
    return std::make_unique<ImageObject>(reader_, relative.toByteArray(), links == Links::InsideRoot, std::move(*facts));
}
