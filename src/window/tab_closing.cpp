// Closing tabs without losing work: the modified mark, the question before
// a modified picker goes, and the closed tabs kept for reopening.
#include "model/limits.h"
#include "model/picker_host.h"
#include "model/scene_data.h"
#include "model/scene_room.h"
#include "view/picker_view.h"
#include "window/picker_window.h"
#include "window/window_texts.h"

#include <QDir>
#include <QMessageBox>
#include <QPushButton>
#include <QTabWidget>

#include <algorithm>

namespace {

// Closed tabs keep the PNG bytes of at most two of the largest pictures.
constexpr qint64 max_closed_picture_bytes = 2 * limits::max_image_bytes;

} // namespace

QString picker_window::tab_name(int index) const
{
    if (auto* view = qobject_cast<picker_view*>(tabWidget->widget(index)))
        return view->page()->name();
    return tabWidget->tabText(index);
}

void picker_window::show_tab_name(picker_view* view)
{
    const int index = tabWidget->indexOf(view);
    if (index < 0)
        return;
    const picker_page* page = view->page();
    QString shown = page->name();
    // The character the picker drives leads, written as the host writes a
    // name in it: copies of one picker differ only there, and a narrow tab
    // is cut at its end. A tab named after it already says it.
    const QString& ns = page->binding().main;
    const bool named = !ns.isEmpty() && ns != ":" && ns.compare(shown, Qt::CaseInsensitive) != 0;
    if (named)
        shown = ns + ": " + shown;
    // A name may hold '&', which a tab bar would take for a mnemonic.
    shown.replace('&', "&&");
    tabWidget->setTabText(index, page->modified() ? shown + texts::modified_mark : shown);
    QString tip = page->path().isEmpty() ? texts::tab_without_file : QDir::toNativeSeparators(page->path());
    if (!ns.isEmpty() && ns != ":")
        tip = texts::tab_namespace_tip.arg(ns) + "\n" + tip;
    if (page->modified())
        tip += "\n" + texts::tab_modified_tip;
    tabWidget->setTabToolTip(index, tip);
}

void picker_window::show_tab_names_later()
{
    if (tabNamesPending)
        return;
    tabNamesPending = true;
    QMetaObject::invokeMethod(
        this,
        [this] {
            tabNamesPending = false;
            for (int i = 0; i < tabWidget->count(); ++i)
                if (auto* view = qobject_cast<picker_view*>(tabWidget->widget(i)))
                    show_tab_name(view);
        },
        Qt::QueuedConnection);
}

bool picker_window::close_one(int index)
{
    auto* view = qobject_cast<picker_view*>(tabWidget->widget(index));
    if (!view)
        return false;
    // A picker that a file holds as it is, or an empty one, has nothing to
    // lose; a closed tab can be reopened anyway.
    const bool empty = view->buttons().isEmpty() && view->background().isNull();
    if (view->page()->modified() && !empty) {
        QMessageBox box(QMessageBox::Warning, "Close Tab", texts::close_tab_question.arg(tab_name(index)),
                        QMessageBox::Save | QMessageBox::Discard | QMessageBox::Cancel, this);
        box.setInformativeText(view->path().isEmpty() ? texts::close_tab_no_file
                                                      : texts::close_tab_file.arg(QDir::toNativeSeparators(view->path())));
        box.button(QMessageBox::Discard)->setText("Don't Save");
        box.setDefaultButton(QMessageBox::Save);
        box.setEscapeButton(QMessageBox::Cancel);
        tabWidget->setCurrentIndex(index);
        const int answer = box.exec();
        if (answer == QMessageBox::Cancel)
            return false;
        if (answer == QMessageBox::Save) {
            const bool saved = view->path().isEmpty() ? save_view_as(view) : do_save(view, view->path());
            if (!saved)
                return false;
        }
    }
    close_tab(tabWidget->indexOf(view));
    return true;
}

void picker_window::close_current()
{
    if (tabWidget->count() > 0 && tabWidget->currentIndex() >= 0)
        close_one(tabWidget->currentIndex());
}

void picker_window::keep_closed(const picker_view* view)
{
    const picker_page* page = view->page();
    if (page->isEmpty() && view->background().isNull())
        return;
    closed_tab tab;
    tab.name = page->name();
    tab.path = page->path();
    tab.key = view->backgroundKey();
    tab.picture = view->background();
    tab.buttons = page->attributes();
    tab.modified = page->modified();
    closed.prepend(std::move(tab));
    // What is kept stays within what one scene may show: the oldest go first.
    qint64 buttons = 0, names = 0, bytes = 0;
    QList<png_picture> pictures;
    for (int i = 0; i < closed.size(); ++i) {
        const closed_tab& t = closed[i];
        buttons += t.buttons.size();
        names += names_in(t.buttons);
        if (!t.picture.isNull() && !pictures.contains(t.picture)) {
            pictures << t.picture;
            bytes += t.picture.png().size();
        }
        if (i >= max_closed || buttons > limits::max_scene_buttons || names > limits::max_total_names ||
            bytes > max_closed_picture_bytes || !within_scene_budget(pictures)) {
            closed.erase(closed.begin() + std::max(i, 1), closed.end());
            break;
        }
    }
}

bool picker_window::reopen_closed_tab()
{
    if (closed.isEmpty()) {
        picker_host::instance().warn("No closed tab to reopen.");
        return false;
    }
    const closed_tab& tab = closed.first();
    QString why = no_room(pages(), nullptr, tab.buttons.size(), 1, names_in(tab.buttons));
    if (why.isEmpty() && !within_scene_budget(scene_pictures() << tab.picture))
        why = scene_budget_exceeded();
    if (!why.isEmpty()) {
        picker_host::instance().warn(QString("The tab \"%1\" was not reopened: %2.").arg(tab.name, why));
        return false;
    }
    picker_page* page = book_->append(tab.name);
    picker_view* view = view_of(page);
    if (!tab.picture.isNull())
        book_->place_background(page, tab.key, tab.picture);
    page->insert_all(tab.buttons.toVector());
    page->set_path(tab.path);
    if (!tab.modified)
        page->mark_saved();
    closed.removeFirst();
    book_->set_current(book_->index_of(page));
    show_tab_name(view);
    if (view->conform_to_selection())
        view->refresh();
    frame_when_shown(view);
    return true;
}
