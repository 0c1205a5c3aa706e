#ifndef IMAGE_SCOPE_H
#define IMAGE_SCOPE_H

#include <QByteArray>
#include <QList>

#include <cstdint>
#include <optional>

// Which part of an image the worker asks its reader about: the volume a
// mount shows (where it starts in the image file, how far it may reach,
// which volume of an APFS container) and the folder of it the host names
// as the source. The worker sets it from what the machine tells; the
// reader resolves every path beneath that folder and never above it.
struct ImageScope
{
    std::uint64_t offset = 0; // where the volume starts in the image file's own bytes
    std::uint64_t size = 0;   // how many bytes it may take from there; 0 for all to the file's end
    std::uint32_t volume = 0; // an APFS container's volume by its number from 1; 0 for every volume
    QByteArray folder;        // relative to the volume's root, "" for the root itself

    // Whether the scope places a volume in the file's raw bytes rather than
    // leaving the reader to recognise the image as a whole.
    bool places_volume() const { return offset != 0 || size != 0 || volume != 0; }
    bool operator==(const ImageScope &other) const
    {
        return offset == other.offset && size == other.size && volume == other.volume && folder == other.folder;
    }
};

namespace image_scope {

// The volumes of a container number from 1 up to this.
constexpr std::uint32_t max_volume = 100;

// The reader's arguments that carry scope (after the count of image files).
QList<QByteArray> arguments(const ImageScope &scope);
// The scope those arguments carry; nullopt when they are malformed, or
// the folder is not a plain relative path (no "", "." or ".." component,
// no zero byte, at most the protocol's path size).
std::optional<ImageScope> from_arguments(const QList<QByteArray> &arguments);
// Whether folder can be a scope's folder, as from_arguments requires.
bool is_plain_folder(const QByteArray &folder);

} // namespace image_scope

#endif // IMAGE_SCOPE_H
