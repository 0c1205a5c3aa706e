#include "mainwindow.h"
#include "ui_mainwindow.h"

#include "vantrel.h"

MainWindow::MainWindow(QWidget *parent)
    : QMainWindow(parent)
    , ui(new Ui::MainWindow)
{
    ui->setupUi(this);
    reader = new vantrel(this);
}

MainWindow::~MainWindow()
{
    delete ui;
}

void MainWindow::set_initialize(QString file_paths, QString apple_metadata_attributes_names,
                                QString file_system_dir_path, QString flag,
                                QString source_count_name, QString virtual_source_path,
                                QString apple_metadata_column_names)
{
    reader->pub_set_initialize(file_paths, apple_metadata_attributes_names, file_system_dir_path,
                               flag, source_count_name, virtual_source_path,
                               apple_metadata_column_names);

    // Exact texts only: the host passes the digit alone, and anything else
    // (a blank, a leading zero, a word) must start nothing.
    if (flag == QLatin1String("1"))
        reader->pub_start_extraction_for_apple_timestamps();
    else if (flag == QLatin1String("2"))
        reader->pub_start_extraction_for_apple_metadata();
    else if (flag == QLatin1String("3"))
        reader->pub_start_extraction_for_right_click_fs_module();
    else if (flag == QLatin1String("4"))
        reader->pub_start_extraction_for_left_click_fs_module();
}
