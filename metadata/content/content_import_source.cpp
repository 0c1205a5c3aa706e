#include "content_import_source.h"

#include "type_identity/content_type.h"
#include "content_signature.h"
#include "importable_keys.h"
#include "importer_location.h"

#include <unistd.h>

#include <cerrno>

namespace {

// A file's imported values, read on the first key that needs them.
class ImportedContent : public FileContent
{
public:
    ImportedContent(ContentImportSource &source, int file, QString content_type, const QSet<QString> &keys)
        : source_(source), file_(file), content_type_(std::move(content_type)), keys_(keys)
    {
    }

    MetadataValue value(const QString &key) override
    {
        if (!keys_.contains(key))
            return MetadataValue::null_value();
        if (!asked_) {
            values_ = source_.import(file_, content_type_);
            asked_ = true;
        }
        for (const auto &[name, value] : values_) {
            if (name == key)
                return value;
        }
        return MetadataValue::null_value();
    }

private:
    ContentImportSource &source_;
    const int file_;
    const QString content_type_;
    const QSet<QString> &keys_;
    bool asked_ = false;
    ImportedValues values_;
};

} // namespace

ContentImportSource::ContentImportSource(const QString &importer_executable, ImporterLimits limits)
    : importer_(importer_executable, limits)
{
}

std::unique_ptr<FileContentSource> ContentImportSource::installed()
{
    const QString importer = importer_executable();
    if (importer.isEmpty())
        return nullptr;
    return std::make_unique<ContentImportSource>(importer);
}

std::unique_ptr<FileContent> ContentImportSource::content_of(const QString &path, int file)
{
    // A Mac chooses the importer by the name's type alone, as it types files.
    const ExtensionType &typed = extension_type(QStringView(path).sliced(path.lastIndexOf(QLatin1Char('/')) + 1));
    if (typed.keys->isEmpty())
        return nullptr;
    return std::make_unique<ImportedContent>(*this, file, typed.content_type, *typed.keys);
}

const ContentImportSource::ExtensionType &ContentImportSource::extension_type(QStringView name)
{
    // A plain file's type follows from its extension alone.
    constexpr std::size_t max_kept = 64;
    const qsizetype dot = name.lastIndexOf(QLatin1Char('.'));
    const QStringView extension = dot <= 0 ? QStringView() : name.sliced(dot + 1);
    for (const ExtensionType &known : extension_types_) {
        if (known.extension == extension)
            return known;
    }
    ExtensionType typed;
    typed.extension = extension.toString();
    typed.content_type = content_type_identifier(name.toString());
    typed.keys = &importable_keys(typed.content_type);
    if (extension_types_.size() >= max_kept) {
        uncached_ = typed;
        return uncached_;
    }
    extension_types_.push_back(typed);
    return extension_types_.back();
}

ImportedValues ContentImportSource::import(int file, const QString &content_type)
{
    char head[content_signature_bytes];
    ssize_t got;
    do
        got = ::pread(file, head, sizeof head, 0);
    while (got < 0 && errno == EINTR);
    if (!content_may_match(content_type, QByteArrayView(head, got > 0 ? qsizetype(got) : 0)))
        return {};
    return importer_.import(file, content_type).value_or(ImportedValues());
}
