#ifndef IMAGE_IMPORTER_H
#define IMAGE_IMPORTER_H

#include "content_importer.h"

// Photos and other still images: their size and layout, the camera and
// its settings, the place of the capture and its time, as the image's own
// EXIF and header record them.
class ImageImporter : public ContentImporter
{
public:
    ImageImporter();

    QString name() const override;
    ImportedValues import(int fd, const QString &content_type) const override;
};

#endif // IMAGE_IMPORTER_H
