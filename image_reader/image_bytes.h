#ifndef IMAGE_BYTES_H
#define IMAGE_BYTES_H

#include <QByteArray>
#include <QtGlobal>

#include <memory>
#include <vector>

// The bytes of a volume image, from wherever they come: a raw image file,
// the media of an E01 image, or one partition of either.
class ImageBytes
{
public:
    virtual ~ImageBytes() = default;
    // How many bytes there are.
    virtual qint64 size() const = 0;
    // Reads up to length bytes from offset into buffer; the number read, 0
    // at or past the end, -1 on a failure.
    qint64 read_at(char *buffer, qint64 length, qint64 offset) const
    {
        if (offset < 0 || length < 0)
            return -1;
        if (offset >= size())
            return 0;
        return read_within(buffer, qMin(length, size() - offset), offset);
    }

protected:
    // Reads length bytes from offset, a range that lies wholly within the
    // bytes; the number read, -1 on a failure.
    virtual qint64 read_within(char *buffer, qint64 length, qint64 offset) const = 0;
};

// The bytes of a raw image file or block device, read through the
// descriptor fd handed to the reader (which it does not own).
std::shared_ptr<const ImageBytes> file_bytes(int fd);

// Bytes held in memory: a crafted volume, in a test or a fuzz target.
std::shared_ptr<const ImageBytes> memory_bytes(QByteArray bytes);

// The bytes of whole from offset, for size bytes (cut at whole's end): a partition.
std::shared_ptr<const ImageBytes> window_bytes(std::shared_ptr<const ImageBytes> whole, qint64 offset, qint64 size);

// The media data of an E01 image whose segment files (in order) are the
// descriptors segments; nullptr when libewf cannot open them as one.
std::shared_ptr<const ImageBytes> ewf_media_bytes(const std::vector<int> &segments);

// Whether the first bytes of a file are an E01 segment's signature.
bool is_ewf_segment(const ImageBytes &bytes);

#endif // IMAGE_BYTES_H
