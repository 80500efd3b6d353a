#include "model/scene_room.h"

#include "model/limits.h"
#include "model/picker_page.h"

QString no_room(const QVector<const picker_page*>& pages, const picker_page* page, qint64 more_buttons,
                int more_tabs, qint64 more_names)
{
    const qint64 tabs = qint64(pages.size()) + more_tabs;
    if (more_tabs > 0 && tabs > limits::max_tabs)
        return QString("a scene holds at most %1 tabs; it would hold %2").arg(limits::max_tabs).arg(tabs);
    const qint64 on_page = page ? page->count() + more_buttons : 0;
    if (on_page > limits::max_buttons)
        return QString("a picker holds at most %1 buttons; it would hold %2").arg(limits::max_buttons).arg(on_page);
    qint64 total = more_buttons;
    for (const picker_page* p : pages)
        total += p->count();
    if (total > limits::max_scene_buttons)
        return QString("a scene holds at most %1 buttons in all its tabs; it would hold %2")
            .arg(limits::max_scene_buttons)
            .arg(total);
    if (more_names > 0) {
        qint64 names = more_names;
        for (const picker_page* p : pages)
            for (const buttonRecord& r : p->buttons())
                names += r.names.size();
        if (names > limits::max_total_names)
            return QString("a scene holds at most %1 object names in all its buttons; it would hold %2")
                .arg(limits::max_total_names)
                .arg(names);
    }
    return QString();
}

QString too_many_names(qint64 names)
{
    if (names <= limits::max_names)
        return QString();
    return QString("a button holds at most %1 names; it would hold %2").arg(limits::max_names).arg(names);
}
