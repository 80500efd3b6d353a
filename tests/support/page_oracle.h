// A reference for what a page should hold, by button id, kept by hand beside
// the real one: scripts edit both, and every undoable step is replayed here
// field by field.
#pragma once

#include "model/picker_page.h"

#include <QMap>
#include <QVector>

struct page_oracle {
    enum field { color, pos, label, names, whole };
    struct step {
        field what;
        QVector<button_id> ids;
        QVector<buttonAttributes> before, after;
        bool adds = false, removes = false;
    };
    QMap<button_id, buttonAttributes> buttons;
    QVector<step> history;
    int done = 0;

    static void copy(field what, const buttonAttributes& from, buttonAttributes& to)
    {
        switch (what) {
        case color: to.color = from.color; break;
        case pos: to.pos = from.pos; break;
        case label: to.label = from.label; break;
        case names: to.names = from.names; break;
        case whole: to = from; break;
        }
    }
    void apply(const step& s, bool forward)
    {
        const QVector<buttonAttributes>& values = forward ? s.after : s.before;
        for (int i = 0; i < s.ids.size(); ++i) {
            const button_id id = s.ids[i];
            if ((s.adds && !forward) || (s.removes && forward)) {
                buttons.remove(id);
            } else if ((s.adds && forward) || (s.removes && !forward)) {
                if (!buttons.contains(id))
                    buttons.insert(id, values[i]);
            } else if (buttons.contains(id)) {
                // A rebind rewrites only names still as it left them.
                const QVector<buttonAttributes>& was = forward ? s.before : s.after;
                if (s.what != names || buttons[id].names == was[i].names)
                    copy(s.what, values[i], buttons[id]);
            }
        }
    }
    // A step as pushed: merged into the last one when the stack merged it.
    void pushed(const step& s, bool merged)
    {
        history.resize(done);
        if (merged) {
            history.last().after = s.after;
        } else {
            history.append(s);
            ++done;
        }
        apply(s, true);
    }
    void undo() { apply(history[--done], false); }
    void redo() { apply(history[done++], true); }
};

// Whether the page holds what the reference says, button for button.
inline bool page_matches(const picker_page& page, const page_oracle& oracle, QString* why)
{
    if (page.count() != oracle.buttons.size()) {
        *why = QString("%1 buttons, expected %2").arg(page.count()).arg(oracle.buttons.size());
        return false;
    }
    for (auto it = oracle.buttons.cbegin(); it != oracle.buttons.cend(); ++it) {
        const int at = page.row_of(it.key());
        if (at < 0 || static_cast<const buttonAttributes&>(page.at(at)) != it.value()) {
            *why = QString("button %1 ('%2') %3").arg(it.key()).arg(it.value().label)
                       .arg(at < 0 ? "is gone" : QString("holds '%1' at %2,%3 [%4]")
                                                   .arg(page.at(at).label).arg(page.at(at).pos.x())
                                                   .arg(page.at(at).pos.y()).arg(page.at(at).names.join(',')));
            return false;
        }
    }
    return true;
}
