#ifndef IMAGE_READER_LOOP_H
#define IMAGE_READER_LOOP_H

#include "image_protocol.h"
#include "image_file_system.h"
#include "image_scope.h"

#include <QByteArray>

#include <deque>
#include <map>
#include <set>
#include <memory>
#include <utility>
#include <vector>

// The folders found lately, by the folder they are in and their name.
class FolderCache
{
public:
    using Node = std::shared_ptr<const ImageEntry>;
    // The folder called name in folder, when it is known.
    Node child(const ImageEntry *folder, const QByteArray &name) const;
    // Whether object is a folder held here.
    bool holds(const ImageEntry *object) const;
    // Keeps child, the folder called name in folder; the oldest goes beyond max_folders.
    void add(const Node &folder, const QByteArray &name, const Node &child);

    static constexpr std::size_t max_folders = 4096;

private:
    std::map<std::pair<const ImageEntry *, QByteArray>, std::pair<Node, Node>> children_;
    std::set<const ImageEntry *> folders_;
    std::deque<std::pair<const ImageEntry *, QByteArray>> order_;
};

// Answers the worker's requests about the volumes of one image. With one
// volume, paths start at its root; with several, a path's first component
// is a volume's name, and the image's root lists those names. With a
// folder (the part of the volume a mount's source folder shows), paths
// start at that folder instead, and neither ".." nor a link leaves it.
class ImageReader
{
public:
    explicit ImageReader(std::vector<std::unique_ptr<ImageFileSystem>> volumes, QByteArray folder = QByteArray());

    // The answer to one request.
    image_protocol::Answer answer(const image_protocol::Request &request);

    // The object at path, links in the middle of it followed beneath its
    // volume's root when follow_links; nullptr when it can't be reached.
    std::shared_ptr<const ImageEntry> resolve(const QByteArray &path, bool follow_links);

private:
    std::shared_ptr<const ImageEntry> resolve_uncached(const QByteArray &path, bool follow_links);
    // The object at path from the image's own root.
    std::shared_ptr<const ImageEntry> resolve_in_image(const QByteArray &path, bool follow_links);
    // The folder paths start at, looked up once, through no link; nullptr
    // when the image does not hold it as a folder.
    std::shared_ptr<const ImageEntry> folder_root();
    // A volume's root folder, looked up once.
    std::shared_ptr<const ImageEntry> root_of(const ImageFileSystem *volume);

    std::vector<std::unique_ptr<ImageFileSystem>> volumes_;
    const QByteArray folder_;
    bool folder_looked_up_ = false;
    std::shared_ptr<const ImageEntry> folder_root_;
    std::vector<std::pair<const ImageFileSystem *, std::shared_ptr<const ImageEntry>>> roots_;
    FolderCache folders_;
    // The few objects asked about last: the worker asks several things of
    // one object in a row.
    std::deque<std::pair<QByteArray, std::shared_ptr<const ImageEntry>>> recent_;
};

// Serves requests on channel until the worker closes it, about the part
// scope of the image whose files are the descriptors files. Returns the
// exit status.
int run_image_reader(int channel, const std::vector<int> &files, const ImageScope &scope = {});

#endif // IMAGE_READER_LOOP_H
