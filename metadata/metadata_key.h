#ifndef METADATA_KEY_H
#define METADATA_KEY_H

#include <QByteArray>
#include <QByteArrayView>
#include <QString>

// The keys a file's own facts, type and Finder information answer, each
// told apart by a number rather than by its spelling.
enum class KnownKey {
    Other, // any key no file fact answers
    FsName,
    DisplayName,
    Path,
    FsSize,
    FsCreationDate,
    ContentCreationDate,
    FsContentChangeDate,
    ContentModificationDate,
    FsOwnerUserId,
    FsOwnerGroupId,
    LastUsedDate,
    UserTags,
    WhereFroms,
    ContentType,
    ContentTypeTree,
    Kind,
    CfBundleIdentifier,
    Version,
    Copyright,
    ExecutablePlatform,
    ExecutableArchitectures,
    FsTypeCode,
    FsCreatorCode,
    FsFinderFlags,
    FsLabel,
    FsInvisible,
    FsIsExtensionHidden,
    FsHasCustomIcon,
    FsIsStationery,
    DateAdded,
    FsNodeCount,
    DocumentIdentifier,
    LogicalSize,
    PhysicalSize,
    FsIsReadable,
    FsIsWriteable,
};

// An attribute key as a run asks for it, worked out once for the whole run
// rather than once per file: every file of a run is asked the same keys.
class MetadataKey
{
public:
    explicit MetadataKey(const QString &name);

    // The key as the host named it.
    const QString &name() const { return name_; }
    // The extended attribute macOS keeps the key's value in, UTF-8.
    QByteArrayView attribute_name() const { return attribute_name_; }
    // Which file fact answers it.
    KnownKey known() const { return known_; }
    // Whether a file's content may answer it: some importer gives it.
    bool importable() const { return importable_; }

private:
    QString name_;
    QByteArray attribute_name_;
    KnownKey known_ = KnownKey::Other;
    bool importable_ = true;
};

#endif // METADATA_KEY_H
