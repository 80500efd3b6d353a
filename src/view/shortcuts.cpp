#include "view/shortcuts.h"

#include <QKeyEvent>

QKeySequence key_of(const QKeyEvent* e)
{
    return QKeySequence(int(e->modifiers()) | e->key());
}

bool is_bound(const QList<QAction*>& actions, const QKeySequence& key)
{
    for (QAction* action : actions)
        if (action->isEnabled() && action->shortcuts().contains(key))
            return true;
    return false;
}

bool trigger_bound(const QList<QAction*>& actions, const QKeySequence& key)
{
    bool handled = false;
    for (QAction* action : actions) {
        if (action->isEnabled() && action->shortcuts().contains(key)) {
            action->trigger();
            handled = true;
        }
    }
    return handled;
}
