#ifndef DESCRIPTOR_STREAM_H
#define DESCRIPTOR_STREAM_H

#include <taglib/tiostream.h>

// An open file, read through its descriptor by position, for the audio
// tag library; it can never write, and never reads past the file's end.
class DescriptorStream : public TagLib::IOStream
{
public:
    explicit DescriptorStream(int fd);

    TagLib::FileName name() const override;
    TagLib::ByteVector readBlock(unsigned long length) override;
    void writeBlock(const TagLib::ByteVector &data) override;
    void insert(const TagLib::ByteVector &data, unsigned long start = 0, unsigned long replace = 0) override;
    void removeBlock(unsigned long start = 0, unsigned long length = 0) override;
    bool readOnly() const override;
    bool isOpen() const override;
    void seek(long offset, Position position = Beginning) override;
    long tell() const override;
    long length() override;
    void truncate(long length) override;

private:
    int fd_;
    long size_;
    long position_ = 0;
};

#endif // DESCRIPTOR_STREAM_H
