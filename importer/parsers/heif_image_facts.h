#ifndef HEIF_IMAGE_FACTS_H
#define HEIF_IMAGE_FACTS_H

#include <QByteArray>

#include <optional>

// What a HEIF (HEIC) file says of its primary image as it is shown: after
// the container's cropping and rotation, which the coded size does not
// reflect.
struct HeifImageFacts
{
    int width = 0;
    int height = 0;
    int bits_per_sample = 0; // 0 when the file does not tell
    bool has_alpha = false;
};

// The facts of the primary image in bytes; nothing when they hold no
// readable HEIF image. Nothing is decoded.
std::optional<HeifImageFacts> heif_image_facts(const QByteArray &bytes);

#endif // HEIF_IMAGE_FACTS_H
