#ifndef PATH_WALK_H
#define PATH_WALK_H

#include <QByteArray>
#include <QByteArrayView>

#include <deque>
#include <optional>
#include <utility>
#include <vector>

// The walk of a path beneath a volume's root, one component at a time, as
// the Mac resolves it: ".." never climbs above the root, an absolute link
// in the middle of a path starts again at the root, at most max_links links
// are followed, and the last component is never followed. The volume kind
// supplies the steps; the rules are the same for all of them.
namespace path_walk {

// As many links as the kernel follows in one lookup before it gives up.
constexpr int max_links = 40;

// What one step of the walk found.
enum class Found { Folder, Link, Other };

// Puts the components of path before those still pending. "." stays, so
// that in "link/." the link is a middle component and is followed, as the
// kernel does; a trailing separator means the same.
inline void append_components(std::deque<QByteArray> &pending, QByteArrayView path)
{
    std::deque<QByteArray> parts;
    for (const QByteArray &part : path.toByteArray().split('/')) {
        if (!part.isEmpty())
            parts.push_back(part);
    }
    if (path.endsWith('/') && !parts.empty())
        parts.push_back(".");
    pending.insert(pending.begin(), parts.begin(), parts.end());
}

// The object at relative beneath root, or an empty Node when it cannot be
// reached. steps gives:
//   Node look_in(const Node &folder, const QByteArray &name): the object of
//     that name in the folder, not followed ("." the folder itself), empty
//     when missing;
//   std::optional<Found> found(const Node &object): what it is, nullopt on
//     failure;
//   std::optional<QByteArray> link_target(const Node &link).
// Every folder passed on the way down is kept, so ".." goes back up by what
// was walked, never by asking the volume for a parent (which could lie
// above the root, or have been moved out of it).
template <typename Node, typename Steps>
Node walk(Node root, QByteArrayView relative, bool follow_links, const Steps &steps)
{
    if (!root)
        return Node();
    std::vector<Node> folders;
    folders.push_back(std::move(root));
    std::deque<QByteArray> pending;
    append_components(pending, relative);
    int links_followed = 0;

    while (!pending.empty()) {
        const QByteArray name = pending.front();
        pending.pop_front();
        if (name == ".")
            continue;
        if (name == "..") {
            if (folders.size() > 1)
                folders.pop_back();
            continue;
        }
        if (pending.empty())
            return steps.look_in(folders.back(), name);

        Node step = steps.look_in(folders.back(), name);
        const std::optional<Found> found = step ? steps.found(step) : std::nullopt;
        if (!found)
            return Node();
        if (*found == Found::Folder) {
            folders.push_back(std::move(step));
            continue;
        }
        if (*found != Found::Link || !follow_links || ++links_followed > max_links)
            return Node();
        const std::optional<QByteArray> target = steps.link_target(step);
        if (!target || target->isEmpty())
            return Node();
        // An absolute target is a place on the volume: start again at its root.
        if (target->startsWith('/'))
            folders.resize(1);
        append_components(pending, *target);
    }
    // The path named a folder on the way ("", ".", "a/.."): that one.
    return steps.look_in(folders.back(), QByteArray("."));
}

} // namespace path_walk

#endif // PATH_WALK_H
