#include "edit/property_commands.h"

#include "view/picker_view.h"

#include <typeinfo>

namespace {

// Remembers the selected buttons (low bit of `selected`), in list order, with
// the value each one is about to lose.
template <class Values, class Read>
void capture(picker_view* view, QVector<int>& indices, Values& old, Read read)
{
    for (int k = 0; k < view->buttons.size(); ++k) {
        const buttonRecord& r = view->buttons.at(k);
        if (r.selected & 1) {
            indices.append(k);
            old.append(read(r));
        }
    }
}

// Applies `change(record, i)` to every captured button, then repaints and
// announces the change. Nothing at all happens for an empty capture, so an
// edit with nothing selected does not mark the scene modified. An index the
// list no longer has (a script removed buttons behind the history) is skipped.
template <class Change>
void apply(picker_view* view, const QVector<int>& indices, bool toolbox, Change change)
{
    if (indices.isEmpty())
        return;
    for (int i = 0; i < indices.size(); ++i) {
        const int k = indices[i];
        if (k < 0 || k >= view->buttons.size())
            continue;
        change(view->buttons[k], i);
    }
    view->refresh();
    view->signal_changed();
    if (toolbox)
        view->update_toolbox();
}

// The newer command when it is of the very same class: the two adjusts share
// an id but must not merge into each other.
template <class Command>
const Command* same_run(const Command* self, const QUndoCommand* other)
{
    if (typeid(*other) != typeid(*self))
        return nullptr;
    return static_cast<const Command*>(other);
}

bool same_sign(int a, int b)
{
    return (a < 0) == (b < 0);
}

} // namespace

// ----- change_color_cmd

change_color_cmd::change_color_cmd(picker_view* view, unsigned int color) : view(view), color(color)
{
    setText("Change Color");
    capture(view, indices, oldColors, [](const buttonRecord& r) { return r.color; });
}

void change_color_cmd::redo()
{
    apply(view, indices, true, [this](buttonRecord& r, int) { r.color = color; });
}

void change_color_cmd::undo()
{
    apply(view, indices, true, [this](buttonRecord& r, int i) { r.color = oldColors[i]; });
}

bool change_color_cmd::mergeWith(const QUndoCommand* other)
{
    const change_color_cmd* next = same_run(this, other);
    if (!next || next->indices != indices)
        return false;
    color = next->color;
    return true;
}

// ----- change_labelc_cmd

change_labelc_cmd::change_labelc_cmd(picker_view* view, unsigned int color) : view(view), color(color)
{
    // The same text as the fill colour: the user sees both as a colour change.
    setText("Change Color");
    capture(view, indices, oldColors, [](const buttonRecord& r) { return r.labelColor; });
}

void change_labelc_cmd::redo()
{
    apply(view, indices, true, [this](buttonRecord& r, int) {
        r.labelColor = color;
        view->update_label(r);
    });
}

void change_labelc_cmd::undo()
{
    apply(view, indices, true, [this](buttonRecord& r, int i) {
        r.labelColor = oldColors[i];
        view->update_label(r);
    });
}

bool change_labelc_cmd::mergeWith(const QUndoCommand* other)
{
    const change_labelc_cmd* next = same_run(this, other);
    if (!next || next->indices != indices)
        return false;
    color = next->color;
    return true;
}

// ----- change_width_cmd

change_width_cmd::change_width_cmd(picker_view* view, int width) : view(view), width(width)
{
    setText("Change Width");
    capture(view, indices, oldWidths, [](const buttonRecord& r) { return r.width; });
}

void change_width_cmd::redo()
{
    apply(view, indices, true, [this](buttonRecord& r, int) { view->set_button_width(r, width); });
}

void change_width_cmd::undo()
{
    apply(view, indices, true,
          [this](buttonRecord& r, int i) { view->set_button_width(r, oldWidths[i]); });
}

bool change_width_cmd::mergeWith(const QUndoCommand* other)
{
    const change_width_cmd* next = same_run(this, other);
    if (!next || next->indices != indices)
        return false;
    width = next->width;
    return true;
}

// ----- change_height_cmd

change_height_cmd::change_height_cmd(picker_view* view, int height) : view(view), height(height)
{
    setText("Change Height");
    capture(view, indices, oldHeights, [](const buttonRecord& r) { return r.height; });
}

void change_height_cmd::redo()
{
    apply(view, indices, true,
          [this](buttonRecord& r, int) { view->set_button_height(r, height); });
}

void change_height_cmd::undo()
{
    apply(view, indices, true,
          [this](buttonRecord& r, int i) { view->set_button_height(r, oldHeights[i]); });
}

bool change_height_cmd::mergeWith(const QUndoCommand* other)
{
    const change_height_cmd* next = same_run(this, other);
    if (!next || next->indices != indices)
        return false;
    height = next->height;
    return true;
}

// ----- adjust_width_cmd

adjust_width_cmd::adjust_width_cmd(picker_view* view, int delta) : view(view), delta(delta)
{
    setText("Adjust Size");
    capture(view, indices, oldWidths, [](const buttonRecord& r) { return r.width; });
}

void adjust_width_cmd::redo()
{
    apply(view, indices, true, [this](buttonRecord& r, int) {
        view->set_button_size(r, qMax(r.width + delta, 1), r.height);
    });
}

void adjust_width_cmd::undo()
{
    apply(view, indices, true,
          [this](buttonRecord& r, int i) { view->set_button_size(r, oldWidths[i], r.height); });
}

// Growing and then shrinking stay two steps, so one undo never jumps over
// the turning point.
bool adjust_width_cmd::mergeWith(const QUndoCommand* other)
{
    const adjust_width_cmd* next = same_run(this, other);
    if (!next || !same_sign(delta, next->delta) || next->indices != indices)
        return false;
    delta += next->delta;
    return true;
}

// ----- adjust_height_cmd

adjust_height_cmd::adjust_height_cmd(picker_view* view, int delta) : view(view), delta(delta)
{
    setText("Adjust Size");
    capture(view, indices, oldHeights, [](const buttonRecord& r) { return r.height; });
}

void adjust_height_cmd::redo()
{
    apply(view, indices, true, [this](buttonRecord& r, int) {
        view->set_button_size(r, r.width, qMax(r.height + delta, 1));
    });
}

void adjust_height_cmd::undo()
{
    apply(view, indices, true,
          [this](buttonRecord& r, int i) { view->set_button_size(r, r.width, oldHeights[i]); });
}

bool adjust_height_cmd::mergeWith(const QUndoCommand* other)
{
    const adjust_height_cmd* next = same_run(this, other);
    if (!next || !same_sign(delta, next->delta) || next->indices != indices)
        return false;
    delta += next->delta;
    return true;
}

// ----- change_label_cmd

change_label_cmd::change_label_cmd(picker_view* view, const QString& label) : view(view), label(label)
{
    setText("Label Change");
    capture(view, indices, oldLabels, [](const buttonRecord& r) { return r.label; });
}

void change_label_cmd::redo()
{
    apply(view, indices, true,
          [this](buttonRecord& r, int) { view->set_button_label(r, label); });
}

void change_label_cmd::undo()
{
    apply(view, indices, true,
          [this](buttonRecord& r, int i) { view->set_button_label(r, oldLabels[i]); });
}

// ----- nudge_buttons_cmd

nudge_buttons_cmd::nudge_buttons_cmd(picker_view* view, const QPoint& delta) : view(view), delta(delta)
{
    setText("Button Move");
    capture(view, indices, oldPositions, [](const buttonRecord& r) { return r.pos; });
}

// Moves from the captured positions, not the current ones, so a merged run
// lands where the sum of its steps says.
void nudge_buttons_cmd::redo()
{
    apply(view, indices, false,
          [this](buttonRecord& r, int i) { r.moveTo(oldPositions[i] + delta); });
}

void nudge_buttons_cmd::undo()
{
    apply(view, indices, false, [this](buttonRecord& r, int i) { r.moveTo(oldPositions[i]); });
}

bool nudge_buttons_cmd::mergeWith(const QUndoCommand* other)
{
    const nudge_buttons_cmd* next = same_run(this, other);
    if (!next || next->indices != indices)
        return false;
    delta += next->delta;
    return true;
}
