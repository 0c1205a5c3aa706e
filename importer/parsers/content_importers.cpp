#include "content_importers.h"

#include "audio_importer.h"
#include "content_dates.h"
#include "image_importer.h"
#include "office_importer.h"
#include "pdf_importer.h"
#include "video_importer.h"

#include <QImageReader>

std::vector<std::unique_ptr<ContentImporter>> all_content_importers()
{
    std::vector<std::unique_ptr<ContentImporter>> importers;
    importers.push_back(std::make_unique<ImageImporter>());
    importers.push_back(std::make_unique<PdfImporter>());
    importers.push_back(std::make_unique<AudioImporter>());
    importers.push_back(std::make_unique<VideoImporter>());
    importers.push_back(std::make_unique<OfficeImporter>());
    return importers;
}

void load_content_libraries()
{
    // Asking what each plugin reads loads it; no image is looked at.
    QImageReader::supportedImageFormats();
    // The examiner's zone rules are read once here, for every importer
    // started from this process to inherit.
    examiner_zone();
}
