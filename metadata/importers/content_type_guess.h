#ifndef CONTENT_TYPE_GUESS_H
#define CONTENT_TYPE_GUESS_H

#include <QString>

// The uniform type identifier of the file at path as its name tells it
// ("public.jpeg" for "IMG_0001.JPG"); empty when the name says nothing the
// importers read.
QString content_type_from_name(const QString &path);

#endif // CONTENT_TYPE_GUESS_H
