// Key handling shared by the window and its views: a key is offered to every
// enabled action bound to it, not just the first.
#pragma once

#include <QAction>
#include <QKeySequence>
#include <QList>

class QKeyEvent;

// The key of an event as one sequence (modifiers and key together).
QKeySequence key_of(const QKeyEvent* e);
// True when an action has the key among its shortcuts, enabled or not: the
// key is that widget's even while the action has nothing to act on.
bool binds(const QList<QAction*>& actions, const QKeySequence& key);
// Triggers every enabled action bound to the key; true when any was.
bool trigger_bound(const QList<QAction*>& actions, const QKeySequence& key);
