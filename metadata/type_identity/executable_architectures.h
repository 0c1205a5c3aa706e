#ifndef EXECUTABLE_ARCHITECTURES_H
#define EXECUTABLE_ARCHITECTURES_H

#include <QByteArrayView>
#include <QStringList>

// What a Mac's executable is built for, read from the first bytes of its
// Mach-O file: a thin file's one header, or a universal file's list of
// slices.
struct ExecutableArchitectures
{
    // How many leading bytes of an executable are read: enough for the
    // largest list of slices accepted.
    static constexpr qint64 header_size = 4096;

    // The architectures the header names, in the order it lists them, each
    // once ("x86_64", "arm64"); empty for bytes that are no Mach-O header
    // and for a header naming no architecture the Mac has a name for.
    static QStringList of(QByteArrayView header);
};

#endif // EXECUTABLE_ARCHITECTURES_H
