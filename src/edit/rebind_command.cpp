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
    QSet<QString> bound;
    for (const buttonRecord& r : page->buttons())
        if (names_scene_objects(r.kind))
            add_bound_root_names(bound, r.names);
    for (const buttonRecord& r : page->buttons()) {
        if (r.kind != selection_kind && r.kind != command_kind && r.kind != attribute_kind)
            continue;
        buttonAttributes a;
        a.names = r.names;
        a.language = r.language;
        if (names_scene_objects(r.kind))
            rebind_picker_button(a, from, to);
        else
            rebind_cmd_button(a, from, to, bound);
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
    const auto fail = [why](const QString& reason) {
        if (why)
            *why = reason;
        return false;
    };
    if (chosen.isEmpty())
        return fail("needs the namespace to move to");
    if (chosen.size() > 2)
        return fail("takes the namespace to move to, or the one to move and where to");
    for (const QString& ns : chosen)
        if (!is_valid_namespace(ns))
            return fail(QString("\"%1\" is not a namespace").arg(ns));
    QStringList names;
    for (const buttonRecord& r : page.buttons())
        if (names_scene_objects(r.kind))
            names << r.names;
    const QStringList used = namespaces_by_use(names);
    const QString bare = bare_namespace(chosen.size() == 2 ? chosen[0] : used.value(0));
    const QString old = bare.isEmpty() ? QString(":") : bare;
    if (chosen.size() == 2 && !used.contains(old))
        return fail(old == ":" ? QString("the picker has no names in the root namespace")
                               : QString("the picker has no names in the namespace \"%1\"").arg(old));
    if (!used.isEmpty())
        add_namespace_pair(*from, *to, old, chosen.last());
    return true;
}
