// Picker files: opening .pkr files into tabs and saving a tab back.
#include "model/limits.h"
#include "model/picker_file.h"
#include "model/picker_host.h"
#include "model/safe_file.h"
#include "view/picker_view.h"
#include "window/picker_window.h"
#include "window/window_texts.h"

#include <QDir>
#include <QFile>
#include <QFileDialog>
#include <QFileInfo>
#include <QMessageBox>
#include <QTabWidget>

namespace {

// One warning naming the file and what it lost.
void warn_damaged(QWidget* parent, const QString& path, const pkr_contents& contents, bool key_refused)
{
    const QString name = QFileInfo(path).fileName();
    QStringList parts;
    if (contents.damaged)
        parts << (contents.declared > 0 ? texts::damaged_buttons.arg(name)
                                              .arg(contents.buttons.size())
                                              .arg(contents.declared)
                                        : texts::damaged_no_buttons.arg(name));
    if (contents.image_refused)
        parts << texts::image_not_loaded.arg(name).arg(limits::image_square_side).arg(limits::image_square_side);
    if (key_refused)
        parts << texts::image_key_refused.arg(name);
    parts << texts::tab_unbound;
    QMessageBox::warning(parent, texts::damaged_title, parts.join("\n\n"), QMessageBox::Ok);
}

} // namespace

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
        pkr_contents contents;
        QString why;
        const bool opened = file.open(QIODevice::ReadOnly);
        if (!opened || !read_pkr(file, contents, &why)) {
            const QString native = QDir::toNativeSeparators(path);
            const bool more = paths.size() > 1 && i < paths.size() - 1;
            auto buttons = more ? QMessageBox::Cancel | QMessageBox::Ignore : QMessageBox::Ok;
            auto answer = QMessageBox::critical(this, "Open Failed",
                                                opened ? texts::not_a_picker.arg(native, why)
                                                       : texts::open_failed.arg(native),
                                                buttons);
            if (answer == QMessageBox::Cancel)
                return;
            continue;
        }
        file.close();

        const pkr_header& header = contents.header;
        picker_view* view = new picker_view(this);
        if (header.version >= 2 && !header.backgroundKey.isEmpty() && !header.background.isNull())
            place_background(view, header.backgroundKey, header.background);
        for (const buttonAttributes& a : qAsConst(contents.buttons))
            view->push_button(a, -1);
        view->update();
        // A tab that lost anything on the way in is not tied to its file, so
        // a save can never overwrite the file with less than it held.
        const bool key_refused = !header.background.isNull() && view->backgroundKey.isEmpty();
        const bool whole = !contents.damaged && !contents.image_refused && !key_refused;
        if (whole)
            view->setPath(path);
        connect_picker(view);
        int index = tabWidget->addTab(view, header.name);
        tabWidget->setCurrentIndex(index);
        updateSceneData();
        request_rebind(false);
        if (!whole)
            warn_damaged(this, path, contents, key_refused);
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
    pkr_header header;
    header.name = tabWidget->tabText(tabWidget->indexOf(view));
    header.backgroundKey = view->backgroundKey;
    header.background = view->background;
    QList<buttonAttributes> buttons;
    buttons.reserve(view->buttons.size());
    for (const buttonRecord& r : qAsConst(view->buttons))
        buttons.append(r);
    // Written in full beside the old file and moved over it only when
    // complete, so a failed save never destroys what was there.
    QString why;
    bool not_created = false;
    if (!write_file_safely(path, write_pkr(header, buttons), &why, &not_created)) {
        QMessageBox::critical(this, "Save Failed",
                              not_created ? texts::save_failed.arg(path) : texts::save_write_failed.arg(path, why),
                              QMessageBox::Ok);
        return false;
    }
    return true;
}
