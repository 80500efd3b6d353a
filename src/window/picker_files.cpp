// Picker files: opening .pkr files into tabs and saving a tab back.
#include "model/limits.h"
#include "model/picker_file.h"
#include "model/picker_host.h"
#include "model/safe_file.h"
#include "model/scene_data.h"
#include "model/scene_room.h"
#include "view/picker_view.h"
#include "window/picker_files.h"
#include "window/picker_window.h"
#include "window/window_texts.h"

#include <QDir>
#include <QFile>
#include <QFileDialog>
#include <QFileInfo>
#include <QMessageBox>
#include <QSettings>
#include <QTabWidget>

namespace {

// One warning naming the file and what it lost.
QString damage_text(const QString& path, const pkr_contents& contents, bool key_refused)
{
    const QString name = QFileInfo(path).fileName();
    QStringList parts;
    // Buttons read whole with unreadable patterns are no damage to the buttons.
    const bool buttons_whole = contents.patterns_damaged && contents.buttons.size() == contents.declared;
    if (contents.damaged && !buttons_whole)
        parts << (contents.declared > 0 ? texts::damaged_buttons.arg(name)
                                              .arg(contents.buttons.size())
                                              .arg(contents.declared)
                                        : texts::damaged_no_buttons.arg(name));
    if (contents.image_refused)
        parts << texts::image_not_loaded.arg(name).arg(limits::image_square_side).arg(limits::image_square_side);
    if (key_refused)
        parts << texts::image_key_refused.arg(name);
    if (contents.patterns_damaged)
        parts << texts::patterns_unreadable.arg(name);
    parts << texts::tab_unbound;
    return parts.join("\n\n");
}

} // namespace

namespace {

// The folder pickers were last opened from or saved to, kept between sessions.
QString last_folder()
{
    const QString folder = QSettings("Quillmarsh", "picker").value("last_folder").toString();
    return !folder.isEmpty() && QFileInfo(folder).isDir() ? folder : QDir::homePath();
}

void remember_folder(const QString& file)
{
    QSettings("Quillmarsh", "picker").setValue("last_folder", QFileInfo(file).absolutePath());
}

// A tab's name as a file name: characters no file system takes become '_'.
QString file_name_for(const QString& tab)
{
    QString name = tab.trimmed().left(120);
    for (QChar& c : name)
        if (c < ' ' || QStringLiteral("/\\:*?\"<>|").contains(c))
            c = '_';
    return (name.isEmpty() || name.startsWith('.') ? "picker" + name : name) + ".pkr";
}

} // namespace

void picker_window::open_tab()
{
    QStringList files = QFileDialog::getOpenFileNames(this, "Select Picker", last_folder(),
                                                      "Quillmarsh Picker (*.pkr)");
    if (files.isEmpty())
        return;
    remember_folder(files.first());
    load_pickers(files);
}

void picker_window::load_one_picker(const QString& path)
{
    load_pickers(QStringList{path});
}

namespace {

// Opened pickers waiting for the host's namespace list, oldest first: each
// queued bind is for one of them, not for whichever tab is in front by then.
QList<QPointer<picker_view>>& pickers_to_bind()
{
    static QList<QPointer<picker_view>> list;
    return list;
}

// Reads a picker file; false with the reason, and whether it opened at all
// (a pipe or device opens as nothing, but says what it is).
bool read_picker_file(const QString& path, pkr_contents& contents, QString* why, bool* opened)
{
    QFile file;
    const read_open result = open_regular_file(file, path, why);
    *opened = result != read_open::failed;
    return result == read_open::ok && read_pkr(file, contents, why);
}

} // namespace

opened_picker add_picker_page(picker_book& book, const QString& path, const pkr_contents& contents)
{
    const pkr_header& header = contents.header;
    picker_page* page = book.append(header.name);
    if (header.version >= 2 && !header.backgroundKey.isEmpty() && !header.background.isNull())
        book.place_background(page, header.backgroundKey, header.background);
    page->insert_all(QVector<buttonAttributes>(contents.buttons));
    // A file saved before pickers kept patterns leaves the user's default.
    if (!header.mirrorPatterns.isEmpty())
        page->set_mirror_patterns(header.mirrorPatterns);
    // A page that lost anything on the way in is not tied to its file, so
    // a save can never overwrite the file with less than it held.
    const bool key_refused = !header.background.isNull() && page->background_key().isEmpty();
    const bool whole = !contents.damaged && !contents.image_refused && !key_refused;
    if (whole) {
        page->set_path(path);
        page->mark_saved();
    }
    book.set_current(book.index_of(page));
    return {page, whole ? QString() : damage_text(path, contents, key_refused)};
}

bool open_into_book(picker_book& book, const QStringList& paths, QString* why, QList<opened_picker>* opened,
                    int copies)
{
    // Every file is read before any page is made, so a bad path opens nothing.
    QList<pkr_contents> all;
    for (const QString& path : paths) {
        all.append(pkr_contents());
        QString reason;
        bool was_opened = false;
        if (!read_picker_file(path, all.last(), &reason, &was_opened)) {
            const QString native = QDir::toNativeSeparators(path);
            *why = was_opened ? QString("\"%1\" is not a picker file: %2").arg(native, reason)
                              : QString("cannot open \"%1\": %2").arg(native, reason);
            return false;
        }
    }
    // All of them or none.
    qint64 buttons = 0, names = 0;
    for (const pkr_contents& contents : all) {
        buttons += qint64(contents.buttons.size()) * copies;
        names += names_in(contents.buttons) * copies;
    }
    const QString full = no_room(book.pages(), nullptr, buttons, int(all.size()) * copies, names);
    if (!full.isEmpty()) {
        *why = full;
        return false;
    }
    QList<png_picture> pictures = book.scene_pictures();
    for (const pkr_contents& contents : all)
        pictures << contents.header.background << button_pictures(contents.buttons);
    if (!within_scene_budget(pictures)) {
        *why = QString("the pickers were not opened: %1").arg(scene_budget_exceeded());
        return false;
    }
    // Copies share their file's picture: the scene keeps it once.
    for (int i = 0; i < paths.size(); ++i)
        for (int copy = 0; copy < copies; ++copy)
            opened->append(add_picker_page(book, paths[i], all[i]));
    return true;
}

bool write_picker(const picker_page& page, const QString& path, QString* why, bool* refused)
{
    pkr_header header;
    header.name = page.name();
    // A key whose picture the scene lost names nothing in a file.
    if (!page.background().isNull()) {
        header.backgroundKey = page.background_key();
        header.background = page.background();
    }
    header.mirrorPatterns = page.mirror_patterns();
    const QByteArray bytes = write_pkr(header, page.attributes());
    // A file the picker would refuse to open is not written.
    if (bytes.size() > limits::max_file_bytes) {
        if (why)
            *why = QString("the picker would be %1 MB; a picker file holds at most %2 MB")
                       .arg(bytes.size() >> 20)
                       .arg(limits::max_file_bytes >> 20);
        return false;
    }
    // Written in full beside the old file and moved over it only when
    // complete, so a failed save never destroys what was there.
    return write_file_safely(path, bytes, why, refused);
}

namespace {

// A tab for a picker that was read, waiting for its namespaces to be bound;
// the warning for what it lost, if anything.
QString add_picker_tab(picker_window* window, const QString& path, const pkr_contents& contents)
{
    const opened_picker opened = add_picker_page(*window->book(), path, contents);
    picker_view* view = window->view_of(opened.page);
    window->frame_when_shown(view);
    pickers_to_bind().append(view);
    window->request_rebind(false);
    return opened.warning;
}

} // namespace

void picker_window::load_pickers(const QStringList& paths)
{
    for (int i = 0; i < paths.size(); ++i) {
        pkr_contents contents;
        QString why;
        bool opened = false;
        const bool read = read_picker_file(paths[i], contents, &why, &opened);
        const bool fits = read && within_scene_budget(scene_pictures() << contents.header.background
                                                                    << button_pictures(contents.buttons));
        if (!fits) {
            const QString native = QDir::toNativeSeparators(paths[i]);
            const QString message = read     ? texts::over_budget.arg(native, scene_budget_exceeded())
                                    : opened ? texts::not_a_picker.arg(native, why)
                                             : texts::open_failed.arg(native);
            const bool more = paths.size() > 1 && i < paths.size() - 1;
            auto buttons = more ? QMessageBox::Cancel | QMessageBox::Ignore : QMessageBox::Ok;
            if (QMessageBox::critical(this, "Open Failed", message, buttons) == QMessageBox::Cancel)
                return;
            continue;
        }
        const QString full = no_room(pages(), nullptr, contents.buttons.size(), 1, names_in(contents.buttons));
        if (!full.isEmpty()) {
            const QString native = QDir::toNativeSeparators(paths[i]);
            QMessageBox::critical(this, "Open Failed", QString("\"%1\" was not opened: %2.").arg(native, full));
            return;
        }
        const QString warning = add_picker_tab(this, paths[i], contents);
        if (!warning.isEmpty())
            QMessageBox::warning(this, texts::damaged_title, warning, QMessageBox::Ok);
        else
            note_recent(contents.header.name, paths[i]);
    }
}

picker_view* picker_window::take_picker_to_bind()
{
    QList<QPointer<picker_view>>& list = pickers_to_bind();
    for (int i = 0; i < list.size(); ++i) {
        picker_view* view = list[i];
        if (view && tabWidget->indexOf(view) >= 0) {
            list.removeAt(i);
            return view;
        }
    }
    list.removeAll(nullptr);
    return frontPicker();
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
    if (picker_view* view = frontPicker())
        save_view_as(view);
}

bool picker_window::save_view_as(picker_view* view)
{
    const QString start =
        view->path().isEmpty() ? QDir(last_folder()).filePath(file_name_for(view->page()->name())) : view->path();
    QString answer = QFileDialog::getSaveFileName(this, "Save Tab:", start, "Quillmarsh Picker (*.pkr)");
    if (answer.isEmpty())
        return false;
    // File > Open lists .pkr files only: a name typed without it gets it, and
    // the file that name then meets is not replaced unasked.
    if (!answer.endsWith(".pkr", Qt::CaseInsensitive)) {
        answer += ".pkr";
        if (QFileInfo::exists(answer) &&
            QMessageBox::warning(this, "Save Tab", texts::replace_question.arg(QDir::toNativeSeparators(answer)),
                                 QMessageBox::Yes | QMessageBox::No, QMessageBox::No) != QMessageBox::Yes)
            return false;
    }
    remember_folder(answer);
    const bool saved = do_save(view, answer);
    view->setPath(saved ? answer : QString());
    return saved;
}

bool picker_window::do_save(picker_view* view, const QString& path)
{
    QString why;
    bool refused = false;
    if (!write_picker(*view->page(), path, &why, &refused)) {
        QMessageBox::critical(this, "Save Failed",
                              refused ? texts::save_failed.arg(path) : texts::save_write_failed.arg(path, why),
                              QMessageBox::Ok);
        return false;
    }
    note_recent(view->page()->name(), path);
    saved(view, path);
    return true;
}

void picker_window::saved(picker_view* view, const QString& path)
{
    view->page()->mark_saved();
    show_tab_name(view);
    picker_host::instance().inform(texts::saved_picker.arg(view->page()->name(), QDir::toNativeSeparators(path)));
}
