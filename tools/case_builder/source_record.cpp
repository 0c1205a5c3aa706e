#include "source_record.h"

QString SourceRecord::file_name() const
{
    return stored_path.mid(stored_path.lastIndexOf(QLatin1Char('/')) + 1);
}

QString SourceRecord::parent_path() const
{
    const int slash = stored_path.lastIndexOf(QLatin1Char('/'));
    return slash <= 0 ? QStringLiteral("/") : stored_path.left(slash);
}

QString SourceRecord::extension() const
{
    // Directories have no extension, and neither have hidden files such as
    // ".profile": the dot there starts the name.
    if (kind == Kind::Directory)
        return QString();
    const QString name = file_name();
    const int dot = name.lastIndexOf(QLatin1Char('.'));
    return dot <= 0 ? QString() : name.mid(dot + 1).toLower();
}

QString SourceRecord::kind_text() const
{
    switch (kind) {
    case Kind::File:
        return QStringLiteral("file");
    case Kind::Directory:
        return QStringLiteral("directory");
    case Kind::SymbolicLink:
        return QStringLiteral("symlink");
    case Kind::Other:
        break;
    }
    return QStringLiteral("other");
}
