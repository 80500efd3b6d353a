// Picker files: opening .pkr files into tabs and saving a tab back.
#include "model/picker_host.h"
#include "model/picker_stream.h"
#include "view/picker_view.h"
#include "window/picker_window.h"
#include "window/window_texts.h"

#include <QDataStream>
#include <QDir>
#include <QFile>
#include <QFileDialog>
#include <QMessageBox>
#include <QSaveFile>
#include <QTabWidget>

void picker_window::open_tab()
{
    QStringList files = QFileDialog::getOpenFileNames(this, "Select Picker", QString(),
                                                      "Quillmarsh Picker (*.pkr)");
    if (!files.isEmpty())
        load_pickers(files);
}

void picker_window::load_one_picker(const QString& path)
{
    load_pickers(QStringList{path});
}

void picker_window::load_pickers(const QStringList& paths)
{
    for (int i = 0; i < paths.size(); ++i) {
        const QString& path = paths[i];
        QFile file(path);
        if (!file.open(QIODevice::ReadOnly)) {
            bool more = paths.size() > 1 && i < paths.size() - 1;
            auto buttons = more ? QMessageBox::Cancel | QMessageBox::Ignore : QMessageBox::Ok;
            auto answer = QMessageBox::critical(this, "Open Failed",
                                                texts::open_failed.arg(QDir::toNativeSeparators(path)),
                                                buttons);
            if (answer == QMessageBox::Cancel)
                return;
            continue;
        }
        picker_view* view = new picker_view(this);
        QDataStream in(&file);
        in.setVersion(picker_format::pkr_stream_version);
        pkr_header header;
        if (read_pkr_header(in, header) && header.version >= 2 && !header.backgroundKey.isEmpty())
            view->setBackground(header.backgroundKey, header.background);
        view->streamFrom(in, header.version);
        file.close();
        view->setPath(path);
        connect_picker(view);
        int index = tabWidget->addTab(view, header.name);
        tabWidget->setCurrentIndex(index);
        updateSceneData();
        request_rebind(false);
    }
}

void picker_window::request_save()
{
    picker_host::instance().run_mel_on_idle(QString(texts::command_name) + " save");
}

void picker_window::request_saveas()
{
    picker_host::instance().run_mel_on_idle(QString(texts::command_name) + " saveas");
}

void picker_window::save_current()
{
    picker_view* view = frontPicker();
    if (!view)
        return;
    if (view->path().isEmpty())
        saveas_current();
    else
        do_save(view, view->path());
}

void picker_window::saveas_current()
{
    picker_view* view = frontPicker();
    if (!view)
        return;
    QString answer = QFileDialog::getSaveFileName(this, "Save Tab:", view->path(), "Quillmarsh Picker (*.pkr)");
    if (answer.isEmpty())
        return;
    view->setPath(do_save(view, answer) ? answer : QString());
}

bool picker_window::do_save(picker_view* view, const QString& path)
{
    // Written to a temporary file that replaces the old one only when
    // complete, so a failed save never destroys what was there.
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly)) {
        QMessageBox::critical(this, "Save Failed", texts::save_failed.arg(path), QMessageBox::Ok);
        return false;
    }
    QDataStream out(&file);
    out.setVersion(picker_format::pkr_stream_version);
    pkr_header header;
    header.name = tabWidget->tabText(tabWidget->indexOf(view));
    header.backgroundKey = view->backgroundKey;
    header.background = view->background;
    write_pkr_header(out, header);
    view->streamTo(out);
    if (out.status() != QDataStream::Ok || !file.commit()) {
        QMessageBox::critical(this, "Save Failed", texts::save_failed.arg(path), QMessageBox::Ok);
        return false;
    }
    return true;
}

