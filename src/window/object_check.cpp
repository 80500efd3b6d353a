// Which buttons hold objects the scene lacks: asked of the host for every
// name of every tab at once, when the host is next idle.
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
    // Each name once, however many buttons and tabs hold it.
    QSet<QString> seen;
    QStringList names;
    for (const picker_page* page : pages())
        for (const buttonRecord& r : page->buttons())
            if (r.kind == 0)
                for (const QString& name : r.names)
                    if (!seen.contains(name)) {
                        seen.insert(name);
                        names << name;
                    }
    const QStringList missing = names.isEmpty() ? QStringList() : picker_host::instance().missing_objects(names);
    const QSet<QString> lacking(missing.begin(), missing.end());
    for (int i = 0; i < tabWidget->count(); ++i)
        if (auto* view = qobject_cast<picker_view*>(tabWidget->widget(i)))
            if (view->page()->set_missing(lacking))
                view->refresh();
}
