// Moving a picker's object names and scripts to other namespaces, as one
// undoable step.
#pragma once

#include "model/picker_page.h"

#include <QList>
#include <QStringList>
#include <QUndoCommand>
#include <QVector>

class picker_view;

class rebind_namespace_cmd : public QUndoCommand {
public:
    // The lists pair old and new namespaces as the rewriting functions take
    // them; every button's result is worked out here, once.
    rebind_namespace_cmd(picker_page* page, const QStringList& from, const QStringList& to);
    void undo() override;
    void redo() override;

    // False when no button would change: nothing worth an undo entry.
    bool changes() const { return !ids.isEmpty(); }

private:
    void apply(const QList<QStringList>& expected, const QList<QStringList>& wanted);

    picker_page* page;
    QVector<button_id> ids;
    QVector<int> kinds;
    QList<QStringList> oldNames;
    QList<QStringList> newNames;
};

// Pushes a rebind of the view's buttons on its undo stack when it changes
// anything; true when it did.
bool rebind_view(picker_view* view, const QStringList& from, const QStringList& to);

// The pair a script asks for: chosen is NEW (the page's main namespace, see
// namespaces_by_use, moves to NEW) or OLD NEW (OLD, which the page must
// use, moves to NEW); ":" or "" is the root. A namespace moves with those
// nested in it (rig:sub becomes hero:sub). False, with the reason, for
// anything else.
bool namespace_move(const picker_page& page, const QStringList& chosen, QStringList* from, QStringList* to,
                    QString* why);
