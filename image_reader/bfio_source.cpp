#include "bfio_source.h"

#include <cstdio>

namespace {

// What one handle reads, and where it stands.
struct Source
{
    std::shared_ptr<const ImageBytes> bytes;
    qint64 position = 0;
};

Source *source_of(intptr_t *io_handle)
{
    return reinterpret_cast<Source *>(io_handle);
}

int free_source(intptr_t **io_handle, libbfio_error_t **)
{
    delete reinterpret_cast<Source *>(*io_handle);
    *io_handle = nullptr;
    return 1;
}

int clone_source(intptr_t **destination, intptr_t *source, libbfio_error_t **)
{
    if (!source) {
        *destination = nullptr;
        return 1;
    }
    *destination = reinterpret_cast<intptr_t *>(new Source{source_of(source)->bytes, 0});
    return 1;
}

int open_source(intptr_t *io_handle, int access_flags, libbfio_error_t **)
{
    // The evidence is only ever read.
    if ((access_flags & LIBBFIO_ACCESS_FLAG_WRITE) != 0 || !io_handle)
        return -1;
    source_of(io_handle)->position = 0;
    return 1;
}

int close_source(intptr_t *, libbfio_error_t **)
{
    return 0;
}

ssize_t read_source(intptr_t *io_handle, uint8_t *buffer, size_t size, libbfio_error_t **)
{
    Source *source = source_of(io_handle);
    const qint64 got = source->bytes->read_at(reinterpret_cast<char *>(buffer), qint64(size), source->position);
    if (got < 0)
        return -1;
    source->position += got;
    return ssize_t(got);
}

ssize_t write_source(intptr_t *, const uint8_t *, size_t, libbfio_error_t **)
{
    return -1;
}

off64_t seek_source(intptr_t *io_handle, off64_t offset, int whence, libbfio_error_t **)
{
    Source *source = source_of(io_handle);
    qint64 from = 0;
    if (whence == SEEK_CUR)
        from = source->position;
    else if (whence == SEEK_END)
        from = source->bytes->size();
    else if (whence != SEEK_SET)
        return -1;
    if ((offset > 0 && from > INT64_MAX - offset) || from + offset < 0)
        return -1;
    source->position = from + offset;
    return off64_t(source->position);
}

int source_exists(intptr_t *, libbfio_error_t **)
{
    return 1;
}

int source_is_open(intptr_t *, libbfio_error_t **)
{
    return 1;
}

int source_size(intptr_t *io_handle, size64_t *size, libbfio_error_t **)
{
    *size = size64_t(source_of(io_handle)->bytes->size());
    return 1;
}

} // namespace

libbfio_handle_t *new_bfio_handle(std::shared_ptr<const ImageBytes> bytes)
{
    if (!bytes)
        return nullptr;
    auto *source = new Source{std::move(bytes), 0};
    libbfio_handle_t *handle = nullptr;
    libbfio_error_t *error = nullptr;
    if (libbfio_handle_initialize(&handle, reinterpret_cast<intptr_t *>(source), free_source, clone_source,
                                  open_source, close_source, read_source, write_source, seek_source, source_exists,
                                  source_is_open, source_size,
                                  LIBBFIO_FLAG_IO_HANDLE_MANAGED | LIBBFIO_FLAG_IO_HANDLE_CLONE_BY_FUNCTION,
                                  &error)
        != 1) {
        if (error)
            libbfio_error_free(&error);
        delete source;
        return nullptr;
    }
    return handle;
}
