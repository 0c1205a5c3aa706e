#ifndef BUNDLE_INFO_H
#define BUNDLE_INFO_H

#include <QByteArrayView>
#include <QString>

#include <optional>

// What a bundle's Info.plist says of it; a key the list lacks (or holds as
// anything but a string) stays null text.
struct BundleInfo
{
    QString identifier;    // CFBundleIdentifier
    QString short_version; // CFBundleShortVersionString
    QString display_name;  // CFBundleDisplayName
    QString name;          // CFBundleName
    QString executable;    // CFBundleExecutable: the main executable's file name
    QString copyright;     // NSHumanReadableCopyright
    bool requires_iphone_os = false; // LSRequiresIPhoneOS: built for iPhone and iPad

    // Where an Info.plist larger than this is no genuine one.
    static constexpr qint64 max_size = 1 << 20;
};

// The bundle facts held by the bytes of an Info.plist, binary or XML;
// nullopt for bytes that are no property list with a dictionary at its
// root, or that would cost the parser too much to read.
std::optional<BundleInfo> parse_bundle_info(QByteArrayView bytes);

#endif // BUNDLE_INFO_H
