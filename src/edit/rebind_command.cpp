#include "edit/rebind_command.h"

#include "view/namespace_binding.h"
#include "view/picker_view.h"

rebind_namespace_cmd::rebind_namespace_cmd(picker_view* view, const QStringList& from, const QStringList& to)
    : view(view)
{
    setText("Change Namespace");
    if (from.isEmpty())
        return;
    for (int k = 0; k < view->buttons.size(); ++k) {
        const buttonRecord& r = view->buttons.at(k);
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
        indices << k;
        kinds << r.kind;
        oldNames << r.names;
        newNames << a.names;
    }
}

// Only a button still holding what this step left there is rewritten: one a
// script changed or removed behind the history is not this step's to touch.
void rebind_namespace_cmd::apply(const QList<QStringList>& expected, const QList<QStringList>& wanted)
{
    bool any = false;
    for (int i = 0; i < indices.size(); ++i) {
        const int k = indices[i];
        if (k < 0 || k >= view->buttons.size())
            continue;
        buttonRecord& r = view->buttons[k];
        if (r.kind != kinds[i] || r.names != expected[i])
            continue;
        r.names = wanted[i];
        r.nameFlags.resize(r.names.size());
        any = true;
    }
    if (!any)
        return;
    // The new names may be selected in the host already.
    view->conform_to_selection();
    view->refresh();
    view->signal_changed();
    view->update_toolbox();
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
    auto* command = new rebind_namespace_cmd(view, from, to);
    if (!command->changes()) {
        delete command;
        return false;
    }
    view->undoer()->push(command);
    return true;
}
