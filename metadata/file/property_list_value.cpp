#include "property_list_value.h"

#include "binary_property_list.h"
#include "property_list_limits.h"

#include <plist/plist.h>

#include <cstdint>
#include <memory>

namespace {

struct PlistFree
{
    void operator()(void *node) const { plist_free(static_cast<plist_t>(node)); }
};
using PlistHandle = std::unique_ptr<void, PlistFree>;

struct BinaryFree
{
    void operator()(char *bytes) const { plist_to_bin_free(bytes); }
};
using BinaryHandle = std::unique_ptr<char, BinaryFree>;

} // namespace

MetadataValue property_list_value(QByteArrayView bytes)
{
    if (bytes.isEmpty() || !property_list_within_limits(bytes))
        return MetadataValue::other();
    // The parser decides what is a property list. It keeps every value in
    // full but hands dates out in 32-bit seconds, integers without their
    // sign and strings only up to their first NUL, so the values are read
    // from the binary encoding itself.
    const std::uint32_t size = std::uint32_t(bytes.size());
    plist_t root = nullptr;
    plist_from_memory(bytes.data(), size, &root);
    const PlistHandle owned(root);
    if (!root)
        return MetadataValue::other();
    if (plist_is_binary(bytes.data(), size))
        return binary_property_list_value(bytes);

    // An XML list is encoded in binary from what the parser read of it.
    char *binary = nullptr;
    std::uint32_t length = 0;
    plist_to_bin(root, &binary, &length);
    const BinaryHandle owned_binary(binary);
    if (!binary)
        return MetadataValue::other();
    return binary_property_list_value(QByteArrayView(binary, qsizetype(length)));
}
