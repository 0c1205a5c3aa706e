#include "property_list_limits.h"

#include "binary_property_list_layout.h"

#include <plist/plist.h>

#include <algorithm>
#include <string_view>
#include <vector>

namespace {

// a * b, or false when the product leaves 64 bits.
bool multiply(std::uint64_t a, std::uint64_t b, std::uint64_t *product)
{
    return !__builtin_mul_overflow(a, b, product);
}

// Walks the object graph of a binary list from its root, depth first and
// without recursion, and measures the tree the parser would build from it:
// an object reached through several references is counted once per
// reference, because the parser copies it each time.
class BinaryListWalk
{
public:
    using Layout = BinaryPropertyListLayout;

    BinaryListWalk(const Layout &layout, const PropertyListLimits &limits)
        : layout(layout), limits(limits), visits(layout.object_count(), Visit::Unseen),
          measured(layout.object_count())
    {
    }

    bool within_limits()
    {
        Weight weight;
        return measure(layout.root(), &weight) && weight.nodes <= limits.max_nodes
            && weight.bytes <= limits.max_expanded_bytes;
    }

private:
    struct Container
    {
        const unsigned char *references = nullptr;
        std::uint64_t count = 0; // references, keys and values together
    };

    // What an object costs once built: its nodes, and the bytes of text
    // and data they hold.
    struct Weight
    {
        std::uint64_t nodes = 0;
        std::uint64_t bytes = 0;
    };

    struct Frame
    {
        std::uint64_t object;
        Container container;
        std::uint64_t next = 0;
        Weight weight;
    };

    enum class Visit : unsigned char { Unseen, Open, Measured };

    // The references of an array, set or dictionary object; false when the
    // object is malformed. Other objects have no references.
    bool read_container(const unsigned char *at, Container *container) const
    {
        const unsigned kind = at[0] >> 4;
        const bool is_dictionary = kind == Layout::dictionary_kind;
        if (kind != Layout::array_kind && kind != Layout::set_kind && !is_dictionary) {
            *container = Container();
            return true;
        }
        const std::optional<Layout::Sized> sized = layout.sized(at);
        std::uint64_t references = 0;
        if (!sized || !multiply(sized->count, is_dictionary ? 2 : 1, &references)
            || !layout.holds(sized->content, references, layout.reference_size()))
            return false;
        container->references = sized->content;
        container->count = references;
        return true;
    }

    // The bytes a data or string object stands for; 0 for other objects and
    // for a length the parser will refuse anyway.
    std::uint64_t payload_bytes(const unsigned char *at) const
    {
        const unsigned kind = at[0] >> 4;
        if (kind != Layout::data_kind && kind != Layout::ascii_string_kind && kind != Layout::utf16_string_kind)
            return 0;
        const std::optional<Layout::Sized> sized = layout.sized(at);
        if (!sized)
            return 0;
        // UTF-16 text takes two bytes a character; the ceiling keeps the
        // doubling from overflowing.
        const std::uint64_t count = std::min(sized->count, limits.max_expanded_bytes + 1);
        return kind == Layout::utf16_string_kind ? 2 * count : count;
    }

    bool open(std::uint64_t object, std::vector<Frame> *stack)
    {
        if (stack->size() >= limits.max_depth)
            return false;
        const unsigned char *at = layout.object(object);
        Frame frame{object, Container()};
        if (!at || !read_container(at, &frame.container))
            return false;
        frame.weight = Weight{1, payload_bytes(at)};
        visits[object] = Visit::Open;
        stack->push_back(frame);
        return true;
    }

    // Adds a child's weight to its container's; false once either count
    // passes its limit. Counts stop growing just past the limits, so sums
    // cannot overflow.
    bool add_weight(Weight *to, const Weight &child) const
    {
        to->nodes = std::min(limits.max_nodes + 1, to->nodes + child.nodes);
        to->bytes = std::min(limits.max_expanded_bytes + 1, to->bytes + child.bytes);
        return to->nodes <= limits.max_nodes && to->bytes <= limits.max_expanded_bytes;
    }

    bool measure(std::uint64_t start, Weight *weight)
    {
        std::vector<Frame> stack;
        if (!open(start, &stack))
            return false;
        while (!stack.empty()) {
            Frame &frame = stack.back();
            if (frame.next == frame.container.count) {
                measured[frame.object] = frame.weight;
                visits[frame.object] = Visit::Measured;
                const Weight finished = frame.weight;
                stack.pop_back();
                if (stack.empty()) {
                    *weight = finished;
                    return true;
                }
                Frame &parent = stack.back();
                ++parent.next;
                if (!add_weight(&parent.weight, finished))
                    return false;
                continue;
            }
            const std::uint64_t child = layout.reference(frame.container.references, frame.next);
            if (child >= layout.object_count() || visits[child] == Visit::Open)
                return false; // dangling or circular: the parser refuses it
            if (visits[child] == Visit::Measured) {
                ++frame.next;
                if (!add_weight(&frame.weight, measured[child]))
                    return false;
                continue;
            }
            if (!open(child, &stack))
                return false;
        }
        return false;
    }

    const Layout &layout;
    const PropertyListLimits &limits;
    std::vector<Visit> visits;
    std::vector<Weight> measured;
};

// The XML parser recurses only into arrays and dictionaries, so their
// openings, wherever they stand (comments included), bound its depth.
bool xml_within_limits(QByteArrayView bytes, const PropertyListLimits &limits)
{
    const std::string_view text(bytes.data(), std::size_t(bytes.size()));
    std::uint64_t containers = 0;
    for (std::size_t at = text.find('<'); at != std::string_view::npos;
         at = text.find('<', at + 1)) {
        const std::string_view rest = text.substr(at + 1);
        if (rest.substr(0, 5) == "array" || rest.substr(0, 4) == "dict") {
            if (++containers > limits.max_xml_containers)
                return false;
        }
    }
    return true;
}

} // namespace

bool property_list_within_limits(QByteArrayView bytes, const PropertyListLimits &limits)
{
    if (std::uint64_t(bytes.size()) > limits.max_bytes)
        return false;
    if (bytes.isEmpty())
        return true;
    if (plist_is_binary(bytes.data(), std::uint32_t(bytes.size()))) {
        const std::optional<BinaryPropertyListLayout> layout = BinaryPropertyListLayout::of(bytes);
        return layout && BinaryListWalk(*layout, limits).within_limits();
    }
    return xml_within_limits(bytes, limits);
}
