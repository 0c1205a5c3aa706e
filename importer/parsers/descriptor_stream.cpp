#include "descriptor_stream.h"

#include "descriptor_bytes.h"

#include <algorithm>

namespace {

// No tag or header needs more at once; a length read from a hostile file
// asks for no more memory than this.
constexpr long largest_block = 64L * 1024 * 1024;
// Reads below this size are the pieces of a scan, and count against its
// budget; tags and atoms are read in one larger block each.
constexpr unsigned long scan_piece = 64UL * 1024;

} // namespace

DescriptorStream::DescriptorStream(int fd, qint64 scan_budget)
    : fd_(fd), size_(long(std::max<qint64>(descriptor_size(fd), 0))), scan_budget_left_(scan_budget)
{
}

TagLib::FileName DescriptorStream::name() const
{
    return "";
}

TagLib::ByteVector DescriptorStream::readBlock(unsigned long length)
{
    const bool scanning = length < scan_piece;
    if (scanning && scan_budget_left_ <= 0)
        return TagLib::ByteVector();
    const long wanted = long(std::min<unsigned long>(length, static_cast<unsigned long>(largest_block)));
    const long available = std::max(0L, std::min(wanted, size_ - position_));
    TagLib::ByteVector block(static_cast<unsigned int>(available), '\0');
    const qint64 got = available > 0 ? read_descriptor_at(fd_, position_, block.data(), available) : 0;
    if (got < 0)
        return TagLib::ByteVector();
    block.resize(static_cast<unsigned int>(got));
    position_ += long(got);
    if (scanning)
        scan_budget_left_ -= got;
    return block;
}

void DescriptorStream::writeBlock(const TagLib::ByteVector &) {}

void DescriptorStream::insert(const TagLib::ByteVector &, unsigned long, unsigned long) {}

void DescriptorStream::removeBlock(unsigned long, unsigned long) {}

bool DescriptorStream::readOnly() const
{
    return true;
}

bool DescriptorStream::isOpen() const
{
    return fd_ >= 0;
}

void DescriptorStream::seek(long offset, Position position)
{
    long base = 0;
    switch (position) {
    case Beginning:
        base = 0;
        break;
    case Current:
        base = position_;
        break;
    case End:
        base = size_;
        break;
    }
    // Positions before the start are held at the start; past the end,
    // reads simply find nothing.
    position_ = std::max(0L, base + offset);
}

long DescriptorStream::tell() const
{
    return position_;
}

long DescriptorStream::length()
{
    return size_;
}

void DescriptorStream::truncate(long) {}
