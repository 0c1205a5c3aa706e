#include "image_bytes.h"

#include "bfio_source.h"
#include "libyal_handle.h"

#include <libewf.h>

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace {

class FileBytes : public ImageBytes
{
public:
    FileBytes(int fd, qint64 size) : fd_(fd), size_(size) {}
    qint64 size() const override { return size_; }
    qint64 read_within(char *buffer, qint64 length, qint64 offset) const override
    {
        qint64 filled = 0;
        while (filled < length) {
            const ssize_t got = ::pread(fd_, buffer + filled, size_t(length - filled), off_t(offset + filled));
            if (got < 0 && errno == EINTR)
                continue;
            if (got < 0)
                return filled > 0 ? filled : -1;
            if (got == 0)
                break;
            filled += got;
        }
        return filled;
    }

private:
    const int fd_;
    const qint64 size_;
};

class MemoryBytes : public ImageBytes
{
public:
    explicit MemoryBytes(QByteArray bytes) : bytes_(std::move(bytes)) {}
    qint64 size() const override { return bytes_.size(); }
    qint64 read_within(char *buffer, qint64 length, qint64 offset) const override
    {
        std::memcpy(buffer, bytes_.constData() + offset, size_t(length));
        return length;
    }

private:
    const QByteArray bytes_;
};

class WindowBytes : public ImageBytes
{
public:
    WindowBytes(std::shared_ptr<const ImageBytes> whole, qint64 offset, qint64 size)
        : whole_(std::move(whole)), offset_(offset), size_(size)
    {
    }
    qint64 size() const override { return size_; }
    qint64 read_within(char *buffer, qint64 length, qint64 offset) const override
    {
        return whole_->read_at(buffer, length, offset_ + offset);
    }

private:
    const std::shared_ptr<const ImageBytes> whole_;
    const qint64 offset_;
    const qint64 size_;
};

using EwfError = LibyalError<libewf_error_t, libewf_error_free>;
using EwfHandle = LibyalHandle<libewf_handle_t, libewf_error_t, libewf_handle_free, libewf_error_free>;
using BfioPool = LibyalHandle<libbfio_pool_t, libbfio_error_t, libbfio_pool_free, libbfio_error_free>;

class EwfMediaBytes : public ImageBytes
{
public:
    EwfMediaBytes(BfioPool pool, EwfHandle handle, qint64 size)
        : pool_(std::move(pool)), handle_(std::move(handle)), size_(size)
    {
    }
    ~EwfMediaBytes() override
    {
        EwfError error;
        libewf_handle_close(handle_.get(), error.out());
        // The handle reads through the pool: it goes first.
        handle_.reset();
    }
    qint64 size() const override { return size_; }
    qint64 read_within(char *buffer, qint64 length, qint64 offset) const override
    {
        EwfError error;
        const ssize_t got =
            libewf_handle_read_random(handle_.get(), buffer, size_t(length), off64_t(offset), error.out());
        return got < 0 ? -1 : qint64(got);
    }

private:
    BfioPool pool_;
    EwfHandle handle_;
    const qint64 size_;
};

} // namespace

std::shared_ptr<const ImageBytes> file_bytes(int fd)
{
    struct stat status = {};
    if (::fstat(fd, &status) != 0)
        return nullptr;
    if (S_ISREG(status.st_mode))
        return std::make_shared<FileBytes>(fd, qint64(status.st_size));
    // A block device (a kernel mount's) tells its size by its end.
    const off_t end = S_ISBLK(status.st_mode) ? ::lseek(fd, 0, SEEK_END) : off_t(-1);
    return end > 0 ? std::make_shared<FileBytes>(fd, qint64(end)) : nullptr;
}

std::shared_ptr<const ImageBytes> memory_bytes(QByteArray bytes)
{
    return std::make_shared<MemoryBytes>(std::move(bytes));
}

std::shared_ptr<const ImageBytes> window_bytes(std::shared_ptr<const ImageBytes> whole, qint64 offset, qint64 size)
{
    if (!whole || offset < 0 || size <= 0 || offset >= whole->size())
        return nullptr;
    return std::make_shared<WindowBytes>(whole, offset, qMin(size, whole->size() - offset));
}

bool is_ewf_segment(const ImageBytes &bytes)
{
    // "EVF", then 09 0d 0a ff 00: the signature of every segment file.
    static const char signature[8] = {'E', 'V', 'F', '\x09', '\x0d', '\x0a', '\xff', '\x00'};
    char first[8] = {};
    return bytes.read_at(first, sizeof first, 0) == sizeof first && std::memcmp(first, signature, sizeof first) == 0;
}

std::shared_ptr<const ImageBytes> ewf_media_bytes(const std::vector<int> &segments)
{
    EwfError error;
    LibyalError<libbfio_error_t, libbfio_error_free> bfio_error;
    BfioPool pool;
    if (segments.empty() || libbfio_pool_initialize(pool.out(), 0, 0, bfio_error.out()) != 1)
        return nullptr;
    for (const int segment : segments) {
        libbfio_handle_t *handle = new_bfio_handle(file_bytes(segment));
        int entry = 0;
        if (!handle)
            return nullptr;
        // The pool owns the handles appended to it.
        if (libbfio_pool_append_handle(pool.get(), &entry, handle, LIBBFIO_OPEN_READ, bfio_error.out()) != 1) {
            libbfio_handle_free(&handle, bfio_error.out());
            return nullptr;
        }
    }
    EwfHandle handle;
    size64_t media_size = 0;
    if (libewf_handle_initialize(handle.out(), error.out()) != 1
        || libewf_handle_open_file_io_pool(handle.get(), pool.get(), LIBEWF_OPEN_READ, error.out()) != 1)
        return nullptr;
    if (libewf_handle_get_media_size(handle.get(), &media_size, error.out()) != 1 || media_size == 0
        || media_size > size64_t(INT64_MAX)) {
        libewf_handle_close(handle.get(), error.out());
        return nullptr;
    }
    return std::make_shared<EwfMediaBytes>(std::move(pool), std::move(handle), qint64(media_size));
}
