#ifndef CONTENT_IMPORT_SOURCE_H
#define CONTENT_IMPORT_SOURCE_H

#include "file_content.h"
#include "importer_process.h"
#include "evidence/evidence_root.h"

#include <QByteArrayView>

// The content of the volume's files as the isolated importer process reads
// it. A file is asked about only for a key its content type can give, at
// most once, and handed over already open through the evidence root: the
// importer never opens evidence by name.
class ContentImportSource : public FileContentSource
{
public:
    ContentImportSource(const QString &volume_root, const QString &importer_executable, ImporterLimits limits = {});

    // The source of a worker run: the importer installed beside the running
    // worker; nullptr when there is none.
    static std::unique_ptr<FileContentSource> beside_worker(const QString &volume_root);

    std::unique_ptr<FileContent> content_of(const QString &path) override;

    // The values of the file at relative (beneath the volume root) of that
    // content type; empty when it cannot be opened or the importer failed.
    ImportedValues import(QByteArrayView relative, const QString &content_type);

    // The process that reads the files, for counting what it was asked.
    const ImporterProcess &importer() const { return importer_; }

private:
    EvidenceRoot root_;
    ImporterProcess importer_;
};

#endif // CONTENT_IMPORT_SOURCE_H
