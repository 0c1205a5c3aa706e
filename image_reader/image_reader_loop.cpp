#include "image_reader_loop.h"

#include "path_walk.h"
#include "image_volumes.h"
#include "descriptor_channel.h"

#include <set>
#include <tuple>

namespace {

// Folder and file modes of the made-up root above several volumes.
constexpr std::uint32_t listing_mode = 0040555;
// Attribute content above this does not fit one answer.
constexpr qint64 max_attribute_size = image_protocol::max_frame_size - 64;
constexpr std::size_t recent_objects = 4;

// The image's root when it holds several volumes: a folder of their names.
class VolumeListing : public ImageEntry
{
public:
    explicit VolumeListing(const std::vector<std::pair<QByteArray, const ImageFileSystem *>> &volumes)
        : volumes_(volumes)
    {
    }
    FileFacts facts() const override
    {
        FileFacts facts;
        facts.is_directory = true;
        facts.mode = listing_mode;
        return facts;
    }
    std::optional<QByteArray> link_target() const override { return std::nullopt; }
    std::unique_ptr<ImageEntry> child(QByteArrayView) const override { return nullptr; }
    std::optional<QList<QByteArray>> names(int max_entries) const override
    {
        QList<QByteArray> names;
        for (const auto &volume : volumes_) {
            if (names.size() >= max_entries)
                break;
            names.append(volume.first);
        }
        return names;
    }
    std::optional<QByteArray> attribute_names() const override { return QByteArray(); }
    std::optional<QByteArray> attribute(QByteArrayView, qint64) const override { return std::nullopt; }
    std::optional<QByteArray> read(qint64, qint64) const override { return std::nullopt; }

private:
    const std::vector<std::pair<QByteArray, const ImageFileSystem *>> volumes_;
};

using Node = std::shared_ptr<const ImageEntry>;

// The steps of a walk through one volume's folders; the folders found on
// the way are kept in cache, so that the files of one folder, asked about
// in a row, cost one lookup each rather than one per component.
struct Steps
{
    FolderCache &cache;
    // This walk's lookups, to tell which folder and name a folder came from.
    mutable std::vector<std::tuple<const ImageEntry *, Node, QByteArray>> looked;

    Node look_in(const Node &folder, const QByteArray &name) const
    {
        if (name == ".")
            return folder;
        if (Node known = cache.child(folder.get(), name))
            return known;
        Node child(folder->child(name));
        if (child)
            looked.emplace_back(child.get(), folder, name);
        return child;
    }
    std::optional<path_walk::Found> found(const Node &object) const
    {
        if (cache.holds(object.get()))
            return path_walk::Found::Folder;
        const FileFacts facts = object->facts();
        if (!facts.mode)
            return std::nullopt;
        const std::uint32_t type = *facts.mode & 0170000;
        if (type == 0040000) {
            for (const auto &[child, folder, name] : looked) {
                if (child == object.get())
                    cache.add(folder, name, object);
            }
        }
        return type == 0040000   ? path_walk::Found::Folder
               : type == 0120000 ? path_walk::Found::Link
                                 : path_walk::Found::Other;
    }
    std::optional<QByteArray> link_target(const Node &link) const { return link->link_target(); }
};

// A volume name that can be a path's first component.
bool usable_as_component(const QByteArray &name)
{
    return !name.isEmpty() && !name.contains('/') && !name.contains('\0') && name != "." && name != "..";
}

} // namespace

Node FolderCache::child(const ImageEntry *folder, const QByteArray &name) const
{
    const auto found = children_.find({folder, name});
    return found == children_.end() ? Node() : found->second.second;
}

bool FolderCache::holds(const ImageEntry *folder) const
{
    return folders_.count(folder) != 0;
}

void FolderCache::add(const Node &folder, const QByteArray &name, const Node &child)
{
    if (!children_.emplace(std::make_pair(folder.get(), name), std::make_pair(folder, child)).second)
        return;
    folders_.insert(child.get());
    order_.emplace_back(folder.get(), name);
    if (order_.size() <= max_folders)
        return;
    // The oldest goes; the folder it was found in is kept alive by it until
    // then, so that no other object can take that folder's address.
    const auto oldest = children_.find(order_.front());
    folders_.erase(oldest->second.second.get());
    children_.erase(oldest);
    order_.pop_front();
}

ImageReader::ImageReader(std::vector<std::unique_ptr<ImageFileSystem>> volumes, QByteArray folder)
    : volumes_(std::move(volumes)), folder_(std::move(folder))
{
}

std::shared_ptr<const ImageEntry> ImageReader::folder_root()
{
    if (!folder_looked_up_) {
        folder_looked_up_ = true;
        // The host reached the folder through real folders of the mount,
        // never a link: a link on the way is not the folder the mount shows.
        std::shared_ptr<const ImageEntry> folder = resolve_in_image(folder_, false);
        if (folder && folder->facts().is_directory)
            folder_root_ = std::move(folder);
    }
    return folder_root_;
}

std::shared_ptr<const ImageEntry> ImageReader::root_of(const ImageFileSystem *volume)
{
    for (const auto &[known, root] : roots_) {
        if (known == volume)
            return root;
    }
    std::shared_ptr<const ImageEntry> root(volume->root());
    if (root)
        roots_.emplace_back(volume, root);
    return root;
}

std::shared_ptr<const ImageEntry> ImageReader::resolve(const QByteArray &path, bool follow_links)
{
    const QByteArray key = (follow_links ? "f" : "n") + path;
    for (const auto &recent : recent_) {
        if (recent.first == key)
            return recent.second;
    }
    std::shared_ptr<const ImageEntry> entry = resolve_uncached(path, follow_links);
    recent_.emplace_front(key, entry);
    if (recent_.size() > recent_objects)
        recent_.pop_back();
    return entry;
}

std::shared_ptr<const ImageEntry> ImageReader::resolve_uncached(const QByteArray &path, bool follow_links)
{
    if (folder_.isEmpty())
        return resolve_in_image(path, follow_links);
    if (path.contains('\0'))
        return nullptr;
    // The folder is the root of every walk: ".." stops at it, and an
    // absolute link starts again from it, as on the mount it came from.
    return path_walk::walk(folder_root(), path, follow_links, Steps{folders_, {}});
}

std::shared_ptr<const ImageEntry> ImageReader::resolve_in_image(const QByteArray &path, bool follow_links)
{
    if (volumes_.empty() || path.contains('\0'))
        return nullptr;
    if (volumes_.size() == 1)
        return path_walk::walk(root_of(volumes_.front().get()), path, follow_links, Steps{folders_, {}});

    // Several volumes: the first component names one, each name once.
    std::vector<std::pair<QByteArray, const ImageFileSystem *>> named;
    std::set<QByteArray> seen;
    for (const std::unique_ptr<ImageFileSystem> &volume : volumes_) {
        const QByteArray name = volume->name();
        if (usable_as_component(name) && seen.insert(name).second)
            named.emplace_back(name, volume.get());
    }
    QByteArray rest = path;
    while (rest.startsWith('/'))
        rest.remove(0, 1);
    const qsizetype separator = rest.indexOf('/');
    const QByteArray first = separator < 0 ? rest : rest.left(separator);
    if (first.isEmpty())
        return std::make_shared<VolumeListing>(named);
    for (const auto &volume : named) {
        if (volume.first == first)
            return path_walk::walk(root_of(volume.second), separator < 0 ? QByteArray() : rest.mid(separator + 1),
                                   follow_links, Steps{folders_, {}});
    }
    return nullptr;
}

image_protocol::Answer ImageReader::answer(const image_protocol::Request &request)
{
    using image_protocol::Kind;
    image_protocol::Answer answer;
    answer.sequence = request.sequence;
    const std::shared_ptr<const ImageEntry> entry = resolve(request.path, request.follow_links);
    if (!entry)
        return answer;
    switch (request.kind) {
    case Kind::Look:
        answer.found = true;
        answer.payload = image_protocol::encode_facts(entry->facts());
        break;
    case Kind::Entries:
        if (const std::optional<QList<QByteArray>> names = entry->names(int(qMin<std::uint32_t>(request.length, 1 << 20)))) {
            QList<QByteArray> usable;
            for (const QByteArray &name : *names) {
                if (usable_as_component(name) && name.size() <= qsizetype(image_protocol::max_name_size))
                    usable.append(name);
            }
            answer.payload = image_protocol::encode_names(usable);
            answer.found = answer.payload.size() <= qsizetype(image_protocol::max_frame_size) - 16;
            if (!answer.found)
                answer.payload.clear();
        }
        break;
    case Kind::AttributeNames:
        if (const std::optional<QByteArray> names = entry->attribute_names();
            names && names->size() <= max_attribute_size) {
            answer.found = true;
            answer.payload = *names;
        }
        break;
    case Kind::Attribute:
        if (const std::optional<QByteArray> content = entry->attribute(request.name, max_attribute_size)) {
            answer.found = true;
            answer.payload = *content;
        }
        break;
    case Kind::Read:
        if (request.offset <= std::uint64_t(INT64_MAX)) {
            // Filled but at the file's end, however the library splits its reads.
            const qint64 length = qMin<qint64>(request.length, image_protocol::max_read_size);
            QByteArray content;
            std::optional<QByteArray> part;
            while (content.size() < length
                   && (part = entry->read(qint64(request.offset) + content.size(), length - content.size()))
                   && !part->isEmpty())
                content.append(*part);
            answer.found = part.has_value() || !content.isEmpty();
            answer.payload = content.left(qsizetype(length));
        }
        break;
    }
    return answer;
}

int run_image_reader(int channel, const std::vector<int> &files, const ImageScope &scope)
{
    ImageReader reader(image_file_volumes(files, scope), scope.folder);
    for (;;) {
        const std::optional<descriptor_channel::Received> received =
            descriptor_channel::receive_with_descriptor(channel, image_protocol::max_request_size);
        if (!received)
            return 0;
        const std::optional<image_protocol::Request> request =
            image_protocol::decode_request(QByteArrayView(received->bytes).sliced(4));
        if (!request)
            return 1;
        if (!descriptor_channel::send(channel, image_protocol::encode_answer(reader.answer(*request))))
            return 1;
    }
}
