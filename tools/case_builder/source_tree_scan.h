#ifndef SOURCE_TREE_SCAN_H
#define SOURCE_TREE_SCAN_H

#include "source_record.h"

#include <QString>
#include <QStringList>

// The records of a directory tree as the host would list them.
struct SourceTreeScan
{
    SourceRecords records; // every entry below the root, directories first in their folder's order
    QStringList warnings;  // folders whose contents could not be listed
    QString error;         // why the root itself cannot be read; empty on success
};

// Lists every entry below root (not the root itself) without following
// symbolic links, each folder's entries sorted by name, a folder's record
// right before its contents, so that two scans of one tree number alike.
// A root that is a file is read as a volume image (raw APFS or HFS+, a GPT
// disk of them, or an E01 image), and its volume's tree is listed.
SourceTreeScan scan_source_tree(const QString &root);

#endif // SOURCE_TREE_SCAN_H
