#ifndef PROPERTY_LIST_LIMITS_H
#define PROPERTY_LIST_LIMITS_H

#include <QByteArrayView>

#include <cstdint>

// How much tree a property list may make the parser build. A file under
// examination can hold an attribute crafted to exhaust the worker: the
// parser recurses once per nesting level and copies an object once for every
// reference to it, so a few hundred bytes can stand for billions of nodes.
// Genuine metadata values are flat lists of a few thousand entries at most.
struct PropertyListLimits
{
    std::uint32_t max_depth = 256;          // nested arrays and dictionaries
    std::uint64_t max_nodes = 1u << 18;     // nodes of the tree once built
    std::uint32_t max_xml_containers = 4096; // "<array" and "<dict" openings
    std::uint64_t max_bytes = 16u << 20;    // whole list, either format
    // Text and data the built tree holds, a shared object counted once for
    // every reference to it, as the parser copies it.
    std::uint64_t max_expanded_bytes = 16u << 20;
};

// Whether the parser can build the tree of these bytes within the limits.
// Bytes that are no well-formed property list may pass: the parser rejects
// them itself; what is refused here is what it would accept at too high a
// price, and binary lists whose object table it cannot walk safely.
bool property_list_within_limits(QByteArrayView bytes,
                                 const PropertyListLimits &limits = PropertyListLimits());

#endif // PROPERTY_LIST_LIMITS_H
