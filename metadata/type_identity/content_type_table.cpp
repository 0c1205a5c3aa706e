#include "content_type_table.h"

#include <QFile>

const ContentTypeTable &ContentTypeTable::system()
{
    // Read once per process: every file of a run asks.
    static const ContentTypeTable table = [] {
        QFile file(QStringLiteral(":/type_identity/content_types.tsv"));
        if (!file.open(QIODevice::ReadOnly))
            return ContentTypeTable();
        return parse(file.readAll());
    }();
    return table;
}

ContentTypeTable ContentTypeTable::parse(QByteArrayView text)
{
    ContentTypeTable table;
    const QString all = QString::fromUtf8(text);
    const QStringList lines = all.split(QLatin1Char('\n'));
    for (const QString &line : lines) {
        if (line.isEmpty() || line.startsWith(QLatin1Char('#')))
            continue;
        const QStringList columns = line.split(QLatin1Char('\t'));
        if (columns.size() != 5 || columns[0].isEmpty() || table.by_identifier_.contains(columns[0]))
            continue;
        const QString &form = columns[2];
        const bool file = form == QLatin1String("file") || form == QLatin1String("any");
        const bool folder = form == QLatin1String("folder") || form == QLatin1String("any");

        ContentType type;
        type.identifier = columns[0];
        type.kind = columns[3];
        type.tree.append(type.identifier);
        if (columns[4] != QLatin1String("-"))
            type.tree += columns[4].split(QLatin1Char(' '), Qt::SkipEmptyParts);

        const qsizetype at = qsizetype(table.types_.size());
        table.types_.push_back(std::move(type));
        table.by_identifier_.insert(columns[0], at);
        if (columns[1] == QLatin1String("-"))
            continue;
        for (const QString &extension : columns[1].split(QLatin1Char(' '), Qt::SkipEmptyParts)) {
            // The first row that claims an extension keeps it.
            if (file && !table.file_extensions_.contains(extension))
                table.file_extensions_.insert(extension, at);
            if (folder && !table.folder_extensions_.contains(extension))
                table.folder_extensions_.insert(extension, at);
        }
    }
    return table;
}

const ContentType *ContentTypeTable::for_extension(const QString &extension, Form form) const
{
    const QHash<QString, qsizetype> *extensions = form == Form::File ? &file_extensions_ : &folder_extensions_;
    const auto found = extensions->constFind(extension);
    return found == extensions->constEnd() ? nullptr : &types_[std::size_t(*found)];
}

const ContentType *ContentTypeTable::for_identifier(const QString &identifier) const
{
    const auto found = by_identifier_.constFind(identifier);
    return found == by_identifier_.constEnd() ? nullptr : &types_[std::size_t(*found)];
}
