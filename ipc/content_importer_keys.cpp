#include "content_importer_keys.h"

#include "importer_reading.h"

// Each list is the importer's lines of the one reading table.

QStringList image_importer_keys()
{
    return reading_keys(QStringLiteral("image"));
}

QStringList audio_importer_keys()
{
    return reading_keys(QStringLiteral("audio"));
}

QStringList video_importer_keys()
{
    return reading_keys(QStringLiteral("video"));
}

QStringList pdf_importer_keys()
{
    return reading_keys(QStringLiteral("pdf"));
}

QStringList office_importer_keys()
{
    return reading_keys(QStringLiteral("office"));
}
