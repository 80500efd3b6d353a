// Which buttons hold objects the scene lacks: asked of the host for every
// name of the tab shown, when the host is next idle.
#include "model/picker_host.h"
#include "view/picker_view.h"
#include "window/picker_window.h"

#include <QTabWidget>
#include <QTimer>

void picker_window::check_objects_later()
{
    if (objectCheckPending)
        return;
    objectCheckPending = true;
    QTimer::singleShot(0, this, [this] {
        if (objectCheckPending)
            check_objects();
    });
}

void picker_window::check_objects()
{
    objectCheckPending = false;
    // The tab shown alone: each lookup costs the host a name search, so a
    // scene of many large pickers is not searched on every selection. A
    // tab is checked again as it is shown.
    picker_view* view = frontPicker();
    if (!view)
        return;
    // Each name once, however many buttons hold it.
    QSet<QString> seen;
    QStringList names;
    for (const buttonRecord& r : view->page()->buttons())
        if (names_scene_objects(r.kind))
            for (const QString& name : r.names)
                if (!seen.contains(name)) {
                    seen.insert(name);
                    names << name;
                }
    const QStringList missing = names.isEmpty() ? QStringList() : picker_host::instance().missing_objects(names);
    const QSet<QString> lacking(missing.begin(), missing.end());
    if (view->page()->set_missing(lacking))
        view->refresh();
}
