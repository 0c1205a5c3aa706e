#ifndef VOLUME_IMAGES_H
#define VOLUME_IMAGES_H

// The shared fixture images, unpacked into a test's own folder, and E01
// images made of them with ewfacquire.

#include <QFile>
#include <QProcess>
#include <QString>

inline const QString volume_fixtures = QStringLiteral(VANTREL_FIXTURES_DIR "/volumes/");

// The fixture image name (without its .gz) unpacked into folder; empty on a failure.
inline QString unpack_volume_image(const QString &folder, const QString &name)
{
    QProcess gzip;
    gzip.setStandardOutputFile(folder + '/' + name);
    gzip.start(QStringLiteral("gzip"), {QStringLiteral("-dc"), volume_fixtures + name + ".gz"});
    if (!gzip.waitForFinished(60000) || gzip.exitCode() != 0)
        return QString();
    return folder + '/' + name;
}

// An E01 image of raw at target (without extension), in segments of at
// most segment_bytes; the first segment's path, empty on a failure.
inline QString make_e01_image(const QString &raw, const QString &target, qint64 segment_bytes = 0)
{
    QStringList arguments = {"-u", "-q", "-t", target};
    if (segment_bytes > 0)
        arguments << "-S" << QString::number(segment_bytes);
    arguments << raw;
    QProcess acquire;
    acquire.start(QStringLiteral("ewfacquire"), arguments);
    if (!acquire.waitForFinished(120000) || acquire.exitCode() != 0 || !QFile::exists(target + ".E01"))
        return QString();
    return target + ".E01";
}

// Runs program, its messages left unseen; whether it succeeded. Its
// output goes to output when given.
inline bool run_quietly(const QString &program, const QStringList &arguments, QByteArray *output = nullptr)
{
    QProcess process;
    if (!output)
        process.setStandardOutputFile(QProcess::nullDevice());
    process.setStandardErrorFile(QProcess::nullDevice());
    process.start(program, arguments);
    const bool done =
        process.waitForFinished(60000) && process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0;
    if (output)
        *output = process.readAllStandardOutput();
    return done;
}

// A loop device attached read-only to image with losetup's options, for a
// test that runs as root; empty when this machine does not let it.
inline QString attach_loop_device(const QString &image, const QStringList &options = {})
{
    QByteArray device;
    if (!run_quietly(QStringLiteral("losetup"), QStringList{"-r", "-f", "--show"} + options + QStringList{image},
                     &device))
        return QString();
    device = device.trimmed();
    return device.startsWith("/dev/loop") ? QString::fromUtf8(device) : QString();
}

#endif // VOLUME_IMAGES_H
