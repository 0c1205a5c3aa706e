#include "synthetic_volume_index.h"

#include <QFile>
#include <QRandomGenerator>
#include <QtEndian>

#include <vector>

using namespace synthetic_spotlight;

namespace {

constexpr qsizetype page_body_size = 64 * 1024;
constexpr int max_depth = 8;
constexpr quint64 root_id = 2;

struct Folder
{
    quint64 id;
    qint64 item; // which item it is
    int parent;  // index in the folder list; -1 for the root
    int depth;
    QByteArray name;
};

struct FileKind
{
    const char *extension;
    const char *content_type;
    const char *kind;
    const char *tree; // the content type's parents, NUL-separated
    bool document;
};

const FileKind kinds[] = {
    {"jpg", "public.jpeg", "JPEG image", "public.jpeg\0public.image\0public.data\0public.item\0public.content", false},
    {"png", "public.png", "PNG image", "public.png\0public.image\0public.data\0public.item\0public.content", false},
    {"pdf", "com.adobe.pdf", "PDF document", "com.adobe.pdf\0public.data\0public.item\0public.composite-content\0public.content", true},
    {"docx", "org.openxmlformats.wordprocessingml.document", "Microsoft Word document",
     "org.openxmlformats.wordprocessingml.document\0org.openxmlformats.openxml\0public.zip-archive\0public.data\0public.item", true},
    {"txt", "public.plain-text", "Plain Text", "public.plain-text\0public.text\0public.data\0public.item\0public.content", true},
    {"mov", "com.apple.quicktime-movie", "QuickTime movie", "com.apple.quicktime-movie\0public.movie\0public.audiovisual-content\0public.data\0public.item", false},
    {"plist", "com.apple.property-list", "Property List", "com.apple.property-list\0public.xml\0public.text\0public.data\0public.item", false},
    {"dylib", "com.apple.mach-o-dylib", "Document", "com.apple.mach-o-dylib\0public.executable\0public.data\0public.item", false},
};

const char *const words[] = {"Report", "Invoice", "Holiday", "Budget", "Notes", "Scan", "Photo", "Draft",
                             "Meeting", "Contract", "Résumé", "Backup", "Project", "Export", "Screenshot", "Archive"};

class RecordWriter
{
public:
    explicit RecordWriter(QByteArray &record) : record_(record) {}

    void text(quint32 property, const QByteArray &text)
    {
        step(property);
        record_ += varint(quint64(text.size() + 1)) + text + '\0';
    }
    void texts(quint32 property, const QList<QByteArray> &texts)
    {
        QByteArray joined;
        for (const QByteArray &text : texts)
            joined += text + '\0';
        step(property);
        record_ += varint(quint64(joined.size())) + joined;
    }
    void date(quint32 property, double seconds_since_2001) { step(property); append_double(seconds_since_2001); }
    void dates(quint32 property, const QList<double> &dates)
    {
        step(property);
        record_ += varint(quint64(dates.size()) * 8);
        for (double date : dates)
            append_double(date);
    }
    void integer(quint32 property, quint64 value) { step(property); record_ += varint(value); }
    void integers(quint32 property, const QList<quint64> &values)
    {
        step(property);
        record_ += varint(quint64(values.size()) * 8);
        for (quint64 value : values)
            record_ += varint(value);
    }
    void flag(quint32 property, bool value) { step(property); record_ += char(value ? 1 : 0); }
    void bytes(quint32 property, const QByteArray &bytes)
    {
        step(property);
        record_ += varint(quint64(bytes.size())) + bytes;
    }

private:
    void step(quint32 property)
    {
        record_ += varint(property - previous_);
        previous_ = property;
    }
    void append_double(double value)
    {
        char bytes[8];
        qToLittleEndian(value, bytes);
        record_.append(bytes, 8);
    }

    QByteArray &record_;
    quint32 previous_ = 0;
};

QByteArray header(quint64 id, quint64 parent, quint64 updated)
{
    return varint(id) + '\0' + varint(1) + varint(parent) + varint(updated);
}

} // namespace

bool write_synthetic_volume_index(const SyntheticVolumeIndex &shape, const QString &store_path,
                                  SyntheticVolumeResult &result)
{
    QRandomGenerator random(shape.seed);
    const auto chance = [&random](int percent) { return int(random.bounded(100)) < percent; };
    const double now_2001 = 7.0e8; // late 2023, in seconds since 2001

    std::vector<Folder> folders;
    folders.push_back({root_id, 0, -1, 0, QByteArray()});
    QList<QByteArray> pages;
    QList<qsizetype> page_sizes;
    QByteArray body;
    const qint64 sample_every = shape.samples > 0 ? qMax<qint64>(1, shape.items / shape.samples) : 0;

    const auto close_page = [&] {
        if (body.isEmpty())
            return;
        pages.append(page(body, 0x09, quint32(0x14 + body.size()), true, shape.compression));
        page_sizes.append(pages.last().size());
        body.clear();
    };
    const auto path_of = [&folders](int folder, const QByteArray &name) {
        QByteArray path = "/" + name;
        for (int at = folder; at > 0; at = folders[size_t(at)].parent)
            path.prepend("/" + folders[size_t(at)].name);
        return QString::fromUtf8(path);
    };

    quint64 id = 100;
    for (qint64 item = 0; item < shape.items; ++item) {
        QByteArray record;
        RecordWriter writer(record);
        const double created = now_2001 - double(random.bounded(400000000));
        const double modified = created + double(random.bounded(30000000));
        const quint64 updated = quint64((modified + 978307200.0) * 1e6);
        if (item == 0) {
            record = header(root_id, 1, updated);
            writer.text(1, "Macintosh HD");
            writer.text(2, "Macintosh HD");
            writer.text(4, "public.volume");
        } else {
            id += 1 + random.bounded(4);
            // Files and folders go into one of the latest folders, as a
            // user's tree grows; folders no deeper than max_depth.
            const int recent = int(qMin<size_t>(folders.size(), 12));
            int parent = int(folders.size()) - 1 - int(random.bounded(recent));
            const bool is_folder = chance(12);
            if (is_folder && folders[size_t(parent)].depth >= max_depth)
                parent = int(random.bounded(int(qMin<size_t>(folders.size(), 40))));
            record = header(id, folders[size_t(parent)].id, updated);
            const char *word = words[random.bounded(int(std::size(words)))];
            if (is_folder) {
                const QByteArray name = QByteArray(word) + ' ' + QByteArray::number(item);
                writer.text(1, name);
                writer.text(2, name);
                writer.integers(3, {random.bounded(1u << 30), random.bounded(1u << 30)});
                writer.text(4, "public.folder");
                writer.date(5, created);
                writer.date(6, modified);
                writer.date(7, modified);
                writer.integer(10, 501);
                writer.text(11, "Folder");
                writer.texts(20, {"public.folder", "public.directory", "public.item"});
                folders.push_back({id, item, parent, folders[size_t(parent)].depth + 1, name});
                ++result.folders;
            } else {
                const FileKind &kind = kinds[random.bounded(int(std::size(kinds)))];
                const QByteArray stem = QByteArray(word) + ' ' + QByteArray::number(item);
                const QByteArray name = stem + '.' + kind.extension;
                writer.text(1, name);
                writer.text(2, chance(70) ? stem : name);
                writer.text(4, kind.content_type);
                writer.date(5, created);
                writer.date(6, modified);
                writer.date(7, modified + double(random.bounded(1000)));
                const quint64 size = random.bounded(1u << 24);
                writer.integer(8, size);
                writer.integer(9, (size + 4095) & ~quint64(4095));
                writer.integer(10, 501);
                writer.text(11, kind.kind);
                const bool used = chance(60);
                if (used)
                    writer.date(12, modified + double(random.bounded(5000000)));
                if (used && chance(50)) {
                    QList<double> dates;
                    for (int i = 0, n = 1 + int(random.bounded(5)); i < n; ++i)
                        dates.append(modified + 86400.0 * i);
                    writer.dates(13, dates);
                    writer.integer(14, quint64(dates.size()));
                }
                if (chance(15))
                    writer.texts(15, {"https://downloads.example.com/files/" + QByteArray::number(id) + "/" + name,
                                      "https://www.example.com/search?q=" + stem.toPercentEncoding()});
                if (chance(5))
                    writer.texts(16, {chance(50) ? "Red" : "Work", "Important"});
                if (kind.document) {
                    if (chance(40))
                        writer.texts(17, {"Alex Example"});
                    writer.text(18, stem);
                    writer.flag(19, true);
                }
                const char *tree = kind.tree;
                QList<QByteArray> parents;
                while (*tree) {
                    parents.append(tree);
                    tree += qstrlen(tree) + 1;
                }
                writer.texts(20, parents);
                QByteArray digest(20, Qt::Uninitialized);
                for (char &byte : digest)
                    byte = char(random.bounded(256));
                writer.bytes(21, digest);
                if (sample_every && result.sample_paths.size() < shape.samples && item % sample_every == 0)
                    result.sample_paths.append(path_of(parent, name));
            }
        }
        result.record_bytes += record.size();
        body += u32(quint32(record.size())) + record;
        if (body.size() >= page_body_size)
            close_page();
    }
    close_page();
    result.items = shape.items;

    QFile file(store_path);
    if (!file.open(QIODevice::WriteOnly))
        return false;
    const QByteArray head = store_head(page_sizes);
    bool written = file.write(head) == head.size();
    for (const QByteArray &metadata : qAsConst(pages))
        written = written && file.write(metadata) == metadata.size();
    result.store_bytes = file.size();
    return written && file.flush();
}
