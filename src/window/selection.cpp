// Keeping the picker's highlights in step with the host's selection, and
// sending the picker's own selections to the host.
#include "model/picker_host.h"
#include "view/picker_view.h"
#include "window/picker_window.h"
#include "window/window_texts.h"

#include <QAction>
#include <QHash>
#include <QSet>
#include <QTabWidget>

namespace {

// selection_ as a set, so adding or dropping a name is a hash look-up. The
// list may be replaced from outside (assigned, cleared): the set is rebuilt
// whenever the list's storage or size is not what it last saw.
QSet<QString> listed;
const void* listed_storage = nullptr;
int listed_size = -1;
QString listed_first;
// Inside a batch a dropped name is only counted here; its stale copies leave
// the list in one pass when the outermost batch ends.
int batch_depth = 0;
QHash<QString, int> stale;

// Where the list keeps its items: another list put in its place, or the
// same one reallocated, shows up as another address.
const void* storage_of(const QStringList& list)
{
    return list.isEmpty() ? nullptr : static_cast<const void*>(&list.constFirst());
}

void remember_list()
{
    const QStringList& list = picker_window::selection_;
    listed_storage = storage_of(list);
    listed_size = list.size();
    listed_first = list.isEmpty() ? QString() : list.constFirst();
}

void rebuild_set()
{
    stale.clear();
    listed = QSet<QString>(picker_window::selection_.begin(), picker_window::selection_.end());
    remember_list();
}

void sync_set()
{
    const QStringList& list = picker_window::selection_;
    if (listed_storage != storage_of(list) || listed_size != list.size() ||
        (!list.isEmpty() && list.constFirst() != listed_first))
        rebuild_set();
}

void drop_stale()
{
    if (stale.isEmpty())
        return;
    QStringList kept;
    kept.reserve(picker_window::selection_.size());
    for (const QString& name : qAsConst(picker_window::selection_)) {
        auto it = stale.find(name);
        if (it != stale.end() && it.value() > 0)
            --it.value();
        else
            kept.append(name);
    }
    stale.clear();
    picker_window::selection_ = kept;
    remember_list();
}

} // namespace

picker_window::selection_batch::selection_batch()
{
    sync_set();
    ++batch_depth;
}

picker_window::selection_batch::~selection_batch()
{
    if (--batch_depth == 0)
        drop_stale();
}

void picker_window::set_selection_names(const QStringList& names)
{
    selection_ = names;
    rebuild_set();
}

void picker_window::setSelection(const QStringList& names)
{
    set_selection_names(names);
    ++selectionUpdates;
    if (tabWidget->count() == 0) {
        addOneAction->setEnabled(false);
        addManyAction->setEnabled(false);
        updateAction->setEnabled(false);
        return;
    }
    const button_set set = button_set::fromStringList(selection_);
    for (int i = 0; i < tabWidget->count(); ++i) {
        picker_view* view = qobject_cast<picker_view*>(tabWidget->widget(i));
        if (view && view->conform_to_set(set))
            view->refresh();
    }
    bool any = !set.isEmpty();
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
        bool changed = false;
        for (buttonRecord& r : view->buttons) {
            changed = changed || r.selected != 0;
            r.unselect(true);
        }
        if (changed)
            view->refresh();
    }
    set_selection_names(QStringList());
}

bool picker_window::selectButton(const QString& name)
{
    sync_set();
    if (listed.contains(name))
        return false;
    listed.insert(name);
    selection_.append(name);
    remember_list();
    return true;
}

bool picker_window::unselectButton(const QString& name)
{
    sync_set();
    if (!listed.remove(name))
        return false;
    if (batch_depth > 0) {
        // The copy in the list goes when the batch ends; a name selected
        // again meanwhile is appended anew, as it would be without a batch.
        ++stale[name];
    } else {
        selection_.removeAll(name);
        remember_list();
    }
    return true;
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
    for (const QString& name : selection_)
        if (is_object_name(name))
            names << name;
    QString command = QString(texts::command_name);
    if (names.isEmpty())
        command += " clear";
    else
        command += " select " + names.join(' ');
    picker_host::instance().run_mel_on_idle(command);
    return true;
}
