#ifndef IMAGE_VOLUME_H
#define IMAGE_VOLUME_H

#include "evidence_volume.h"
#include "image_reader_process.h"

#include <memory>

// An evidence volume read from an image file of it (a raw APFS container
// or HFS+ volume, a raw GPT disk holding them, or an E01 image of any of
// these) rather than through the kernel: what a mount hides (birth times,
// dates added, extended attributes, compressed content) is read from the
// volume's own records. The worker opens the image's files read-only,
// without moving their access times, and hands them to the isolated image
// reader, which parses them; everything it answers is checked here.
class ImageVolume : public EvidenceVolume
{
public:
    // Opens the image at image_path (and, for an E01 image, the segment
    // files beside it) for the reader program reader_executable.
    explicit ImageVolume(const QString &image_path, ImageReaderLimits limits = {},
                         const QString &reader_executable = default_reader_executable());
    // The same for a volume the host names by another root: the folder a
    // mount of the image shows, which is the part scope of the image whose
    // files (opened by open_image_files or open_block_device) are image_files.
    ImageVolume(std::vector<UniqueFd> image_files, const ImageScope &scope, const QString &volume_root,
                const QString &reader_executable = default_reader_executable());

    bool is_open() const override { return open_; }
    std::optional<FileFacts> look_at(QByteArrayView relative, Links links = Links::InsideRoot) const override;
    std::unique_ptr<EvidenceObject> open(QByteArrayView relative, Links links = Links::InsideRoot) const override;

    // The reader, for tests of its starts and failures.
    const ImageReaderProcess &reader() const { return *reader_; }
    // The reader installed beside the worker.
    static QString default_reader_executable();
    // The largest file content handed to an importer.
    static constexpr qint64 max_content_descriptor_size = qint64(256) << 20;

private:
    std::shared_ptr<ImageReaderProcess> reader_;
    bool open_ = false;
};

// The image files of the image at path, opened for reading without moving
// their access times: the image itself and, when it is the first segment
// of an E01 image, the segments that follow it beside it (name.E02 …);
// empty when the image can't be opened so.
std::vector<UniqueFd> open_image_files(const QString &path);

// The block device at path opened for reading, without blocking and never
// for writing, when it is the device numbered device_number (as a mount
// reports it); no descriptor for anything else (a character device, a
// pipe, a socket, a file, another device).
std::vector<UniqueFd> open_block_device(const QString &path, quint64 device_number);

#endif // IMAGE_VOLUME_H
