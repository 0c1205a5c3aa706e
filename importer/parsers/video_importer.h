#ifndef VIDEO_IMPORTER_H
#define VIDEO_IMPORTER_H

#include "content_importer.h"

// Movies: how long they play, their picture size, codecs and bit rates,
// and when the container says they were made.
class VideoImporter : public ContentImporter
{
public:
    VideoImporter();

    QString name() const override;
    ImportedValues import(int fd, const QString &content_type) const override;
};

#endif // VIDEO_IMPORTER_H
