#include "office_importer.h"

#include "descriptor_bytes.h"
#include "zip_archive.h"
#include "spotlight_keys.h"

#include <QXmlStreamReader>

namespace {

// Documents with embedded pictures and films run large; beyond this the
// archive is not held in memory.
constexpr qint64 document_size_limit = 256LL * 1024 * 1024;
// Property parts are a few kilobytes; XML compresses perhaps twentyfold.
constexpr qint64 part_size_limit = 4LL * 1024 * 1024;
constexpr qint64 part_max_ratio = 200;

const char *const open_xml_types[] = {
    "org.openxmlformats.wordprocessingml.document",
    "org.openxmlformats.spreadsheetml.sheet",
    "org.openxmlformats.presentationml.presentation",
};

const char *const open_document_types[] = {
    "org.oasis-open.opendocument.text",
    "org.oasis-open.opendocument.spreadsheet",
    "org.oasis-open.opendocument.presentation",
};

// The parts that hold a document's properties, by family.
const char *const open_xml_parts[] = { "docProps/core.xml", "docProps/app.xml" };
const char *const open_document_parts[] = { "meta.xml" };

const char dublin_core[] = "http://purl.org/dc/elements/1.1/";
const char dublin_core_terms[] = "http://purl.org/dc/terms/";
const char open_xml_core[] = "http://schemas.openxmlformats.org/package/2006/metadata/core-properties";
const char open_xml_extended[] = "http://schemas.openxmlformats.org/officeDocument/2006/extended-properties";
const char open_document_meta[] = "urn:oasis:names:tc:opendocument:xmlns:meta:1.0";

enum class PropertyKind {
    Text,      // the element's text
    TextArray, // the element's text as the single item of a list
    Number,    // a whole count
};

struct PropertyField
{
    const char *namespace_uri;
    const char *element;
    const char *attribute; // nullptr: the element's text
    const char *spotlight_key;
    PropertyKind kind;
};

const PropertyField property_fields[] = {
    // Title given in the document's properties, either family.
    { dublin_core, "title", nullptr, spotlight_keys::title, PropertyKind::Text },
    // Office Open XML: the author who created the document.
    { dublin_core, "creator", nullptr, spotlight_keys::authors, PropertyKind::TextArray },
    // Office Open XML: the last person to save it.
    { open_xml_core, "lastModifiedBy", nullptr, spotlight_keys::editors, PropertyKind::TextArray },
    // Office Open XML: the application that saved it.
    { open_xml_extended, "Application", nullptr, spotlight_keys::creator, PropertyKind::Text },
    // Office Open XML: pages as the word processor last laid them out.
    { open_xml_extended, "Pages", nullptr, spotlight_keys::number_of_pages, PropertyKind::Number },
    // Office Open XML: a presentation's slides, which the Mac counts as its pages.
    { open_xml_extended, "Slides", nullptr, spotlight_keys::number_of_pages, PropertyKind::Number },
    // OpenDocument: the author who created the document.
    { open_document_meta, "initial-creator", nullptr, spotlight_keys::authors, PropertyKind::TextArray },
    // OpenDocument: the application that saved it.
    { open_document_meta, "generator", nullptr, spotlight_keys::creator, PropertyKind::Text },
    // OpenDocument: page count from the document's statistics.
    { open_document_meta, "document-statistic", "page-count", spotlight_keys::number_of_pages, PropertyKind::Number },
    // The documents' own creation and save times are left out: a Mac
    // dates a document's content by the file, as it came onto the volume.
};

// In OpenDocument, dc:creator names the last person to save the document;
// in Office Open XML it names the author. One element, two meanings.
const PropertyField open_document_last_editor = {
    dublin_core, "creator", nullptr, spotlight_keys::editors, PropertyKind::TextArray
};

bool has_value(const ImportedValues &values, const QString &key)
{
    for (const auto &[found_key, value] : values) {
        if (found_key == key)
            return true;
    }
    return false;
}

std::optional<MetadataValue> property_value(PropertyKind kind, const QString &text)
{
    const QString trimmed = text.trimmed();
    if (trimmed.isEmpty())
        return std::nullopt;
    switch (kind) {
    case PropertyKind::Text:
        return MetadataValue::from_text(trimmed);
    case PropertyKind::TextArray:
        return MetadataValue::from_array({ MetadataValue::from_text(trimmed) });
    case PropertyKind::Number: {
        bool whole = false;
        const qlonglong count = trimmed.toLongLong(&whole);
        if (!whole || count < 0)
            return std::nullopt;
        return MetadataValue::from_number(double(count));
    }
    }
    return std::nullopt;
}

// Adds the values of one property part; the first value of a key stays.
void read_properties(const QByteArray &part, bool open_document, ImportedValues &values)
{
    QXmlStreamReader reader(part);
    while (!reader.atEnd()) {
        if (reader.readNext() != QXmlStreamReader::StartElement)
            continue;
        const QStringView namespace_uri = reader.namespaceUri();
        const QStringView element = reader.name();
        const PropertyField *matched = nullptr;
        if (open_document && namespace_uri == QLatin1String(dublin_core) && element == QLatin1String("creator")) {
            matched = &open_document_last_editor;
        } else {
            for (const PropertyField &field : property_fields) {
                if (namespace_uri == QLatin1String(field.namespace_uri) && element == QLatin1String(field.element)) {
                    matched = &field;
                    break;
                }
            }
        }
        if (!matched)
            continue;
        const QString key = QString::fromLatin1(matched->spotlight_key);
        QString text;
        if (matched->attribute)
            text = reader.attributes().value(QLatin1String(open_document_meta), QLatin1String(matched->attribute)).toString();
        else
            text = reader.readElementText(QXmlStreamReader::IncludeChildElements);
        if (has_value(values, key))
            continue;
        if (const std::optional<MetadataValue> value = property_value(matched->kind, text))
            values.emplace_back(key, *value);
    }
}

bool listed(const char *const (&types)[3], const QString &content_type)
{
    for (const char *type : types) {
        if (content_type == QLatin1String(type))
            return true;
    }
    return false;
}

} // namespace

QString OfficeImporter::name() const
{
    return QStringLiteral("office");
}

ImportedValues OfficeImporter::import(int fd, const QString &content_type) const
{
    ImportedValues values;
    const bool open_document = listed(open_document_types, content_type);
    if (!open_document && !listed(open_xml_types, content_type))
        return values;
    const std::optional<QByteArray> bytes = read_whole_descriptor(fd, document_size_limit);
    if (!bytes || bytes->isEmpty())
        return values;
    const std::optional<ZipArchive> archive = ZipArchive::open(*bytes);
    if (!archive)
        return values;

    const auto read_parts = [&](const auto &parts) {
        for (const char *name : parts) {
            if (const std::optional<QByteArray> part = archive->entry(name, part_size_limit, part_max_ratio))
                read_properties(*part, open_document, values);
        }
    };
    if (open_document)
        read_parts(open_document_parts);
    else
        read_parts(open_xml_parts);
    return values;
}
