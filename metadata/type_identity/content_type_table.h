#ifndef CONTENT_TYPE_TABLE_H
#define CONTENT_TYPE_TABLE_H

#include <QByteArrayView>
#include <QHash>
#include <QString>
#include <QStringList>

#include <vector>

// One uniform type identifier as a Mac describes it to an English-language
// examiner.
struct ContentType
{
    QString identifier; // "public.jpeg"
    QString kind;       // "JPEG image"
    QStringList tree;   // the type itself, then what it conforms to, in the Mac's order
};

// The types the Mac knows by name extension, kept in one data file beside
// the worker: which type an extension gives a file or a folder, and each
// type's kind and conformance.
class ContentTypeTable
{
public:
    // What kind of object an extension is looked up for.
    enum class Form { File, Folder };

    // The table kept with the worker.
    static const ContentTypeTable &system();
    // A table read from the data file's text; malformed lines are left out.
    static ContentTypeTable parse(QByteArrayView text);

    // The type an extension (in lower case) gives an object of that form;
    // nullptr when the table has none.
    const ContentType *for_extension(const QString &extension, Form form) const;
    // The type of that identifier; nullptr when the table has none.
    const ContentType *for_identifier(const QString &identifier) const;

    qsizetype size() const { return qsizetype(types_.size()); }

private:
    std::vector<ContentType> types_;
    QHash<QString, qsizetype> by_identifier_;
    QHash<QString, qsizetype> file_extensions_;
    QHash<QString, qsizetype> folder_extensions_;
};

#endif // CONTENT_TYPE_TABLE_H
