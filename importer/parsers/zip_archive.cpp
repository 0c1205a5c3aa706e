#include "zip_archive.h"

#include <zip.h>

#include <algorithm>

namespace {

struct FileClose
{
    void operator()(zip_file_t *file) const { zip_fclose(file); }
};

} // namespace

void ZipArchive::Close::operator()(zip *archive) const
{
    // Read only: nothing is written back, whatever the library holds.
    zip_discard(archive);
}

std::optional<ZipArchive> ZipArchive::open(const QByteArray &bytes)
{
    zip_error_t error;
    zip_error_init(&error);
    zip_source_t *source = zip_source_buffer_create(bytes.constData(), zip_uint64_t(bytes.size()), 0, &error);
    zip_error_fini(&error);
    if (!source)
        return std::nullopt;
    zip_error_init(&error);
    zip *archive = zip_open_from_source(source, ZIP_RDONLY, &error);
    zip_error_fini(&error);
    if (!archive) {
        // Not taken over by an archive, so still ours.
        zip_source_free(source);
        return std::nullopt;
    }
    return ZipArchive(archive);
}

std::optional<QByteArray> ZipArchive::entry(const char *name, qint64 limit, qint64 max_ratio) const
{
    const zip_int64_t index = zip_name_locate(archive_.get(), name, 0);
    if (index < 0)
        return std::nullopt;
    zip_stat_t facts;
    zip_stat_init(&facts);
    if (zip_stat_index(archive_.get(), zip_uint64_t(index), 0, &facts) != 0)
        return std::nullopt;
    // The sizes the archive claims are checked first; the read below holds
    // to the limit even when they lie.
    if ((facts.valid & ZIP_STAT_SIZE) && facts.size > zip_uint64_t(limit))
        return std::nullopt;
    if ((facts.valid & ZIP_STAT_SIZE) && (facts.valid & ZIP_STAT_COMP_SIZE)
        && facts.size > zip_uint64_t(max_ratio) * std::max<zip_uint64_t>(facts.comp_size, 1))
        return std::nullopt;

    const std::unique_ptr<zip_file_t, FileClose> file(zip_fopen_index(archive_.get(), zip_uint64_t(index), 0));
    if (!file)
        return std::nullopt;
    QByteArray content(limit + 1, Qt::Uninitialized);
    qint64 filled = 0;
    while (filled <= limit) {
        const zip_int64_t got = zip_fread(file.get(), content.data() + filled, zip_uint64_t(limit + 1 - filled));
        if (got < 0)
            return std::nullopt;
        if (got == 0)
            break;
        filled += got;
    }
    if (filled > limit)
        return std::nullopt;
    content.truncate(filled);
    return content;
}
