#ifndef AUDIO_IMPORTER_H
#define AUDIO_IMPORTER_H

#include "content_importer.h"

// Songs and other sound files: how long they play and how they are
// encoded, and what their tags say about the recording.
class AudioImporter : public ContentImporter
{
public:
    QString name() const override;
    ImportedValues import(int fd, const QString &content_type) const override;
};

#endif // AUDIO_IMPORTER_H
