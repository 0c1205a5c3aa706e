#ifndef CONTENT_IMPORTER_KEYS_H
#define CONTENT_IMPORTER_KEYS_H

#include <QStringList>

// The Spotlight keys each content importer can give, kept apart from the
// importers themselves so that the worker can ask for them without linking
// any parser of hostile content.

QStringList image_importer_keys();
QStringList audio_importer_keys();
QStringList video_importer_keys();
QStringList pdf_importer_keys();
QStringList office_importer_keys();

#endif // CONTENT_IMPORTER_KEYS_H
