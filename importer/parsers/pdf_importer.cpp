#include "pdf_importer.h"

#include "descriptor_bytes.h"
#include "spotlight_keys.h"

#include <poppler-qt6.h>


#include <mutex>

namespace {

// Scanned books run to hundreds of megabytes; larger files stay unread.
constexpr qint64 pdf_size_limit = 256LL * 1024 * 1024;

enum class InfoKind {
    Text,      // the entry as it stands
    TextArray, // the entry as the single item of a list
};

struct InfoField
{
    const char *info_key;
    const char *spotlight_key;
    InfoKind kind;
};

const InfoField info_fields[] = {
    // The document's own title, not its file name.
    { "Title", spotlight_keys::title, InfoKind::Text },
    // The person who wrote the content, kept whole: no separator is agreed.
    { "Author", spotlight_keys::authors, InfoKind::TextArray },
    // The application the content was authored in.
    { "Creator", spotlight_keys::creator, InfoKind::Text },
    // The application that wrote the PDF from it.
    { "Producer", spotlight_keys::encoding_applications, InfoKind::TextArray },
    // The document's own CreationDate and ModDate are left out: a Mac
    // dates a PDF's content by the file, as it came onto the volume.
};

// Damaged files make the library talk on stderr; the importer process's
// output is not the place for it.
void ignore_library_messages(const QString &, const QVariant &) {}

} // namespace

PdfImporter::PdfImporter()
{
    static std::once_flag quietened;
    std::call_once(quietened, [] { Poppler::setDebugErrorFunction(ignore_library_messages, QVariant()); });
}

QString PdfImporter::name() const
{
    return QStringLiteral("pdf");
}

ImportedValues PdfImporter::import(int fd, const QString &) const
{
    ImportedValues values;
    const std::optional<QByteArray> bytes = read_whole_descriptor(fd, pdf_size_limit);
    if (!bytes || bytes->isEmpty())
        return values;
    const std::unique_ptr<Poppler::Document> document = Poppler::Document::loadFromData(*bytes);
    if (!document)
        return values;

    // A document that needs a user password tells nothing more than that:
    // the library holds no parsed document to ask (asking its version
    // crashes).
    if (document->isLocked()) {
        values.emplace_back(QLatin1String(spotlight_keys::security_method),
                            MetadataValue::from_text(QStringLiteral("Password Encrypted")));
        return values;
    }
    const Poppler::Document::PdfVersion version = document->getPdfVersion();
    if (version.major > 0)
        values.emplace_back(QLatin1String(spotlight_keys::version),
                            MetadataValue::from_text(QStringLiteral("%1.%2").arg(version.major).arg(version.minor)));
    values.emplace_back(QLatin1String(spotlight_keys::security_method),
                        MetadataValue::from_text(document->isEncrypted() ? QStringLiteral("Password Encrypted")
                                                                          : QStringLiteral("None")));

    for (const InfoField &field : info_fields) {
        const QString key = QString::fromLatin1(field.spotlight_key);
        const QString entry = QString::fromLatin1(field.info_key);
        switch (field.kind) {
        case InfoKind::Text:
        case InfoKind::TextArray: {
            const QString text = document->info(entry).trimmed();
            if (text.isEmpty())
                break;
            values.emplace_back(key, field.kind == InfoKind::Text
                                         ? MetadataValue::from_text(text)
                                         : MetadataValue::from_array({ MetadataValue::from_text(text) }));
            break;
        }
        }
    }

    const int pages = document->numPages();
    if (pages > 0) {
        values.emplace_back(QLatin1String(spotlight_keys::number_of_pages), MetadataValue::from_number(pages));
        if (const std::unique_ptr<Poppler::Page> first = document->page(0)) {
            // Points, as the page's media box gives them.
            const QSizeF size = first->pageSizeF();
            if (size.width() > 0 && size.height() > 0) {
                values.emplace_back(QLatin1String(spotlight_keys::page_width), MetadataValue::from_number(size.width()));
                values.emplace_back(QLatin1String(spotlight_keys::page_height), MetadataValue::from_number(size.height()));
            }
        }
    }
    return values;
}
