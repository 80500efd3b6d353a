#include "view/gestures.h"

#include "edit/button_commands.h"
#include "view/picker_view.h"
#include "window/picker_window.h"

#include <QUndoStack>

#include <cmath>
#include <cstdlib>

int drag_zoom_steps(int steps)
{
    return steps > 0 ? steps - 1 : steps < 0 ? steps + 1 : 0;
}

// ----- Selection

select_button_cmd::select_button_cmd(picker_view* v, const QPoint& pos, int modifiers)
    : view(v), anchor(pos), current(pos), pressSelection(picker_window::selection())
{
    picker_window* window = view->window;
    if (modifiers & Qt::ShiftModifier) {
        baseSelection = picker_window::selection();
        additive = true;
    }
    ctrl = modifiers & Qt::ControlModifier;
    buttonRecord* hit = view->find_button(pos);
    bool changed = false;
    if (!hit) {
        if (!additive && window)
            window->clearAllSelected();
    } else if (!ctrl) {
        if (!additive && window)
            window->clearAllSelected();
        if (hit->selected == 1) {
            changed = additive;
            if (additive) {
                hit->unselect(false);
                view->conform_to_selection();
            }
        } else {
            hit->select(false);
            view->conform_to_selection();
            changed = true;
        }
    } else {
        if (hit->selected == 1) {
            changed = additive;
            if (additive)
                hit->unselect(false);
            else
                moving = true;
        } else {
            if (!additive)
                view->clear_selected();
            hit->select(false);
            changed = true;
            moving = true;
        }
        if (moving) {
            for (int i = 0; i < view->buttons.size(); ++i) {
                if (view->buttons[i].selected) {
                    movedIndices << i;
                    movedStarts << view->buttons[i].pos;
                }
            }
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
        for (int i = 0; i < movedIndices.size(); ++i)
            if (movedIndices[i] < view->buttons.size())
                view->buttons[movedIndices[i]].moveTo(movedStarts[i] + delta);
        view->refresh();
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
    view->select_bounds(r, additive);
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
            view->undoer()->push(new move_buttons_cmd(view, movedStarts, movedIndices, drag_delta()));
    }
    view->update_toolbox();
}

// ----- Command button

track_button_cmd::track_button_cmd(picker_view* v, const QPoint& pos, int i) : view(v), index(i)
{
    if (buttonRecord* b = button())
        rect = view->mapToScreen(b->bounds);
    update(pos, 0);
}

buttonRecord* track_button_cmd::button() const
{
    return index >= 0 && index < view->buttons.size() ? &view->buttons[index] : nullptr;
}

void track_button_cmd::update(const QPoint& pos, int)
{
    buttonRecord* b = button();
    if (!b)
        return;
    // Shown pressed while the pointer is over it.
    qint16 state = rect.contains(pos) ? 1 : 0;
    if (state != b->selected) {
        b->selected = state;
        view->refresh();
    }
}

void track_button_cmd::finish()
{
    if (buttonRecord* b = button()) {
        if (b->selected) {
            view->do_button_action(*b);
            b->unselect(false);
            view->refresh();
        }
    }
    view->update_toolbox();
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
    const int s = window ? window->currentSize() : 10;
    if (!placed) {
        placed = true;
        origin = view->mapToPicker(pos);
        QPoint at = origin;
        for (const QString& name : picker_window::selection()) {
            buttonAttributes a;
            a.pos = at;
            a.size = s;
            a.width = window ? window->currentWidth() : 10;
            a.height = window ? window->currentHeight() : 10;
            a.kind = 0;
            a.language = 0;
            a.color = window ? window->currentColor() : 0xB22222;
            a.labelColor = window ? window->currentTextColor() : 0x000000;
            a.names = QStringList{name};
            indices << view->push_button(a, -1);
            at.rx() += s + 1;
        }
        return;
    }
    const int n = indices.size();
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
    for (int i = 0; i < n; ++i)
        if (indices[i] < view->buttons.size())
            view->buttons[indices[i]].moveTo(origin + QPoint(i * dx, i * dy));
    view->refresh();
}

// Takes the live buttons out again, last first so the earlier indices hold.
QList<buttonAttributes> add_manybuttons_cmd::take_placed()
{
    QList<buttonAttributes> made;
    for (int i : indices)
        if (i >= 0 && i < view->buttons.size())
            made << view->buttons[i];
    for (int k = indices.size() - 1; k >= 0; --k)
        view->pop_button(indices[k]);
    indices.clear();
    return made;
}

void add_manybuttons_cmd::finish()
{
    // The row is handed to the undo stack as one step, which puts it back.
    const QList<buttonAttributes> made = take_placed();
    if (!made.isEmpty())
        view->undoer()->push(new add_buttons_cmd(view, made, "Add Many Buttons"));
    view->conform_to_selection();
    view->adjustCursor(true);
}

void add_manybuttons_cmd::cancel()
{
    if (!take_placed().isEmpty())
        view->refresh();
    view->adjustCursor(true);
}
