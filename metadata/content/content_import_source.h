#ifndef CONTENT_IMPORT_SOURCE_H
#define CONTENT_IMPORT_SOURCE_H

#include "file_content.h"
#include "importer_process.h"

#include <QSet>
#include <QStringView>

#include <vector>

// The content of the volume's files as the isolated importer process reads
// it. A file is asked about only for a key its content type can give, at
// most once, and handed over as the worker opened it beneath the volume
// root: the importer never opens evidence by name.
class ContentImportSource : public FileContentSource
{
public:
    explicit ContentImportSource(const QString &importer_executable, ImporterLimits limits = {});

    // The source of a worker run: the importer installed with the running
    // worker (importer_location.h); nullptr when there is none.
    static std::unique_ptr<FileContentSource> installed();

    std::unique_ptr<FileContent> content_of(const QString &path, int file) override;

    // The values of the open regular file of that content type; empty when
    // it cannot be of that type or the importer failed.
    ImportedValues import(int file, const QString &content_type);

    // The process that reads the files, for counting what it was asked.
    const ImporterProcess &importer() const { return importer_; }

private:
    // The content type and importable keys of a name's extension, as spelt.
    struct ExtensionType
    {
        QString extension;
        QString content_type;
        const QSet<QString> *keys = nullptr;
    };
    const ExtensionType &extension_type(QStringView name);

    ImporterProcess importer_;
    // The extensions met so far: a volume has a few dozen, met again and again.
    std::vector<ExtensionType> extension_types_;
    ExtensionType uncached_;
};

#endif // CONTENT_IMPORT_SOURCE_H
