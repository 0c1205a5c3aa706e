#ifndef PDF_IMPORTER_H
#define PDF_IMPORTER_H

#include "content_importer.h"

// PDF documents: the document information the author's tools recorded,
// the page count and the first page's size.
class PdfImporter : public ContentImporter
{
public:
    PdfImporter();

    QString name() const override;
    ImportedValues import(int fd, const QString &content_type) const override;
};

#endif // PDF_IMPORTER_H
