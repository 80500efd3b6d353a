#include "view/gestures.h"

#include "edit/button_commands.h"
#include "model/picker_host.h"
#include "view/picker_view.h"
#include "window/picker_window.h"

#include <QUndoStack>

#include <QtNumeric>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <utility>

int drag_zoom_steps(int steps)
{
    return steps > 0 ? steps - 1 : steps < 0 ? steps + 1 : 0;
}

// ----- Selection

select_button_cmd::select_button_cmd(picker_view* v, const QPoint& pos, int modifiers)
    : view(v), anchor(pos), current(pos), pressSelection(picker_window::selection())
{
    picker_window* window = view->window;
    picker_page* page = view->page();
    if (modifiers & Qt::ShiftModifier) {
        baseSelection = picker_window::selection();
        // What Shift adds to: the targets, picked here or lit by the host.
        basePicks = page->target_ids();
        additive = true;
    }
    ctrl = modifiers & Qt::ControlModifier;
    const int hit = view->find_button_index(pos);
    const button_id hitId = hit < 0 ? 0 : page->at(hit).id;
    // Read when asked: clearing the selection first changes it.
    auto state = [&] { return page->at(hit).selected; };
    // From here on the picker's own gestures say what is targeted.
    if (additive) {
        if (window)
            window->clear_picks();
        page->set_picks(basePicks);
    }
    // A new selection: nothing lit, nothing picked, in any tab.
    auto start_over = [&] {
        if (window)
            window->clearAllSelected();
        else
            page->set_picks({});
    };
    bool changed = false;
    if (hit < 0) {
        if (!additive)
            start_over();
    } else if (!ctrl) {
        if (!additive)
            start_over();
        if (state() == 1) {
            changed = additive;
            if (additive) {
                page->unselect(hit, false);
                page->pick(hitId, false);
                view->conform_to_selection();
            }
        } else {
            page->select(hit, false);
            page->pick(hitId, true);
            view->conform_to_selection();
            changed = true;
        }
    } else {
        // Control drags the targets when it presses one; any other button
        // it makes the target (or, with Shift, one more) and drags that.
        if (page->is_target(hit)) {
            changed = additive;
            if (additive) {
                page->unselect(hit, false);
                page->pick(hitId, false);
            } else {
                moving = true;
            }
        } else {
            if (!additive) {
                view->clear_selected();
                if (window)
                    window->clear_picks();
                page->set_picks({});
            }
            page->select(hit, false);
            page->pick(hitId, true);
            changed = true;
            moving = true;
        }
        if (moving) {
            for (int row : page->target_rows()) {
                movedIds << page->at(row).id;
                movedStarts << page->at(row).pos;
            }
            held.reset(new picker_page::hold(page));
        }
    }
    if (changed)
        view->refresh();
}

QPoint select_button_cmd::drag_delta() const
{
    float scale = 1.0f / float(view->zoom);
    return QPoint(int(float(current.x() - anchor.x()) * scale), int(float(current.y() - anchor.y()) * scale));
}

void select_button_cmd::update(const QPoint& pos, int)
{
    if (pos == current)
        return;
    current = pos;
    if (moving) {
        const QPoint delta = drag_delta();
        picker_page* page = view->page();
        for (int i = 0; i < movedIds.size(); ++i) {
            const int row = page->row_of(movedIds[i]);
            if (row >= 0)
                page->move(row, movedStarts[i] + delta);
        }
        return;
    }
    marquee_overlay* overlay = view->overlays.marquee();
    if (!marquee && (current - anchor).manhattanLength() > 3) {
        marquee = true;
        overlay->setAnchor(anchor);
    }
    if (!marquee)
        return;
    overlay->setPoint(current);
    const QRect r = overlay->bounds();
    picker_window::selection_batch batch;
    if (additive) {
        // Back to the press-time state, names included, before this drag's pass.
        picker_window::set_selection_names(baseSelection);
        view->conform_to_selection();
    } else {
        view->clear_selected();
    }
    QVector<button_id> met;
    view->select_bounds(r, additive, &met);
    // What the marquee meets is picked; buttons lighting with them are not.
    view->page()->set_picks(additive ? basePicks + met : met);
    if (!ctrl)
        view->conform_to_selected();
    view->refresh();
}

void select_button_cmd::finish()
{
    marquee_overlay* overlay = view->overlays.marquee();
    const bool shown = !overlay->isEmpty();
    if (shown)
        overlay->reset();
    if (!ctrl) {
        bool changed = view->window ? view->window->postSelection() : false;
        if (changed || shown)
            view->refresh();
    } else {
        // Control changes the highlight like any other click, so the host
        // hears of it too, and buttons sharing a name light together.
        if (picker_window::selection() != pressSelection) {
            view->conform_to_selection();
            if (view->window)
                view->window->postSelection();
            view->refresh();
        } else if (shown) {
            view->refresh();
        }
        if (moving && current != anchor)
            view->undoer()->push(new move_buttons_cmd(view->page(), movedStarts, movedIds, drag_delta()));
    }
    held.reset();
    view->update_toolbox();
}

// ----- Command button

track_button_cmd::track_button_cmd(picker_view* v, const QPoint& pos, int i)
    : view(v), button(v->buttons().at(i).id)
{
    rect = view->mapToScreen(view->buttons().at(i).bounds);
    update(pos, 0);
}

int track_button_cmd::row() const
{
    return view->page()->row_of(button);
}

void track_button_cmd::update(const QPoint& pos, int)
{
    const int k = row();
    if (k < 0)
        return;
    // Shown pressed while the pointer is over it.
    const qint16 state = rect.contains(pos) ? 1 : 0;
    if (state != view->buttons().at(k).selected) {
        view->page()->set_state(k, state);
        view->refresh();
    }
}

void track_button_cmd::finish()
{
    const int k = row();
    if (k >= 0 && view->buttons().at(k).selected) {
        view->do_button_action(view->buttons().at(k));
        // The script may have changed the list.
        const int now = row();
        if (now >= 0)
            view->page()->unselect(now, false);
        view->refresh();
    }
    view->update_toolbox();
}

// ----- Attribute buttons

attribute_drag_cmd::attribute_drag_cmd(picker_view* v, const QPoint& pos, int i, int modifiers)
    : view(v), button(v->buttons().at(i).id), anchor(pos)
{
    const buttonRecord& r = view->buttons().at(i);
    rect = view->mapToScreen(r.bounds);
    toggle = r.widget == qint32(attribute_widget::checkbox);
    if (toggle) {
        view->page()->set_state(i, 1);
        view->refresh();
        return;
    }
    // The drag starts from what the host holds now; a plug it cannot read
    // (gone from the scene, not a number) is not dragged at all.
    const QVector<double> now = picker_host::instance().attribute_values(r.names);
    for (int k = 0; k < r.names.size(); ++k) {
        anchorValue[k] = value[k] = now.value(k, qQNaN());
        if (std::isnan(value[k])) {
            unusable(r.names[k]);
            return;
        }
    }
    chunk = picker_host::instance().run_mel_now("undoInfo -openChunk -chunkName \"QuillmarshPicker drag\";");
    fine = modifiers & Qt::ShiftModifier;
    // Without Shift the handle jumps to the pointer, as a slider's does.
    if (!fine) {
        anchor = QPoint(-1, -1);
        update(pos, modifiers);
    }
}

attribute_drag_cmd::~attribute_drag_cmd()
{
    // A drag cut short (the view going, the pointer grabbed away) still
    // leaves the host's undo queue whole.
    close_chunk();
}

void attribute_drag_cmd::unusable(const QString& plug)
{
    dead = true;
    picker_host::instance().warn(QString("%1: %2 cannot be set: it is not in the scene, or not a number")
                                     .arg(picker_host::command, plug));
}

int attribute_drag_cmd::row() const
{
    return view->page()->row_of(button);
}

void attribute_drag_cmd::close_chunk()
{
    if (chunk)
        picker_host::instance().run_mel_now("undoInfo -closeChunk;");
    chunk = false;
}

void attribute_drag_cmd::update(const QPoint& pos, int modifiers)
{
    const int k = row();
    if (k < 0)
        return;
    const buttonRecord& r = view->buttons().at(k);
    if (dead)
        return;
    if (toggle) {
        const qint16 state = rect.contains(pos) ? 1 : 0;
        if (state != r.selected) {
            view->page()->set_state(k, state);
            view->refresh();
        }
        return;
    }
    const QRectF box = QRectF(rect).adjusted(2, 2, -2, -2);
    const bool upright = r.widget == qint32(attribute_widget::slider) && r.height > r.width;
    const bool shift = modifiers & Qt::ShiftModifier;
    // The pace changes where the pointer is, so the handle never jumps.
    if (shift != fine || anchor == QPoint(-1, -1)) {
        if (anchor == QPoint(-1, -1)) {
            // The press itself: the values under the pointer.
            const double fx = (pos.x() - box.left()) / std::max(1.0, box.width());
            const double fy = (box.bottom() - pos.y()) / std::max(1.0, box.height());
            if (r.widget == qint32(attribute_widget::slider2d)) {
                value[0] = fraction_value(r, 0, fx);
                value[1] = fraction_value(r, 1, fy);
            } else {
                value[0] = fraction_value(r, 0, upright ? fy : fx);
            }
        }
        anchor = pos;
        anchorValue[0] = value[0];
        anchorValue[1] = value[1];
        fine = shift;
    }
    const double pace = fine ? 0.1 : 1.0;
    const double dx = (pos.x() - anchor.x()) / std::max(1.0, box.width()) * pace;
    const double dy = (anchor.y() - pos.y()) / std::max(1.0, box.height()) * pace;
    const double moved[2] = {r.widget == qint32(attribute_widget::slider2d) ? dx : upright ? dy : dx, dy};
    QVector<double> values;
    QHash<QString, double> shown;
    bool changed = false;
    for (int i = 0; i < r.names.size(); ++i) {
        const double v = std::clamp(anchorValue[i] + moved[i] * (r.maximum[i] - r.minimum[i]), r.minimum[i],
                                    r.maximum[i]);
        changed = changed || v != r.value[i];
        value[i] = v;
        values << v;
        shown.insert(r.names[i], v);
    }
    if (!changed)
        return;
    const QStringList plugs = r.names;
    // Shown at once; the host's own notice confirms it when next idle. A
    // plug the host refuses (locked, driven) is tried once a drag, so its
    // error shows once.
    view->page()->set_attribute_values(shown);
    if (!picker_host::instance().run_mel_undoable(set_attributes_mel(plugs, values)))
        dead = true;
}

void attribute_drag_cmd::finish()
{
    const int k = row();
    if (toggle && k >= 0 && view->buttons().at(k).selected) {
        view->page()->set_state(k, 0);
        const buttonRecord& r = view->buttons().at(k);
        const double now = picker_host::instance().attribute_values(r.names).value(0, qQNaN());
        if (std::isnan(now))
            unusable(r.names.value(0));
        else
            set_now(view->page(), r.names, {checkbox_next(r, now)});
        view->refresh();
    }
    close_chunk();
}

void attribute_drag_cmd::set_now(picker_page* page, const QStringList& plugs, const QVector<double>& values)
{
    picker_host::instance().run_mel_undoable(QString("undoInfo -openChunk;%1undoInfo -closeChunk;")
                                                 .arg(set_attributes_mel(plugs, values)));
    QHash<QString, double> shown;
    const QVector<double> now = picker_host::instance().attribute_values(plugs);
    for (int i = 0; i < plugs.size(); ++i)
        shown.insert(plugs[i], now.value(i, qQNaN()));
    page->set_attribute_values(shown);
}

void attribute_drag_cmd::reset(picker_page* page, int row)
{
    const buttonRecord& r = page->at(row);
    QVector<double> values;
    for (const QString& plug : r.names) {
        const attribute_facts facts = picker_host::instance().attribute_facts_of(plug);
        values << (facts.exists ? facts.defaultValue : qQNaN());
    }
    set_now(page, r.names, values);
}

// ----- Pan and zoom

shift_picker_cmd::shift_picker_cmd(picker_view* v, const QPoint& pos)
    : view(v), press(pos), last(pos), startShift(v->shift)
{
}

void shift_picker_cmd::update(const QPoint& pos, int)
{
    if (pos == last)
        return;
    last = pos;
    view->setShift(startShift + (pos - press));
}

zoom_picker_cmd::zoom_picker_cmd(picker_view* v, const QPoint& pos)
    : view(v), press(pos), last(pos), startZoom(v->zoom)
{
}

void zoom_picker_cmd::update(const QPoint& pos, int)
{
    if (pos == last)
        return;
    last = pos;
    // Right or down zooms in, about the press point, always from the press-time zoom.
    int d = (pos.x() - press.x()) + (pos.y() - press.y());
    const double z = startZoom * std::pow(picker_view::zoom_factor, drag_zoom_steps(d / 20));
    view->zoom_about(std::min(std::max(z, picker_view::min_zoom), picker_view::max_zoom), press);
}

// ----- Many buttons

add_manybuttons_cmd::add_manybuttons_cmd(picker_view* v) : view(v) {}

void add_manybuttons_cmd::update(const QPoint& pos, int)
{
    if (!active)
        return;
    picker_window* window = view->window;
    // The row's spacing, whatever the toolbox's sizes.
    const int s = button_look().width;
    picker_page* page = view->page();
    if (!placed) {
        placed = true;
        const qint64 count = picker_window::selection().size();
        const QString why = view->no_room_for(count, count);
        if (!why.isEmpty()) {
            picker_host::instance().warn(QString("Add Many Buttons refused: %1.").arg(why));
            return;
        }
        held.reset(new picker_page::hold(page));
        origin = view->mapToPicker(pos);
        QPoint at = origin;
        button_look look = window ? window->toolbox() : button_look();
        look.label.clear();
        for (const QString& name : picker_window::selection()) {
            const int row = page->insert(new_button(at, look, 0, 0, {name}));
            ids << page->at(row).id;
            at.rx() += s + 1;
        }
        return;
    }
    const int n = ids.size();
    if (n == 0)
        return;
    const QPoint p = view->mapToPicker(pos);
    int dx = (p.x() - origin.x()) / n;
    int dy = (p.y() - origin.y()) / n;
    // The dominant axis gets at least one button's size per step; a zero
    // step there lays the row towards negative coordinates.
    if (std::abs(dy) < std::abs(dx)) {
        int step = qMax(s, std::abs(dx));
        dx = dx < 1 ? -step : step;
    } else {
        int step = qMax(s, std::abs(dy));
        dy = dy < 1 ? -step : step;
    }
    for (int i = 0; i < n; ++i) {
        const int row = page->row_of(ids[i]);
        if (row >= 0)
            page->move(row, origin + QPoint(i * dx, i * dy));
    }
}

// Takes the live buttons out again, last first so the earlier indices hold.
QList<buttonAttributes> add_manybuttons_cmd::take_placed()
{
    picker_page* page = view->page();
    QList<buttonAttributes> made;
    for (button_id id : std::as_const(ids)) {
        const int row = page->row_of(id);
        if (row >= 0)
            made << page->at(row);
    }
    page->remove_ids(ids);
    ids.clear();
    return made;
}

void add_manybuttons_cmd::finish()
{
    // The row is handed to the undo stack as one step, which puts it back.
    const QList<buttonAttributes> made = take_placed();
    if (!made.isEmpty())
        view->undoer()->push(new add_buttons_cmd(view->page(), made, "Add Many Buttons"));
    held.reset();
    view->conform_to_selection();
    view->adjustCursor(true);
}

void add_manybuttons_cmd::cancel()
{
    take_placed();
    held.reset();
    view->adjustCursor(true);
}
