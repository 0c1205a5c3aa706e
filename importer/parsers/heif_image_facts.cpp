#include "heif_image_facts.h"

#include <libheif/heif.h>

#include <memory>

namespace {

struct ContextFree
{
    void operator()(heif_context *context) const { heif_context_free(context); }
};

struct HandleRelease
{
    void operator()(heif_image_handle *handle) const { heif_image_handle_release(handle); }
};

} // namespace

std::optional<HeifImageFacts> heif_image_facts(const QByteArray &bytes)
{
    const std::unique_ptr<heif_context, ContextFree> context(heif_context_alloc());
    if (!context)
        return std::nullopt;
    // The bytes outlive the context, so the library need not copy them.
    if (heif_context_read_from_memory_without_copy(context.get(), bytes.constData(), size_t(bytes.size()), nullptr).code
        != heif_error_Ok)
        return std::nullopt;
    heif_image_handle *primary = nullptr;
    if (heif_context_get_primary_image_handle(context.get(), &primary).code != heif_error_Ok || !primary)
        return std::nullopt;
    const std::unique_ptr<heif_image_handle, HandleRelease> handle(primary);

    HeifImageFacts facts;
    facts.width = heif_image_handle_get_width(handle.get());
    facts.height = heif_image_handle_get_height(handle.get());
    if (facts.width <= 0 || facts.height <= 0)
        return std::nullopt;
    const int bits = heif_image_handle_get_luma_bits_per_pixel(handle.get());
    facts.bits_per_sample = bits > 0 ? bits : 0;
    facts.has_alpha = heif_image_handle_has_alpha_channel(handle.get()) != 0;
    return facts;
}
