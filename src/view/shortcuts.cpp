#include "view/shortcuts.h"

#include <QKeyEvent>

QKeySequence key_of(const QKeyEvent* e)
{
    // The keypad's + - and arrows are the same keys to the user.
    return QKeySequence(int(e->modifiers() & ~Qt::KeypadModifier) | e->key());
}

bool binds(const QList<QAction*>& actions, const QKeySequence& key)
{
    for (QAction* action : actions)
        if (action->shortcuts().contains(key))
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
