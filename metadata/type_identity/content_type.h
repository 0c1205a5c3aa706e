#ifndef CONTENT_TYPE_H
#define CONTENT_TYPE_H

#include "content_type_table.h"

#include <QString>

// What the file store knows of an object, enough to tell its type the way
// a Mac does: by the name's extension alone, never by looking inside.
struct TypedObject
{
    enum class Form { RegularFile, Folder, SymbolicLink, Other };

    QString name;            // the last path component
    Form form = Form::RegularFile;
    bool executable = false; // a regular file with an execute permission bit
    bool finder_alias = false; // the Finder's alias flag is set
};

// The type a Mac gives the object: a known extension's type (bundles for
// folders such as .app), else public.data for a regular file
// (public.unix-executable for an executable one without extension),
// public.folder, public.symlink; nullptr for pipes, sockets and devices.
const ContentType *content_type_of(const TypedObject &object);

// The identifier of content_type_of(object) for a regular file of that
// name ("public.jpeg" for "IMG_0001.JPG", "public.data" for "LICENSE").
QString content_type_identifier(const QString &file_name, bool executable = false);

// The extension a Mac sees in a name, in lower case; empty for none (no
// dot, a leading dot only, or nothing after the last dot).
QString name_extension(const QString &name);

#endif // CONTENT_TYPE_H
