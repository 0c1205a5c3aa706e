#ifndef CONTENT_IMPORTER_H
#define CONTENT_IMPORTER_H

#include "imported_values.h"
#include "importer_reading.h"

#include <QString>
#include <QStringList>

#include <utility>
#include <vector>

// Reads what one family of content types holds (images, audio, video, PDF,
// office documents). Importers run only inside the isolated importer
// process: they parse hostile content with third-party libraries.
class ContentImporter
{
public:
    virtual ~ContentImporter() = default;

    // A short name for the family, such as "image".
    virtual QString name() const = 0;
    // Whether this importer reads files of that uniform type identifier:
    // the reading table says, for the importers that ship.
    virtual bool reads(const QString &content_type) const { return reading_importer_of(content_type) == name(); }
    // Every Spotlight key this importer can give, as the reading table says.
    virtual QStringList keys() const { return reading_keys(name()); }
    // The values of the open regular file fd (read through fd only, from
    // any offset; never reopened by name) whose type is content_type.
    virtual ImportedValues import(int fd, const QString &content_type) const = 0;
};

#endif // CONTENT_IMPORTER_H
