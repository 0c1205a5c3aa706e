#ifndef OFFICE_IMPORTER_H
#define OFFICE_IMPORTER_H

#include "content_importer.h"

// Word-processing, spreadsheet and presentation documents of the Office
// Open XML and OpenDocument families: the properties the writing
// application stored beside the content.
class OfficeImporter : public ContentImporter
{
public:
    QString name() const override;
    ImportedValues import(int fd, const QString &content_type) const override;
};

#endif // OFFICE_IMPORTER_H
