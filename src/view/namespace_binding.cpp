// Binding a view's picker to the scene's namespaces: the chooser when one is
// missing, and the rebind it asks for as one undo step.
#include "edit/rebind_command.h"
#include "model/limits.h"
#include "model/namespaces.h"
#include "model/picker_host.h"
#include "view/picker_view.h"
#include "window/namespace_dialog.h"

#include <algorithm>
#include <utility>

// ----- The view's side

void picker_view::collectCurrentNamespace(QStringList& out) const
{
    out << page_->namespaces();
    std::sort(out.begin(), out.end(), compare_name);
}

void picker_view::rebind(QStringList& sceneNamespaces, bool force)
{
    QStringList current;
    collectCurrentNamespace(current);
    current.removeAll(QString());
    // Past any real name: the chooser's lists would not lay out.
    const auto too_long = [](const QString& ns) { return ns.size() > limits::max_namespace_chars; };
    sceneNamespaces.erase(std::remove_if(sceneNamespaces.begin(), sceneNamespaces.end(), too_long),
                          sceneNamespaces.end());
    bool needed = force;
    if (current.isEmpty()) {
        current << ":";
        // Built in a rig file, bound to root names: where the scene lacks
        // them but has namespaces (a referenced character), it is offered
        // one like any other picker.
        const bool others = std::any_of(sceneNamespaces.begin(), sceneNamespaces.end(),
                                        [](const QString& ns) { return !ns.isEmpty() && ns != ":"; });
        if (others && !force) {
            QStringList names;
            for (const buttonRecord& r : page_->buttons())
                if (names_scene_objects(r.kind))
                    names += r.names;
            needed = !names.isEmpty() && !picker_host::instance().missing_objects(names).isEmpty();
        }
        if (!sceneNamespaces.contains(":"))
            sceneNamespaces << ":";
    }
    sceneNamespaces.removeAll(QString());
    for (const QString& ns : std::as_const(current))
        if (!sceneNamespaces.contains(ns))
            needed = true;
    if (needed)
        picker_editNamespaceDialog::do_dialog(this, current, sceneNamespaces);
}

bool picker_view::update_namespace(const QStringList& chosen, QString* why)
{
    QStringList from, to;
    if (!namespace_move(*page_, chosen, &from, &to, why))
        return false;
    rebind_view(this, from, to);
    return true;
}
