#include "property_list_limits.h"

#include <plist/plist.h>

#include <algorithm>
#include <string_view>
#include <vector>

namespace {

// The binary format's integers are big-endian; wider fields than eight
// bytes count by their last eight, as the parser reads them.
std::uint64_t read_big_endian(const unsigned char *at, std::uint64_t width)
{
    if (width > 8) {
        at += width - 8;
        width = 8;
    }
    std::uint64_t value = 0;
    for (std::uint64_t i = 0; i < width; ++i)
        value = (value << 8) | at[i];
    return value;
}

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
    BinaryListWalk(QByteArrayView bytes, const PropertyListLimits &limits)
        : data(reinterpret_cast<const unsigned char *>(bytes.data())),
          size(std::uint64_t(bytes.size())), limits(limits)
    {
    }

    bool within_limits()
    {
        if (!read_trailer())
            return false;
        Weight weight;
        return measure(root, &weight) && weight.nodes <= limits.max_nodes
            && weight.bytes <= limits.max_expanded_bytes;
    }

private:
    static constexpr std::uint64_t header_size = 8; // "bplist00"
    static constexpr std::uint64_t trailer_size = 32;

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

    bool read_trailer()
    {
        if (size < header_size + trailer_size)
            return false;
        const unsigned char *trailer = data + size - trailer_size;
        offset_size = trailer[6];
        reference_size = trailer[7];
        object_count = read_big_endian(trailer + 8, 8);
        root = read_big_endian(trailer + 16, 8);
        const std::uint64_t table_offset = read_big_endian(trailer + 24, 8);
        const std::uint64_t objects_end = size - trailer_size;

        std::uint64_t table_size = 0;
        if (offset_size == 0 || reference_size == 0 || object_count == 0
            || root >= object_count || table_offset < header_size || table_offset >= objects_end
            || !multiply(object_count, offset_size, &table_size)
            || table_size > objects_end - table_offset)
            return false;
        offset_table = data + table_offset;
        visits.assign(object_count, Visit::Unseen);
        measured.assign(object_count, Weight());
        return true;
    }

    // Where an object starts, or nullptr when its offset leaves the objects.
    const unsigned char *object_at(std::uint64_t object) const
    {
        const std::uint64_t offset =
            read_big_endian(offset_table + object * offset_size, offset_size);
        if (offset < header_size || offset >= std::uint64_t(offset_table - data))
            return nullptr;
        return data + offset;
    }

    // The references of an array, set or dictionary object; false when the
    // object is malformed. Other objects have no references.
    bool read_container(const unsigned char *at, Container *container) const
    {
        const unsigned type = at[0] >> 4;
        const bool is_dictionary = type == 0xD;
        if (type != 0xA && type != 0xC && !is_dictionary) {
            *container = Container();
            return true;
        }
        const unsigned char *end = offset_table;
        const unsigned char *cursor = at + 1;
        std::uint64_t count = at[0] & 0x0F;
        if (count == 0x0F) {
            if (cursor >= end || (cursor[0] >> 4) != 0x1)
                return false;
            const std::uint64_t width = std::uint64_t(1) << (cursor[0] & 0x0F);
            ++cursor;
            if (width > std::uint64_t(end - cursor))
                return false;
            count = read_big_endian(cursor, width);
            cursor += width;
        }
        std::uint64_t references = count;
        std::uint64_t span = 0;
        if ((is_dictionary && !multiply(count, 2, &references))
            || !multiply(references, reference_size, &span)
            || span > std::uint64_t(end - cursor))
            return false;
        container->references = cursor;
        container->count = references;
        return true;
    }

    // The bytes a data or string object stands for; 0 for other objects and
    // for a length the parser will refuse anyway.
    std::uint64_t payload_bytes(const unsigned char *at) const
    {
        const unsigned type = at[0] >> 4;
        if (type != 0x4 && type != 0x5 && type != 0x6)
            return 0;
        const unsigned char *end = offset_table;
        const unsigned char *cursor = at + 1;
        std::uint64_t count = at[0] & 0x0F;
        if (count == 0x0F) {
            if (cursor >= end || (cursor[0] >> 4) != 0x1)
                return 0;
            const std::uint64_t width = std::uint64_t(1) << (cursor[0] & 0x0F);
            ++cursor;
            if (width > 8 || width > std::uint64_t(end - cursor))
                return 0;
            count = read_big_endian(cursor, width);
        }
        // UTF-16 text takes two bytes a character; the ceiling keeps the
        // doubling from overflowing.
        count = std::min(count, limits.max_expanded_bytes + 1);
        return type == 0x6 ? 2 * count : count;
    }

    bool open(std::uint64_t object, std::vector<Frame> *stack)
    {
        if (stack->size() >= limits.max_depth)
            return false;
        const unsigned char *at = object_at(object);
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
            const std::uint64_t child = read_big_endian(
                frame.container.references + frame.next * reference_size, reference_size);
            if (child >= object_count || visits[child] == Visit::Open)
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

    const unsigned char *data;
    std::uint64_t size;
    const PropertyListLimits &limits;
    const unsigned char *offset_table = nullptr;
    std::uint64_t offset_size = 0;
    std::uint64_t reference_size = 0;
    std::uint64_t object_count = 0;
    std::uint64_t root = 0;
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
    if (plist_is_binary(bytes.data(), std::uint32_t(bytes.size())))
        return BinaryListWalk(bytes, limits).within_limits();
    return xml_within_limits(bytes, limits);
}
