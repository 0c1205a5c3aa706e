#include "mainwindow.h"
#include "private_runtime_directory.h"

#include <QApplication>
#include <QDebug>
#include <QString>

#include <array>

namespace {

// The worker's own arguments, in the order the host passes them.
enum Argument {
    VirtualSourcePath = 1,
    FilePaths,
    FileSystemDirPath,
    AppleMetadataAttributesNames,
    AppleMetadataColumnNames,
    SourceCountName,
    Flag,
    ArgumentCount
};

// An absent argument is empty text; nothing past argc is ever read.
QString argument_text(int argc, char **argv, int index)
{
    return index < argc ? QString::fromUtf8(argv[index]) : QString();
}

} // namespace

int main(int argc, char *argv[])
{
    // The application object gets a vector of its own: the worker runs on
    // hosts without a display, and none of the host's arguments (a path
    // such as "-style") may be taken by the framework as one of its options.
    // The minimal platform draws nothing and loads no fonts: the window is
    // never shown, and reading the system's font configuration cost more
    // than a thousand rows.
    char program_name[] = "vantrel";
    char *program = argc > 0 && argv[0] ? argv[0] : program_name;
#ifdef Q_OS_MACOS
    std::array<char *, 2> qt_argv = {program, nullptr};
#else
    char platform_option[] = "-platform";
    char platform_name[] = "minimal";
    std::array<char *, 4> qt_argv = {program, platform_option, platform_name, nullptr};
#endif
    int qt_argc = int(qt_argv.size()) - 1;
    const PrivateRuntimeDirectory runtime_directory;
    QApplication application(qt_argc, qt_argv.data());

    MainWindow window;

    if (argc != ArgumentCount) {
        qDebug() << "Parameter Count Mismatch";
        qDebug() << "APP virtual_source_path file_paths file_system_dir_path "
                    "apple_metadata_attributes_names apple_metadata_column_names "
                    "source_count_name flag";
    }

    const QString virtual_source_path = argument_text(argc, argv, VirtualSourcePath);
    const QString file_paths = argument_text(argc, argv, FilePaths);
    const QString file_system_dir_path = argument_text(argc, argv, FileSystemDirPath);
    const QString attributes_names = argument_text(argc, argv, AppleMetadataAttributesNames);
    const QString column_names = argument_text(argc, argv, AppleMetadataColumnNames);
    const QString source_count_name = argument_text(argc, argv, SourceCountName);
    const QString flag = argument_text(argc, argv, Flag);

    window.set_initialize(file_paths, attributes_names, file_system_dir_path, flag,
                          source_count_name, virtual_source_path, column_names);
    return 0;
}
