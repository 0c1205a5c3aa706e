#ifndef CONTENT_SAMPLES_H
#define CONTENT_SAMPLES_H

#include "content_importer.h"

#include <QString>
#include <QTemporaryDir>

#include <map>

// Sample files of every family the importers read, made in a temporary
// folder by the tools that write such files, and hostile files beside them.
class ContentSamples
{
public:
    // Makes every sample; failures to write are test failures.
    void make_all();
    QString path(const QString &name) const { return folder.filePath(name); }
    QByteArray read(const QString &name) const;
    bool write(const QString &name, const QByteArray &bytes) const;

    // Samples whose tool is missing or failed, with the reason.
    std::map<QString, QString> missing;

private:
    // Runs a tool that makes sample in the samples' folder (or in); a failure lists it as missing.
    void make_with(const QString &sample, const QString &program, const QStringList &arguments,
                   const QString &in = QString());

    QTemporaryDir folder;
};

// The values the first importer that reads the type finds in the file, read
// through a descriptor as the importer process hands it over; that
// importer's name in importer_name when it is given.
ImportedValues import_file(const QString &path, const QString &content_type, QString *importer_name = nullptr);

#endif // CONTENT_SAMPLES_H
