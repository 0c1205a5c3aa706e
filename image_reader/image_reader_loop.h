#ifndef IMAGE_READER_LOOP_H
#define IMAGE_READER_LOOP_H

#include "evidence/image_protocol.h"
#include "image_file_system.h"

#include <QByteArray>

#include <deque>
#include <memory>
#include <utility>
#include <vector>

// Answers the worker's requests about the volumes of one image. With one
// volume, paths start at its root; with several, a path's first component
// is a volume's name, and the image's root lists those names.
class ImageReader
{
public:
    explicit ImageReader(std::vector<std::unique_ptr<ImageFileSystem>> volumes);

    // The answer to one request.
    image_protocol::Answer answer(const image_protocol::Request &request);

    // The object at path, links in the middle of it followed beneath its
    // volume's root when follow_links; nullptr when it can't be reached.
    std::shared_ptr<const ImageEntry> resolve(const QByteArray &path, bool follow_links);

private:
    std::shared_ptr<const ImageEntry> resolve_uncached(const QByteArray &path, bool follow_links);

    std::vector<std::unique_ptr<ImageFileSystem>> volumes_;
    // The few objects asked about last: the worker asks several things of
    // one object in a row.
    std::deque<std::pair<QByteArray, std::shared_ptr<const ImageEntry>>> recent_;
};

// Serves requests on channel until the worker closes it, about the image
// whose files are the descriptors files. Returns the exit status.
int run_image_reader(int channel, const std::vector<int> &files);

#endif // IMAGE_READER_LOOP_H
