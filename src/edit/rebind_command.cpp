#include "edit/rebind_command.h"

#include "model/namespaces.h"
#include "view/picker_view.h"

#include <algorithm>

rebind_namespace_cmd::rebind_namespace_cmd(picker_page* page, const QStringList& from, const QStringList& to)
    : page(page)
{
    setText("Change Namespace");
    if (from.isEmpty())
        return;
    for (const buttonRecord& r : page->buttons()) {
        if (r.kind != 0 && r.kind != 1)
            continue;
        buttonAttributes a;
        a.names = r.names;
        if (r.kind == 0)
            rebind_picker_button(a, from, to);
        else
            rebind_cmd_button(a, from, to);
        if (a.names == r.names)
            continue;
        ids << r.id;
        kinds << r.kind;
        oldNames << r.names;
        newNames << a.names;
    }
}

// Only a button still holding what this step left there is rewritten: one a
// script changed or removed behind the history is not this step's to touch.
void rebind_namespace_cmd::apply(const QList<QStringList>& expected, const QList<QStringList>& wanted)
{
    picker_page::hold hold(page);
    bool any = false;
    for (int i = 0; i < ids.size(); ++i) {
        const int row = page->row_of(ids[i]);
        if (row < 0)
            continue;
        const buttonRecord& r = page->at(row);
        if (r.kind != kinds[i] || r.names != expected[i])
            continue;
        page->set_names(row, wanted[i]);
        any = true;
    }
    // The new names may be selected in the host already.
    if (any)
        page->conform_to_selection();
}

void rebind_namespace_cmd::redo()
{
    apply(oldNames, newNames);
}

void rebind_namespace_cmd::undo()
{
    apply(newNames, oldNames);
}

bool rebind_view(picker_view* view, const QStringList& from, const QStringList& to)
{
    if (!view || from.isEmpty())
        return false;
    auto* command = new rebind_namespace_cmd(view->page(), from, to);
    if (!command->changes()) {
        delete command;
        return false;
    }
    view->undoer()->push(command);
    return true;
}

bool namespace_move(const picker_page& page, const QStringList& chosen, QStringList* from, QStringList* to,
                    QString* why)
{
    if (chosen.isEmpty()) {
        if (why)
            *why = "needs the namespace to move to";
        return false;
    }
    if (!is_valid_namespace(chosen[0])) {
        if (why)
            *why = QString("\"%1\" is not a namespace").arg(chosen[0]);
        return false;
    }
    QStringList current = page.namespaces();
    std::sort(current.begin(), current.end(), compare_name);
    current.removeAll(QString());
    if (current.isEmpty())
        current << ":";
    for (const QString& old : current) {
        if (bare_namespace(old).contains(':'))
            continue;
        add_namespace_pair(*from, *to, old, chosen[0]);
    }
    return true;
}
