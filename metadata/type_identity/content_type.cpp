#include "content_type.h"

QString name_extension(const QString &name)
{
    const qsizetype dot = name.lastIndexOf(QLatin1Char('.'));
    if (dot <= 0 || dot == name.size() - 1)
        return QString();
    return name.mid(dot + 1).toLower();
}

const ContentType *content_type_of(const TypedObject &object)
{
    const ContentTypeTable &table = ContentTypeTable::system();
    const QString extension = name_extension(object.name);
    switch (object.form) {
    case TypedObject::Form::RegularFile:
        // The Finder's alias flag outweighs whatever the name says.
        if (object.finder_alias)
            return table.for_identifier(QStringLiteral("com.apple.alias-file"));
        if (!extension.isEmpty()) {
            if (const ContentType *known = table.for_extension(extension, ContentTypeTable::Form::File))
                return known;
        } else if (object.executable) {
            return table.for_identifier(QStringLiteral("public.unix-executable"));
        }
        return table.for_identifier(QStringLiteral("public.data"));
    case TypedObject::Form::Folder:
        if (!extension.isEmpty()) {
            if (const ContentType *bundle = table.for_extension(extension, ContentTypeTable::Form::Folder))
                return bundle;
        }
        return table.for_identifier(QStringLiteral("public.folder"));
    case TypedObject::Form::SymbolicLink:
        return table.for_identifier(QStringLiteral("public.symlink"));
    case TypedObject::Form::Other:
        break;
    }
    return nullptr;
}

QString content_type_identifier(const QString &file_name, bool executable)
{
    TypedObject object;
    object.name = file_name;
    object.executable = executable;
    const ContentType *type = content_type_of(object);
    return type ? type->identifier : QString();
}
