#include "spotlight_byte_source.h"

#include <algorithm>

namespace {

// A store file read where a page asks, so nothing is read ahead of what
// a page needs. Where the file has holes, the ranges of stored data are
// learnt once, so that pages listed in a hole are known to be damage
// without reading their zeros.
class ObjectSource : public SpotlightByteSource
{
public:
    explicit ObjectSource(std::unique_ptr<EvidenceObject> file)
        : file_(std::move(file)), size_(qint64(file_->facts().size.value_or(0)))
    {
    }
    qint64 size() const override { return size_; }
    QByteArray read(qint64 offset, qint64 length) override
    {
        if (offset < 0 || length <= 0 || offset >= size_)
            return QByteArray();
        return file_->read_at(offset, qMin(length, size_ - offset));
    }
    bool reads_concurrently() const override { return file_->reads_concurrently(); }
    bool holds_data(qint64 offset, qint64 length) override
    {
        if (offset < 0 || length < 0 || length > size_ - offset)
            return false;
        if (!ranges_learnt_) {
            ranges_learnt_ = true;
            // A file cut into more pieces than this is treated as holding data throughout.
            ranges_ = file_->data_ranges(max_data_ranges);
        }
        if (!ranges_)
            return true; // the volume tells of no holes
        // The last range starting at or before offset must cover the range.
        auto after = std::upper_bound(ranges_->begin(), ranges_->end(), offset,
                                      [](qint64 at, const std::pair<qint64, qint64> &r) { return at < r.first; });
        if (after == ranges_->begin())
            return false;
        --after;
        return offset + length <= after->second;
    }

private:
    static constexpr int max_data_ranges = 65536;
    const std::unique_ptr<EvidenceObject> file_;
    const qint64 size_;
    bool ranges_learnt_ = false;
    std::optional<std::vector<std::pair<qint64, qint64>>> ranges_; // [start, end) of stored data
};

class MemorySource : public SpotlightByteSource
{
public:
    explicit MemorySource(QByteArray bytes) : bytes_(std::move(bytes)) {}
    qint64 size() const override { return bytes_.size(); }
    QByteArray read(qint64 offset, qint64 length) override
    {
        if (offset < 0 || length <= 0 || offset >= bytes_.size())
            return QByteArray();
        return bytes_.mid(qsizetype(offset), qsizetype(qMin(length, bytes_.size() - offset)));
    }
    bool reads_concurrently() const override { return true; }

private:
    QByteArray bytes_;
};

} // namespace

std::unique_ptr<SpotlightByteSource> SpotlightByteSource::from_object(std::unique_ptr<EvidenceObject> file)
{
    if (!file)
        return nullptr;
    return std::make_unique<ObjectSource>(std::move(file));
}

std::unique_ptr<SpotlightByteSource> SpotlightByteSource::from_bytes(QByteArray bytes)
{
    return std::make_unique<MemorySource>(std::move(bytes));
}

