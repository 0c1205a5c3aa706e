#include "bundle_info.h"

#include "file/property_list_limits.h"

#include <plist/plist.h>

#include <memory>

namespace {

struct PlistFree
{
    void operator()(plist_t node) const { plist_free(node); }
};
using PlistNode = std::unique_ptr<std::remove_pointer_t<plist_t>, PlistFree>;

QString string_entry(plist_t dictionary, const char *key)
{
    plist_t node = plist_dict_get_item(dictionary, key);
    if (!node || plist_get_node_type(node) != PLIST_STRING)
        return QString();
    std::uint64_t length = 0;
    const char *value = plist_get_string_ptr(node, &length);
    if (!value || length > std::uint64_t(BundleInfo::max_size))
        return QString();
    return QString::fromUtf8(value, qsizetype(length));
}

bool true_entry(plist_t dictionary, const char *key)
{
    plist_t node = plist_dict_get_item(dictionary, key);
    if (!node || plist_get_node_type(node) != PLIST_BOOLEAN)
        return false;
    std::uint8_t value = 0;
    plist_get_bool_val(node, &value);
    return value != 0;
}

} // namespace

std::optional<BundleInfo> parse_bundle_info(QByteArrayView bytes)
{
    if (bytes.isEmpty() || bytes.size() > BundleInfo::max_size || !property_list_within_limits(bytes))
        return std::nullopt;
    plist_t parsed = nullptr;
    plist_from_memory(bytes.data(), std::uint32_t(bytes.size()), &parsed);
    const PlistNode root(parsed);
    if (!root || plist_get_node_type(root.get()) != PLIST_DICT)
        return std::nullopt;
    BundleInfo info;
    info.identifier = string_entry(root.get(), "CFBundleIdentifier");
    info.short_version = string_entry(root.get(), "CFBundleShortVersionString");
    info.display_name = string_entry(root.get(), "CFBundleDisplayName");
    info.name = string_entry(root.get(), "CFBundleName");
    info.executable = string_entry(root.get(), "CFBundleExecutable");
    info.copyright = string_entry(root.get(), "NSHumanReadableCopyright");
    info.requires_iphone_os = true_entry(root.get(), "LSRequiresIPhoneOS");
    return info;
}
