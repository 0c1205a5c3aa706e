#ifndef MAINWINDOW_H
#define MAINWINDOW_H

#include <QMainWindow>
#include <QString>

QT_BEGIN_NAMESPACE
namespace Ui {
class MainWindow;
}
QT_END_NAMESPACE

class vantrel;

// Owner of the reader; never shown. It hands the job's parameters to the
// reader and starts the one run that the run kind names.
class MainWindow : public QMainWindow
{
    Q_OBJECT

public:
    explicit MainWindow(QWidget *parent = nullptr);
    ~MainWindow() override;

    // Stores the parameters in the reader and runs the requested run kind.
    void set_initialize(QString file_paths, QString apple_metadata_attributes_names,
                        QString file_system_dir_path, QString flag, QString source_count_name,
                        QString virtual_source_path, QString apple_metadata_column_names);

    // The reader this window owns, for tests that look at what a job left.
    vantrel *reader_object() const { return reader; }

private:
    Ui::MainWindow *ui;
    vantrel *reader;
};

#endif // MAINWINDOW_H
