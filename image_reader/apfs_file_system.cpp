#include "apfs_file_system.h"

#include "bfio_source.h"
#include "libyal_handle.h"

#include <libfsapfs.h>

#include <cstring>

namespace {

using Error = LibyalError<libfsapfs_error_t, libfsapfs_error_free>;
using Container = LibyalHandle<libfsapfs_container_t, libfsapfs_error_t, libfsapfs_container_free, libfsapfs_error_free>;
using Volume = LibyalHandle<libfsapfs_volume_t, libfsapfs_error_t, libfsapfs_volume_free, libfsapfs_error_free>;
using FileEntry = LibyalHandle<libfsapfs_file_entry_t, libfsapfs_error_t, libfsapfs_file_entry_free, libfsapfs_error_free>;
using Attribute = LibyalHandle<libfsapfs_extended_attribute_t, libfsapfs_error_t, libfsapfs_extended_attribute_free,
                               libfsapfs_error_free>;
using BfioHandle = LibyalHandle<libbfio_handle_t, libbfio_error_t, libbfio_handle_free, libbfio_error_free>;

// APFS keeps its times as nanoseconds since 1970.
double seconds_since_1970(std::int64_t nanoseconds)
{
    return double(nanoseconds / 1000000000) + double(nanoseconds % 1000000000) / 1e9;
}

// A UTF-8 string a libfsapfs call pair gives (its size with the ending
// zero, then the string), without that zero; nullopt when it gives none.
template <typename Handle, typename SizeCall, typename StringCall>
std::optional<QByteArray> utf8_of(Handle *handle, SizeCall size_call, StringCall string_call)
{
    Error error;
    size_t size = 0;
    if (size_call(handle, &size, error.out()) != 1 || size == 0 || size > 64 * 1024)
        return std::nullopt;
    QByteArray text(qsizetype(size), '\0');
    if (string_call(handle, reinterpret_cast<uint8_t *>(text.data()), size, error.out()) != 1)
        return std::nullopt;
    text.truncate(qsizetype(std::strlen(text.constData())));
    return text;
}

// The container and the bfio handle it reads through, kept as long as one
// of its volumes lives.
struct OpenContainer
{
    BfioHandle bytes;
    Container container;

    ~OpenContainer()
    {
        if (container) {
            Error error;
            libfsapfs_container_close(container.get(), error.out());
        }
        container.reset();
    }
};

// One volume, and its container: what every entry of the volume reads
// through, kept as long as one of them lives.
struct OpenVolume
{
    std::shared_ptr<const OpenContainer> container;
    Volume volume;
};

class ApfsEntry : public ImageEntry
{
public:
    ApfsEntry(std::shared_ptr<const OpenVolume> volume, FileEntry entry)
        : volume_(std::move(volume)), entry_(std::move(entry))
    {
    }

    FileFacts facts() const override
    {
        FileFacts facts;
        Error error;
        libfsapfs_file_entry_t *entry = entry_.get();
        uint64_t identifier = 0;
        if (libfsapfs_file_entry_get_identifier(entry, &identifier, error.out()) == 1)
            facts.number = identifier;
        uint16_t mode = 0;
        if (libfsapfs_file_entry_get_file_mode(entry, &mode, error.out()) == 1) {
            facts.mode = mode;
            facts.is_regular_file = (mode & 0170000) == 0100000;
            facts.is_directory = (mode & 0170000) == 0040000;
        }
        size64_t size = 0;
        if (libfsapfs_file_entry_get_size(entry, &size, error.out()) == 1)
            facts.size = size;
        int64_t time = 0;
        if (libfsapfs_file_entry_get_creation_time(entry, &time, error.out()) == 1)
            facts.birth_time = seconds_since_1970(time);
        if (libfsapfs_file_entry_get_modification_time(entry, &time, error.out()) == 1)
            facts.modification_time = seconds_since_1970(time);
        if (libfsapfs_file_entry_get_added_time(entry, &time, error.out()) == 1)
            facts.added_time = seconds_since_1970(time);
        uint32_t id = 0;
        if (libfsapfs_file_entry_get_owner_identifier(entry, &id, error.out()) == 1)
            facts.owner_user_id = id;
        if (libfsapfs_file_entry_get_group_identifier(entry, &id, error.out()) == 1)
            facts.owner_group_id = id;
        return facts;
    }

    std::optional<QByteArray> link_target() const override
    {
        return utf8_of(entry_.get(), libfsapfs_file_entry_get_utf8_symbolic_link_target_size,
                       libfsapfs_file_entry_get_utf8_symbolic_link_target);
    }

    std::unique_ptr<ImageEntry> child(QByteArrayView name) const override
    {
        Error error;
        FileEntry child;
        if (name.isEmpty()
            || libfsapfs_file_entry_get_sub_file_entry_by_utf8_name(
                   entry_.get(), reinterpret_cast<const uint8_t *>(name.data()), size_t(name.size()), child.out(),
                   error.out())
                   != 1)
            return nullptr;
        return std::make_unique<ApfsEntry>(volume_, std::move(child));
    }

    std::optional<QList<QByteArray>> names(int max_entries) const override
    {
        Error error;
        int count = 0;
        if (libfsapfs_file_entry_get_number_of_sub_file_entries(entry_.get(), &count, error.out()) != 1 || count < 0)
            return std::nullopt;
        QList<QByteArray> names;
        for (int index = 0; index < count && names.size() < max_entries; ++index) {
            FileEntry child;
            if (libfsapfs_file_entry_get_sub_file_entry_by_index(entry_.get(), index, child.out(), error.out()) != 1)
                return std::nullopt;
            const std::optional<QByteArray> name =
                utf8_of(child.get(), libfsapfs_file_entry_get_utf8_name_size, libfsapfs_file_entry_get_utf8_name);
            if (!name)
                return std::nullopt;
            names.append(*name);
        }
        return names;
    }

    std::optional<QByteArray> attribute_names() const override
    {
        Error error;
        int count = 0;
        if (libfsapfs_file_entry_get_number_of_extended_attributes(entry_.get(), &count, error.out()) != 1 || count < 0)
            return std::nullopt;
        QByteArray names;
        for (int index = 0; index < count; ++index) {
            Attribute attribute;
            if (libfsapfs_file_entry_get_extended_attribute_by_index(entry_.get(), index, attribute.out(), error.out())
                != 1)
                return std::nullopt;
            const std::optional<QByteArray> name = utf8_of(attribute.get(), libfsapfs_extended_attribute_get_utf8_name_size,
                                                           libfsapfs_extended_attribute_get_utf8_name);
            if (!name)
                return std::nullopt;
            names.append(*name);
            names.append('\0');
        }
        return names;
    }

    std::optional<QByteArray> attribute(QByteArrayView name, qint64 max_size) const override
    {
        Error error;
        Attribute attribute;
        size64_t size = 0;
        if (name.isEmpty()
            || libfsapfs_file_entry_get_extended_attribute_by_utf8_name(
                   entry_.get(), reinterpret_cast<const uint8_t *>(name.data()), size_t(name.size()), attribute.out(),
                   error.out())
                   != 1
            || libfsapfs_extended_attribute_get_size(attribute.get(), &size, error.out()) != 1
            || size > size64_t(max_size))
            return std::nullopt;
        QByteArray content(qsizetype(size), Qt::Uninitialized);
        qsizetype filled = 0;
        while (filled < content.size()) {
            const ssize_t got = libfsapfs_extended_attribute_read_buffer_at_offset(
                attribute.get(), content.data() + filled, size_t(content.size() - filled), off64_t(filled), error.out());
            if (got <= 0)
                return std::nullopt;
            filled += got;
        }
        return content;
    }

    std::optional<QByteArray> read(qint64 offset, qint64 length) const override
    {
        Error error;
        QByteArray content(qsizetype(length), Qt::Uninitialized);
        const ssize_t got = libfsapfs_file_entry_read_buffer_at_offset(entry_.get(), content.data(), size_t(length),
                                                                      off64_t(offset), error.out());
        if (got < 0)
            return std::nullopt;
        content.truncate(qsizetype(got));
        return content;
    }

private:
    const std::shared_ptr<const OpenVolume> volume_;
    const FileEntry entry_;
};

class ApfsVolume : public ImageFileSystem
{
public:
    ApfsVolume(std::shared_ptr<const OpenVolume> volume, QByteArray name)
        : volume_(std::move(volume)), name_(std::move(name))
    {
    }

    QByteArray name() const override { return name_; }

    std::unique_ptr<ImageEntry> root() const override
    {
        Error error;
        FileEntry root;
        if (libfsapfs_volume_get_root_directory(volume_->volume.get(), root.out(), error.out()) != 1)
            return nullptr;
        return std::make_unique<ApfsEntry>(volume_, std::move(root));
    }

private:
    const std::shared_ptr<const OpenVolume> volume_;
    const QByteArray name_;
};

std::shared_ptr<const OpenContainer> open_container(const std::shared_ptr<const ImageBytes> &bytes)
{
    auto open = std::make_shared<OpenContainer>();
    Error error;
    *open->bytes.out() = new_bfio_handle(bytes);
    if (!open->bytes || libfsapfs_container_initialize(open->container.out(), error.out()) != 1
        || libfsapfs_container_open_file_io_handle(open->container.get(), open->bytes.get(), LIBFSAPFS_OPEN_READ,
                                                   error.out())
               != 1) {
        open->container.reset();
        return nullptr;
    }
    return open;
}

} // namespace

bool holds_apfs_container(const ImageBytes &bytes)
{
    char magic[4] = {};
    return bytes.read_at(magic, sizeof magic, 32) == sizeof magic && std::memcmp(magic, "NXSB", 4) == 0;
}

std::vector<std::unique_ptr<ImageFileSystem>> apfs_volumes(std::shared_ptr<const ImageBytes> bytes,
                                                           std::uint32_t only_volume)
{
    std::vector<std::unique_ptr<ImageFileSystem>> volumes;
    const std::shared_ptr<const OpenContainer> container = open_container(bytes);
    if (!container)
        return volumes;
    Error error;
    int count = 0;
    if (libfsapfs_container_get_number_of_volumes(container->container.get(), &count, error.out()) != 1)
        return volumes;
    // A container holds at most 100 volumes.
    for (int index = 0; index < count && index < 100; ++index) {
        // A volume is numbered by its place in the container, locked ones included.
        if (only_volume != 0 && std::uint32_t(index) + 1 != only_volume)
            continue;
        auto open = std::make_shared<OpenVolume>();
        open->container = container;
        if (libfsapfs_container_get_volume_by_index(container->container.get(), index, open->volume.out(), error.out()) != 1)
            continue;
        // An encrypted volume without its key shows nothing but its name.
        if (libfsapfs_volume_is_locked(open->volume.get(), error.out()) != 0)
            continue;
        const std::optional<QByteArray> name =
            utf8_of(open->volume.get(), libfsapfs_volume_get_utf8_name_size, libfsapfs_volume_get_utf8_name);
        volumes.push_back(std::make_unique<ApfsVolume>(open, name.value_or(QByteArray())));
    }
    return volumes;
}
