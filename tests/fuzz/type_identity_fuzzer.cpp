// Feeds arbitrary bytes through the readers of what a file says of itself:
// its Finder information (as a file's and as a folder's) and a bundle's
// Info.plist, as a crafted volume would.

#include "type_identity/bundle_info.h"
#include "type_identity/finder_info.h"

#include <cstddef>
#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const QByteArrayView bytes(reinterpret_cast<const char *>(data), qsizetype(size));
    int seen = 0;
    for (const bool is_folder : {false, true}) {
        if (const std::optional<FinderInfo> info = parse_finder_info(bytes, is_folder))
            seen += info->label() + info->type_code.size() + info->creator_code.size() + int(info->is_alias());
    }
    if (const std::optional<BundleInfo> bundle = parse_bundle_info(bytes))
        seen += int(bundle->identifier.size() + bundle->short_version.size() + bundle->display_name.size()
                    + bundle->name.size());
    return seen < 0 ? 1 : 0;
}
