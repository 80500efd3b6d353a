// Keeping the picker's highlights in step with the host's selection, and
// sending the picker's own selections to the host.
#include "model/name_ids.h"
#include "model/name_list.h"
#include "model/picker_host.h"
#include "view/picker_view.h"
#include "window/picker_window.h"
#include "window/window_texts.h"

#include <QAction>
#include <QTabWidget>
#include <QTimer>

namespace {

name_list& the_list()
{
    return name_list::picker();
}

} // namespace

name_list& picker_window::selection_list()
{
    return the_list();
}

const QStringList& picker_window::selection()
{
    return the_list().names();
}

bool picker_window::id_selected(int id)
{
    return the_list().contains(id);
}

picker_window::selection_batch::selection_batch()
{
    the_list().begin_batch();
}

picker_window::selection_batch::~selection_batch()
{
    the_list().end_batch();
}

void picker_window::set_selection_names(const QStringList& list, const QStringList& full_paths)
{
    the_list().assign(list, full_paths);
}

void picker_window::setSelection(const QStringList& names, bool own, const QStringList& full_paths)
{
    const QVector<picker_page*> changed = book_->take_selection(names, own, full_paths);
    ++selectionUpdates;
    if (tabWidget->count() == 0) {
        addOneAction->setEnabled(false);
        addManyAction->setEnabled(false);
        updateAction->setEnabled(false);
        return;
    }
    for (picker_page* page : changed)
        if (picker_view* view = view_of(page))
            view->refresh();
    // Only a selection the animator made in the host: a click here already
    // shows the tab it was made in, and a sync that brings no change (a
    // restored scene, an opened picker) is not the animator's doing.
    if (names != followSeen) {
        followSeen = names;
        // Once the host is done: a script that selects and then builds on
        // the current tab must find the tab it chose.
        if (!own && following && !followQueued) {
            followQueued = true;
            QTimer::singleShot(0, this, [this] {
                followQueued = false;
                follow(followSeen);
            });
        }
    }
    // The toolbox follows a selection made in the host as it does one made here.
    updateControls();
    // Objects come and go with selections (a new node is selected, a
    // deleted one leaves the selection).
    check_objects_later();
    bool any = !the_list().isEmpty();
    addOneAction->setEnabled(any);
    addManyAction->setEnabled(any);
    updateAction->setEnabled(any);
}

void picker_window::clearAllSelected()
{
    for (int i = 0; i < tabWidget->count(); ++i) {
        picker_view* view = qobject_cast<picker_view*>(tabWidget->widget(i));
        if (!view)
            continue;
        const bool lit = view->any_selected();
        view->page()->clear_selected(true);
        view->page()->set_picks({});
        if (lit)
            view->refresh();
    }
    set_selection_names(QStringList());
}

void picker_window::clear_picks()
{
    for (int i = 0; i < tabWidget->count(); ++i)
        if (picker_view* view = qobject_cast<picker_view*>(tabWidget->widget(i)))
            view->page()->set_picks({});
}

void picker_window::select_buttons(picker_view* view, const QVector<button_id>& ids, const QStringList& leaveOut)
{
    clearAllSelected();
    picker_page* page = view->page();
    {
        selection_batch batch;
        for (button_id id : ids) {
            const int row = page->row_of(id);
            if (row >= 0 && page->at(row).kind == 0)
                page->select(row, false);
        }
        for (const QString& name : leaveOut)
            the_list().remove(name_ids::intern(name));
    }
    for (int i = 0; i < tabWidget->count(); ++i) {
        picker_view* each = qobject_cast<picker_view*>(tabWidget->widget(i));
        if (each && each->conform_to_selection())
            each->refresh();
    }
    // A script is no object name: a command button lights here only.
    for (button_id id : ids) {
        const int row = page->row_of(id);
        if (row >= 0 && page->at(row).kind != 0)
            page->select(row, true);
    }
    page->set_picks(ids);
    view->refresh();
    postSelection();
    updateControls();
}

bool picker_window::take_own_post(const QStringList& asked)
{
    const int at = ownPosts.indexOf(asked);
    if (at < 0)
        return false;
    // Posts before it were run or lost: the host runs them in order.
    ownPosts.erase(ownPosts.begin(), ownPosts.begin() + at + 1);
    return true;
}

QStringList picker_window::missing_objects(const buttonAttributes& button)
{
    if (button.kind != 0 || button.names.isEmpty())
        return QStringList();
    return picker_host::instance().missing_objects(button.names);
}

bool picker_window::is_object_name(const QString& name)
{
    // A leading '-' would be read as a flag of the command.
    if (name.isEmpty() || name[0] == '-')
        return false;
    for (QChar c : name) {
        ushort u = c.unicode();
        bool ok = (u >= 'a' && u <= 'z') || (u >= 'A' && u <= 'Z') || (u >= '0' && u <= '9') ||
                  QStringLiteral("_:|.[]*?-").contains(c);
        if (!ok)
            return false;
    }
    return true;
}

bool picker_window::postSelection()
{
    // The text is run as MEL: a name that could not be a Maya object name
    // (a blank, a quote, a semicolon...) could run something, so it is left out.
    QStringList names;
    for (const QString& name : selection())
        if (is_object_name(name))
            names << name;
    QString command = QString(texts::command_name);
    if (names.isEmpty())
        command += " clear";
    else
        command += " select " + names.join(' ');
    // Kept until the host runs it, so the selection it brings back keeps
    // the picks; a host that never runs them must not grow the list.
    if (ownPosts.size() >= 64)
        ownPosts.removeFirst();
    ownPosts.append(names);
    picker_host::instance().run_mel_on_idle(command);
    return true;
}
