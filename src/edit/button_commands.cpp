#include "edit/button_commands.h"

#include "edit/property_commands.h"
#include "view/picker_view.h"
#include "window/picker_window.h"

namespace {

void announce(picker_view* view)
{
    view->refresh();
    view->signal_changed();
    view->update_toolbox();
}

} // namespace

// ----- Helpers

void save_selected_buttons(picker_view* view, QVector<int>& indices, QList<buttonAttributes>& saved)
{
    for (int k = 0; k < view->buttons.size(); ++k) {
        const buttonRecord& r = view->buttons.at(k);
        if (r.selected & 1) {
            indices.append(k);
            saved.append(r);
        }
    }
}

// From the last index down, so the ones still to go keep their positions.
void remove_buttons(picker_view* view, QVector<int> indices)
{
    if (indices.isEmpty())
        return;
    for (int i = indices.size() - 1; i >= 0; --i)
        view->pop_button(indices[i]);
    announce(view);
}

// From the first index up: each lands where it was before the ones after it
// were taken out.
void restore_buttons(picker_view* view, const QVector<int>& indices, const QList<buttonAttributes>& saved)
{
    if (indices.isEmpty())
        return;
    const int n = qMin(indices.size(), saved.size());
    for (int i = 0; i < n; ++i)
        view->push_button(saved[i], qBound(0, indices[i], view->buttons.size()));
    announce(view);
}

void expand_rect(QRect& r, const QPoint& p)
{
    if (p.x() < r.left())
        r.setLeft(p.x());
    if (p.x() > r.right())
        r.setRight(p.x());
    if (p.y() < r.top())
        r.setTop(p.y());
    if (p.y() > r.bottom())
        r.setBottom(p.y());
}

// ----- add_button_cmd

add_button_cmd::add_button_cmd(picker_view* view, const QPoint& at, const QString& text) : view(view)
{
    setText(text);
    init(at);
}

add_button_cmd::add_button_cmd(picker_view* view, const QPoint& at, const QString& text, const QString& label)
    : view(view)
{
    setText(text);
    init(at);
    button.label = label;
}

add_button_cmd::add_button_cmd(picker_view* view, const QPoint& at, const QString& text, int language,
                               const QString& label, const QString& command)
    : view(view)
{
    setText(text);
    init(at);
    button.kind = 1;
    button.language = language;
    button.label = label;
    button.names = QStringList{command};
}

// A selection button with the toolbox's look, bound to the host selection;
// without a window, the toolbox's starting values and no names.
void add_button_cmd::init(const QPoint& at)
{
    const picker_window::toolbox_values defaults;
    const picker_window::toolbox_values& values = view->window ? view->window->toolbox() : defaults;
    button.pos = view->mapToPicker(at);
    button.size = values.width;
    button.width = values.width;
    button.height = values.height;
    button.color = values.color;
    button.labelColor = values.labelColor;
    button.kind = 0;
    button.language = 0;
    button.label = values.label;
    if (view->window)
        button.names = picker_window::selection();
}

void add_button_cmd::redo()
{
    buttonIndex = view->push_button(button, -1);
    view->conform_to_selection();
    view->refresh();
    view->signal_changed();
}

void add_button_cmd::undo()
{
    view->pop_button(buttonIndex);
    view->conform_to_selection();
    view->refresh();
    view->signal_changed();
}

int add_button_cmd::id() const
{
    return command_id::add_button;
}

// ----- add_buttons_cmd

add_buttons_cmd::add_buttons_cmd(picker_view* view, const QList<buttonAttributes>& buttons, const QString& text)
    : view(view)
    , added(buttons)
{
    setText(text);
}

void add_buttons_cmd::redo()
{
    indices.clear();
    for (const buttonAttributes& a : added)
        indices.append(view->push_button(a, -1));
    view->conform_to_selection();
    announce(view);
}

void add_buttons_cmd::undo()
{
    remove_buttons(view, indices);
    view->conform_to_selection();
    view->refresh();
}

int add_buttons_cmd::id() const
{
    return command_id::add_many;
}

// ----- move_buttons_cmd

move_buttons_cmd::move_buttons_cmd(picker_view* view, const QVector<QPoint>& oldPositions,
                                   const QVector<int>& indices, const QPoint& delta)
    : view(view)
    , oldPositions(oldPositions)
    , indices(indices)
    , delta(delta)
{
    setText("Move Buttons");
}

void move_buttons_cmd::redo()
{
    const int n = qMin(indices.size(), oldPositions.size());
    for (int i = 0; i < n; ++i)
        if (indices[i] >= 0 && indices[i] < view->buttons.size())
            view->buttons[indices[i]].moveTo(oldPositions[i] + delta);
    view->refresh();
    view->signal_changed();
}

void move_buttons_cmd::undo()
{
    const int n = qMin(indices.size(), oldPositions.size());
    for (int i = 0; i < n; ++i)
        if (indices[i] >= 0 && indices[i] < view->buttons.size())
            view->buttons[indices[i]].moveTo(oldPositions[i]);
    view->refresh();
    view->signal_changed();
}

int move_buttons_cmd::id() const
{
    return command_id::move_buttons;
}

// ----- delete_buttons_cmd

delete_buttons_cmd::delete_buttons_cmd(picker_view* view) : view(view)
{
    save_selected_buttons(view, indices, saved);
    setText(indices.size() > 1 ? "Delete Buttons" : "Delete Button");
}

void delete_buttons_cmd::redo()
{
    remove_buttons(view, indices);
}

void delete_buttons_cmd::undo()
{
    restore_buttons(view, indices, saved);
}

int delete_buttons_cmd::id() const
{
    return command_id::delete_buttons;
}

// ----- update_buttons_cmd

update_buttons_cmd::update_buttons_cmd(picker_view* view, buttonRecord* record, const QStringList& names)
    : view(view)
    , names(names)
{
    setText("Button Update");
    // The very record the caller holds, not one that merely looks the same.
    for (int k = 0; k < view->buttons.size(); ++k) {
        if (&view->buttons.at(k) == record) {
            buttonIndex = k;
            break;
        }
    }
}

// Swapping makes the command its own inverse: the stored list always holds
// the names the button does not have.
void update_buttons_cmd::redo()
{
    if (buttonIndex < 0 || buttonIndex >= view->buttons.size())
        return;
    buttonRecord& r = view->buttons[buttonIndex];
    r.names.swap(names);
    r.nameFlags.resize(r.names.size());
    r.select(false);
    view->conform_to_selection();
    announce(view);
}

void update_buttons_cmd::undo()
{
    redo();
}

int update_buttons_cmd::id() const
{
    return command_id::update_buttons;
}

// ----- cut_buttons_cmd

cut_buttons_cmd::cut_buttons_cmd(picker_view* view) : view(view)
{
    save_selected_buttons(view, indices, saved);
    setText(indices.size() > 1 ? "Cut Buttons" : "Cut Button");
}

void cut_buttons_cmd::redo()
{
    remove_buttons(view, indices);
    view->clear_selected();
    view->refresh();
    view->signal_changed();
}

// Unlike a delete, the cut buttons come back selected, ready to be cut again.
void cut_buttons_cmd::undo()
{
    restore_buttons(view, indices, saved);
    view->clear_selected();
    view->select_list(indices, true);
    announce(view);
}

int cut_buttons_cmd::id() const
{
    return command_id::cut;
}

// ----- paste_buttons_cmd

paste_buttons_cmd::paste_buttons_cmd(picker_view* view, const QList<buttonAttributes>& buttons, bool inPlace)
    : view(view)
    , pasted(buttons)
    , inPlace(inPlace)
{
    setText("Paste Buttons");
    if (pasted.isEmpty())
        return;
    source = QRect(pasted.first().pos, QSize(1, 1));
    for (int i = 1; i < pasted.size(); ++i)
        expand_rect(source, pasted[i].pos);
}

void paste_buttons_cmd::redo()
{
    // Centred in what the user sees, unless asked to keep the positions.
    QPoint offset;
    if (!inPlace)
        offset = view->mapToPicker(view->rect().center()) - source.center();

    indices.clear();
    for (const buttonAttributes& a : pasted) {
        buttonAttributes b = a;
        b.pos += offset;
        indices.append(view->push_button(b, -1));
    }
    // The host selection stays as it is: pasted buttons are picker-side only.
    view->clear_selected();
    view->select_list(indices, true);

    // Judged by where the buttons came from, in either mode.
    if (!QRect(QPoint(0, 0), view->size()).contains(source))
        view->frameBounds(source, true);
    else
        view->refresh();
    view->signal_changed();
    view->update_toolbox();
}

void paste_buttons_cmd::undo()
{
    remove_buttons(view, indices);
    view->clear_selected();
    announce(view);
}

int paste_buttons_cmd::id() const
{
    return command_id::paste;
}
