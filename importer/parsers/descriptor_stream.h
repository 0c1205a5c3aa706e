#ifndef DESCRIPTOR_STREAM_H
#define DESCRIPTOR_STREAM_H

#include <QtGlobal>

#include <taglib/tiostream.h>

// An open file, read through its descriptor by position, for the audio
// tag library; it can never write, and never reads past the file's end.
// Its small reads have a budget: a parser that scans a huge file piece by
// piece for a header that is not there finds the end of the file instead,
// while a large tag is still read whole.
class DescriptorStream : public TagLib::IOStream
{
public:
    DescriptorStream(int fd, qint64 scan_budget);

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
    qint64 scan_budget_left_;
};

#endif // DESCRIPTOR_STREAM_H
