#ifndef SPOTLIGHT_PAGE_CODECS_H
#define SPOTLIGHT_PAGE_CODECS_H

#include <QByteArray>

// The compressions of a store's metadata pages. Each decodes input into
// output, at most limit bytes of it, and fails on anything damaged or
// larger; each is safe on any thread.

// Apple's LZ4 framing of a page's contents.
bool spotlight_decompress_lz4(const QByteArray &input, qint64 limit, QByteArray &output);

// A zlib stream.
bool spotlight_decompress_zlib(const QByteArray &input, qint64 limit, QByteArray &output);

// Whether bytes begin with a zlib stream's header.
bool spotlight_is_zlib_stream(const QByteArray &bytes);

#endif // SPOTLIGHT_PAGE_CODECS_H
