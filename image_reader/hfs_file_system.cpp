#include "hfs_file_system.h"

#include "bfio_source.h"
#include "hfs_attributes.h"
#include "hfs_catalog.h"
#include "libyal_handle.h"

#include <libfshfs.h>

#include <cstring>

namespace {

using Error = LibyalError<libfshfs_error_t, libfshfs_error_free>;
using Volume = LibyalHandle<libfshfs_volume_t, libfshfs_error_t, libfshfs_volume_free, libfshfs_error_free>;
using FileEntry = LibyalHandle<libfshfs_file_entry_t, libfshfs_error_t, libfshfs_file_entry_free, libfshfs_error_free>;
using Attribute = LibyalHandle<libfshfs_extended_attribute_t, libfshfs_error_t, libfshfs_extended_attribute_free,
                               libfshfs_error_free>;
using BfioHandle = LibyalHandle<libbfio_handle_t, libbfio_error_t, libbfio_handle_free, libbfio_error_free>;

// HFS+ counts seconds from 1904-01-01 UTC; this many of them passed by 1970.
constexpr double seconds_1904_to_1970 = 2082844800.0;

// A UTF-8 string a libfshfs call pair gives, without its ending zero.
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

// The root's two folders that hold hard links' files and folders, which
// macOS never lists (libfshfs spells their four zero characters as U+2400).
bool is_private_folder(const QByteArray &name)
{
    return name == "\xe2\x90\x80\xe2\x90\x80\xe2\x90\x80\xe2\x90\x80HFS+ Private Data"
           || name == ".HFS+ Private Directory Data\r";
}

// The volume and the bfio handle it reads through, kept as long as one of
// its entries lives.
struct OpenVolume
{
    std::shared_ptr<const ImageBytes> image;
    BfioHandle bytes;
    Volume volume;

    ~OpenVolume()
    {
        if (volume) {
            Error error;
            libfshfs_volume_close(volume.get(), error.out());
        }
        volume.reset();
    }
};

class HfsEntry : public ImageEntry
{
public:
    HfsEntry(std::shared_ptr<const OpenVolume> volume, FileEntry entry, QByteArray path)
        : volume_(std::move(volume)), entry_(std::move(entry)), path_(std::move(path))
    {
    }

    FileFacts facts() const override
    {
        FileFacts facts;
        Error error;
        libfshfs_file_entry_t *entry = entry_.get();
        uint32_t number = 0;
        if (libfshfs_file_entry_get_identifier(entry, &number, error.out()) == 1)
            facts.number = number;
        uint16_t mode = 0;
        if (libfshfs_file_entry_get_file_mode(entry, &mode, error.out()) == 1) {
            facts.mode = mode;
            facts.is_regular_file = (mode & 0170000) == 0100000;
            facts.is_directory = (mode & 0170000) == 0040000;
        }
        size64_t size = 0;
        if (libfshfs_file_entry_get_size(entry, &size, error.out()) == 1)
            facts.size = size;
        uint32_t time = 0;
        if (libfshfs_file_entry_get_creation_time(entry, &time, error.out()) == 1 && time != 0)
            facts.birth_time = double(time) - seconds_1904_to_1970;
        if (libfshfs_file_entry_get_modification_time(entry, &time, error.out()) == 1 && time != 0)
            facts.modification_time = double(time) - seconds_1904_to_1970;
        int32_t added = 0;
        if (libfshfs_file_entry_get_added_time(entry, &added, error.out()) == 1 && added != 0)
            facts.added_time = double(added);
        uint32_t id = 0;
        if (libfshfs_file_entry_get_owner_identifier(entry, &id, error.out()) == 1)
            facts.owner_user_id = id;
        if (libfshfs_file_entry_get_group_identifier(entry, &id, error.out()) == 1)
            facts.owner_group_id = id;
        return facts;
    }

    std::optional<QByteArray> link_target() const override
    {
        return utf8_of(entry_.get(), libfshfs_file_entry_get_utf8_symbolic_link_target_size,
                       libfshfs_file_entry_get_utf8_symbolic_link_target);
    }

    std::unique_ptr<ImageEntry> child(QByteArrayView name) const override
    {
        // libfshfs (20201104) finds no entry by its name in a folder, but
        // finds it by its path from the root: the path walked so far.
        if (name.isEmpty() || name.contains('/'))
            return nullptr;
        const QByteArray path = path_ + '/' + name.toByteArray();
        Error error;
        FileEntry child;
        if (libfshfs_volume_get_file_entry_by_utf8_path(volume_->volume.get(), reinterpret_cast<const uint8_t *>(path.constData()),
                                                        size_t(path.size()), child.out(), error.out())
            != 1)
            return nullptr;
        return std::make_unique<HfsEntry>(volume_, std::move(child), path);
    }

    std::optional<QList<QByteArray>> names(int max_entries) const override
    {
        Error error;
        int count = 0;
        if (libfshfs_file_entry_get_number_of_sub_file_entries(entry_.get(), &count, error.out()) != 1 || count < 0)
            return std::nullopt;
        QList<QByteArray> names;
        for (int index = 0; index < count && names.size() < max_entries; ++index) {
            FileEntry child;
            if (libfshfs_file_entry_get_sub_file_entry_by_index(entry_.get(), index, child.out(), error.out()) != 1)
                return std::nullopt;
            const std::optional<QByteArray> name =
                utf8_of(child.get(), libfshfs_file_entry_get_utf8_name_size, libfshfs_file_entry_get_utf8_name);
            if (!name)
                return std::nullopt;
            if (path_.isEmpty() && is_private_folder(*name))
                continue;
            names.append(*name);
        }
        return names;
    }

    std::optional<QByteArray> attribute_names() const override
    {
        Error error;
        int count = 0;
        if (libfshfs_file_entry_get_number_of_extended_attributes(entry_.get(), &count, error.out()) != 1 || count < 0)
            return std::nullopt;
        QByteArray names;
        bool finder_info_listed = false;
        bool resource_fork_listed = false;
        for (int index = 0; index < count; ++index) {
            Attribute attribute;
            if (libfshfs_file_entry_get_extended_attribute_by_index(entry_.get(), index, attribute.out(), error.out()) != 1)
                return std::nullopt;
            const std::optional<QByteArray> name = utf8_of(attribute.get(), libfshfs_extended_attribute_get_utf8_name_size,
                                                           libfshfs_extended_attribute_get_utf8_name);
            if (!name)
                return std::nullopt;
            finder_info_listed = finder_info_listed || *name == finder_info_name;
            resource_fork_listed = resource_fork_listed || *name == resource_fork_name;
            names.append(*name);
            names.append('\0');
        }
        // macOS shows the catalog record's Finder information as an
        // attribute of its own, unless it is all zeros, and so a file's
        // resource fork, unless it is empty or holds compressed content.
        if (!finder_info_listed && finder_info()) {
            names.append(finder_info_name);
            names.append('\0');
        }
        if (!resource_fork_listed && resource_fork()) {
            names.append(resource_fork_name);
            names.append('\0');
        }
        return names;
    }

    std::optional<QByteArray> attribute(QByteArrayView name, qint64 max_size) const override
    {
        // libfshfs (20201104) names a file's attributes but gives none of
        // their content: the Finder information and the resource fork are
        // read from the catalog, every other attribute from the attributes
        // B-tree.
        if (name == QByteArrayView(finder_info_name)) {
            const std::optional<QByteArray> info = finder_info();
            return info && info->size() <= max_size ? info : std::nullopt;
        }
        if (name == QByteArrayView(resource_fork_name)) {
            const std::optional<HfsFork> fork = resource_fork();
            return fork ? fork->content(*volume_->image, max_size) : std::nullopt;
        }
        const std::optional<std::uint32_t> id = identifier();
        return id ? hfs_attribute(*volume_->image, *id, name, max_size) : std::nullopt;
    }

    std::optional<QByteArray> read(qint64 offset, qint64 length) const override
    {
        Error error;
        QByteArray content(qsizetype(length), Qt::Uninitialized);
        const ssize_t got = libfshfs_file_entry_read_buffer_at_offset(entry_.get(), content.data(), size_t(length),
                                                                     off64_t(offset), error.out());
        if (got < 0)
            return std::nullopt;
        content.truncate(qsizetype(got));
        return content;
    }

private:
    static constexpr const char *finder_info_name = "com.apple.FinderInfo";
    static constexpr const char *resource_fork_name = "com.apple.ResourceFork";

    // The catalog node ID; nullopt when libfshfs can't tell it.
    std::optional<std::uint32_t> identifier() const
    {
        Error error;
        uint32_t number = 0;
        if (libfshfs_file_entry_get_identifier(entry_.get(), &number, error.out()) != 1)
            return std::nullopt;
        return number;
    }

    // The object's catalog record, read once.
    const std::optional<HfsCatalogEntry> &catalog_entry() const
    {
        if (!catalog_entry_read_) {
            catalog_entry_read_ = true;
            if (const std::optional<std::uint32_t> id = identifier())
                catalog_entry_ = hfs_catalog_entry(*volume_->image, *id);
        }
        return catalog_entry_;
    }

    // The catalog record's Finder information as macOS shows it; nullopt
    // when it holds nothing or can't be read.
    std::optional<QByteArray> finder_info() const
    {
        const std::optional<HfsCatalogEntry> &entry = catalog_entry();
        if (!entry || entry->finder_info.size() != 32)
            return std::nullopt;
        // The extended part's document ID, date added and write counter
        // read as zeros (the date added is a fact of its own), and Finder
        // information of nothing but zeros is none.
        QByteArray shown = entry->finder_info;
        shown.replace(16, 8, QByteArray(8, '\0'));
        shown.replace(28, 4, QByteArray(4, '\0'));
        if (shown == QByteArray(shown.size(), '\0'))
            return std::nullopt;
        return shown;
    }

    // The file's resource fork as macOS shows it: none when empty, and none
    // for a compressed file, whose fork holds its compressed content.
    std::optional<HfsFork> resource_fork() const
    {
        const std::optional<HfsCatalogEntry> &entry = catalog_entry();
        if (!entry || !entry->resource_fork || entry->resource_fork->size() == 0 || entry->compressed)
            return std::nullopt;
        return entry->resource_fork;
    }

    const std::shared_ptr<const OpenVolume> volume_;
    const FileEntry entry_;
    mutable bool catalog_entry_read_ = false;
    mutable std::optional<HfsCatalogEntry> catalog_entry_;
    // From the volume's root, "" for the root itself.
    const QByteArray path_;
};

class HfsVolume : public ImageFileSystem
{
public:
    explicit HfsVolume(std::shared_ptr<const OpenVolume> volume) : volume_(std::move(volume)) {}

    QByteArray name() const override
    {
        return utf8_of(volume_->volume.get(), libfshfs_volume_get_utf8_name_size, libfshfs_volume_get_utf8_name)
            .value_or(QByteArray());
    }

    std::unique_ptr<ImageEntry> root() const override
    {
        Error error;
        FileEntry root;
        if (libfshfs_volume_get_root_directory(volume_->volume.get(), root.out(), error.out()) != 1)
            return nullptr;
        return std::make_unique<HfsEntry>(volume_, std::move(root), QByteArray());
    }

private:
    const std::shared_ptr<const OpenVolume> volume_;
};

} // namespace

bool holds_hfs_volume(const ImageBytes &bytes)
{
    char signature[2] = {};
    return bytes.read_at(signature, sizeof signature, 1024) == sizeof signature
           && (std::memcmp(signature, "H+", 2) == 0 || std::memcmp(signature, "HX", 2) == 0);
}

std::unique_ptr<ImageFileSystem> hfs_volume(std::shared_ptr<const ImageBytes> bytes)
{
    auto open = std::make_shared<OpenVolume>();
    Error error;
    open->image = bytes;
    *open->bytes.out() = new_bfio_handle(std::move(bytes));
    if (!open->bytes || libfshfs_volume_initialize(open->volume.out(), error.out()) != 1
        || libfshfs_volume_open_file_io_handle(open->volume.get(), open->bytes.get(), LIBFSHFS_OPEN_READ, error.out())
               != 1) {
        open->volume.reset();
        return nullptr;
    }
    return std::make_unique<HfsVolume>(open);
}
