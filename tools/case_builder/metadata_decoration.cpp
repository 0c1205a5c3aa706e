#include "metadata_decoration.h"

#include <QFile>
#include <QtEndian>

#include <plist/plist.h>

#include <cerrno>
#include <cstring>
#include <memory>

#include <sys/xattr.h>

namespace {

// Where a Mac's metadata lands when its files are copied to Linux.
const char where_froms_name[] = "user.com.apple.metadata:kMDItemWhereFroms";
const char user_tags_name[] = "user.com.apple.metadata:_kMDItemUserTags";
const char desktop_tags_name[] = "user.xdg.tags";
const char last_used_name[] = "user.com.apple.lastuseddate#PS";

struct PlistDeleter
{
    void operator()(void *node) const { plist_free(static_cast<plist_t>(node)); }
};

bool set_attribute(const QString &path, const char *name, const QByteArray &value, QString *error)
{
    const QByteArray local_path = QFile::encodeName(path);
    if (::lsetxattr(local_path.constData(), name, value.constData(), size_t(value.size()), 0) == 0)
        return true;
    const int code = errno;
    *error = code == ENOTSUP
                 ? QStringLiteral("the file system of %1 keeps no extended attributes").arg(path)
                 : QStringLiteral("cannot set %1 on %2: %3")
                       .arg(QLatin1String(name), path, QString::fromLocal8Bit(std::strerror(code)));
    return false;
}

// A binary property list holding an array of texts.
QByteArray binary_plist_of_texts(const QStringList &texts)
{
    std::unique_ptr<void, PlistDeleter> array(plist_new_array());
    for (const QString &text : texts)
        plist_array_append_item(array.get(), plist_new_string(text.toUtf8().constData()));
    char *bytes = nullptr;
    uint32_t length = 0;
    plist_to_bin(array.get(), &bytes, &length);
    const QByteArray result(bytes, int(length));
    plist_to_bin_free(bytes);
    return result;
}

// The last-used stamp: seconds then nanoseconds, 64 bits each, little endian.
QByteArray last_used_stamp(qint64 seconds, qint64 nanoseconds)
{
    QByteArray stamp(16, '\0');
    qToLittleEndian<qint64>(seconds, stamp.data());
    qToLittleEndian<qint64>(nanoseconds, stamp.data() + 8);
    return stamp;
}

} // namespace

bool MetadataDecoration::write_to(const QString &path, QString *error) const
{
    // The Finder keeps a tag as its name and label number on two lines;
    // desktops on Linux keep the names only, comma-separated.
    QStringList finder_tags;
    QStringList names;
    for (const Tag &tag : tags) {
        finder_tags << tag.name + QLatin1Char('\n') + QString::number(tag.colour);
        names << tag.name;
    }
    return set_attribute(path, where_froms_name, binary_plist_of_texts(where_froms), error)
           && set_attribute(path, user_tags_name, binary_plist_of_texts(finder_tags), error)
           && set_attribute(path, desktop_tags_name, names.join(QLatin1Char(',')).toUtf8(), error)
           && set_attribute(path, last_used_name,
                            last_used_stamp(last_used_seconds, last_used_nanoseconds), error);
}
