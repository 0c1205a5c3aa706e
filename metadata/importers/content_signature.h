#ifndef CONTENT_SIGNATURE_H
#define CONTENT_SIGNATURE_H

#include <QByteArrayView>
#include <QString>

// How many leading bytes of a file content_may_match looks at.
constexpr qsizetype content_signature_bytes = 1024;

// Whether a file beginning with head (its first content_signature_bytes
// bytes, or all of a shorter file) can be of the content type. False only
// where the format's own signature rules it out, so that a file no importer
// could read (empty, truncated, or misnamed) is never handed to one.
bool content_may_match(const QString &content_type, QByteArrayView head);

#endif // CONTENT_SIGNATURE_H
