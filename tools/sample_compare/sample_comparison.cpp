#include "sample_comparison.h"

#include "metadata_store.h"
#include "metadata_value_text.h"

#include <memory>

QStringList differing_values(MetadataStore &store, const QString &samples_root, const QList<ExpectedFile> &expected)
{
    QStringList differences;
    for (const ExpectedFile &file : expected) {
        // The path as the host would join the source and a stored path.
        const std::unique_ptr<MetadataItem> item = store.create_item(samples_root + QLatin1Char('/') + file.name);
        if (!item) {
            differences.append(file.name + QStringLiteral(": no such file beneath the samples' folder"));
            continue;
        }
        for (const auto &[key, wanted] : file.values) {
            QString got = metadata_value_text(item->copy_attribute(key));
            if (got.isNull())
                got = QLatin1String(no_value_text);
            if (got != wanted)
                differences.append(QStringLiteral("%1: %2: expected '%3', got '%4'").arg(file.name, key, wanted, got));
        }
    }
    return differences;
}
