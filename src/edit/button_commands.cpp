#include "edit/button_commands.h"

#include "edit/property_commands.h"

#include <utility>

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

// ----- Helpers

removed_buttons removed_buttons::selected(const picker_page& page)
{
    removed_buttons r;
    r.rows = page.target_rows();
    for (int row : std::as_const(r.rows)) {
        r.ids.append(page.at(row).id);
        r.saved.append(page.at(row));
    }
    return r;
}

void removed_buttons::take_out(picker_page& page) const
{
    page.remove_ids(ids);
}

// From the first up: each lands where it was before the ones after it were
// taken out. They come back unselected.
void removed_buttons::put_back(picker_page& page) const
{
    picker_page::hold hold(&page);
    for (int i = 0; i < ids.size(); ++i)
        if (page.row_of(ids[i]) < 0)
            page.insert(saved[i], qBound(0, rows[i], page.count()), ids[i]);
}

QVector<int> added_buttons::put_in(picker_page& page)
{
    picker_page::hold hold(&page);
    QVector<int> rows;
    for (int i = 0; i < buttons.size(); ++i) {
        const int row = page.insert(buttons[i], -1, i < ids.size() ? ids[i] : 0);
        if (i >= ids.size())
            ids.append(page.at(row).id);
        rows.append(row);
    }
    return rows;
}

void added_buttons::take_out(picker_page& page) const
{
    page.remove_ids(ids);
}

// ----- add_button_cmd

add_button_cmd::add_button_cmd(picker_page* page, const buttonAttributes& button, const QString& text)
    : page(page)
{
    setText(text);
    added.buttons.append(button);
}

// The new buttons are what the next edit acts on, not the older ones
// that light with them because they share objects.
void add_button_cmd::redo()
{
    picker_page::hold hold(page);
    before = page->picks();
    added.put_in(*page);
    page->conform_to_selection();
    page->set_picks(added.ids);
}

void add_button_cmd::undo()
{
    picker_page::hold hold(page);
    added.take_out(*page);
    page->conform_to_selection();
    page->restore_picks(before);
}

int add_button_cmd::id() const
{
    return command_id::add_button;
}

// ----- add_buttons_cmd

add_buttons_cmd::add_buttons_cmd(picker_page* page, const QList<buttonAttributes>& buttons, const QString& text)
    : page(page)
{
    setText(text);
    added.buttons = buttons;
}

// The new buttons are what the next edit acts on, not the older ones
// that light with them because they share objects.
void add_buttons_cmd::redo()
{
    picker_page::hold hold(page);
    before = page->picks();
    added.put_in(*page);
    page->conform_to_selection();
    page->set_picks(added.ids);
}

void add_buttons_cmd::undo()
{
    picker_page::hold hold(page);
    added.take_out(*page);
    page->conform_to_selection();
    page->restore_picks(before);
}

int add_buttons_cmd::id() const
{
    return command_id::add_many;
}

// ----- move_buttons_cmd

move_buttons_cmd::move_buttons_cmd(picker_page* page, const QVector<QPoint>& oldPositions,
                                   const QVector<button_id>& ids, const QPoint& delta)
    : page(page)
    , oldPositions(oldPositions)
    , ids(ids)
    , delta(delta)
{
    setText(move_text(ids.size()));
}

void move_buttons_cmd::place(const QPoint& by)
{
    picker_page::hold hold(page);
    const int n = qMin(ids.size(), oldPositions.size());
    for (int i = 0; i < n; ++i) {
        const int row = page->row_of(ids[i]);
        if (row >= 0)
            page->move(row, oldPositions[i] + by);
    }
}

void move_buttons_cmd::redo()
{
    place(delta);
}

void move_buttons_cmd::undo()
{
    place(QPoint());
}

int move_buttons_cmd::id() const
{
    return command_id::move_buttons;
}

// ----- delete_buttons_cmd

delete_buttons_cmd::delete_buttons_cmd(picker_page* page)
    : page(page)
    , removed(removed_buttons::selected(*page))
{
    setText(removed.ids.size() > 1 ? "Delete Buttons" : "Delete Button");
}

void delete_buttons_cmd::redo()
{
    removed.take_out(*page);
}

void delete_buttons_cmd::undo()
{
    removed.put_back(*page);
}

int delete_buttons_cmd::id() const
{
    return command_id::delete_buttons;
}

// ----- update_buttons_cmd

update_buttons_cmd::update_buttons_cmd(picker_page* page, button_id button, const QStringList& names)
    : page(page)
    , button(button)
    , names(names)
{
    setText("Update Button");
}

// Swapping makes the command its own inverse: the stored list always holds
// the names the button does not have.
void update_buttons_cmd::redo()
{
    const int row = page->row_of(button);
    if (row < 0)
        return;
    picker_page::hold hold(page);
    const QStringList had = page->at(row).names;
    page->set_names(row, names);
    names = had;
    page->select(row, false);
    page->conform_to_selection();
}

void update_buttons_cmd::undo()
{
    redo();
}

int update_buttons_cmd::id() const
{
    return command_id::update_buttons;
}

// ----- edit_button_cmd

edit_button_cmd::edit_button_cmd(picker_page* page, button_id button, const buttonAttributes& after,
                                 const QString& text)
    : page(page)
    , button(button)
    , after(after)
{
    setText(text);
    const int row = page->row_of(button);
    if (row >= 0)
        before = page->at(row);
}

void edit_button_cmd::redo()
{
    const int row = page->row_of(button);
    if (row >= 0)
        page->set_attributes(row, after);
}

void edit_button_cmd::undo()
{
    const int row = page->row_of(button);
    if (row >= 0)
        page->set_attributes(row, before);
}

int edit_button_cmd::id() const
{
    return command_id::edit_button;
}

// ----- cut_buttons_cmd

cut_buttons_cmd::cut_buttons_cmd(picker_page* page)
    : page(page)
    , removed(removed_buttons::selected(*page))
{
    setText(removed.ids.size() > 1 ? "Cut Buttons" : "Cut Button");
}

void cut_buttons_cmd::redo()
{
    picker_page::hold hold(page);
    removed.take_out(*page);
    page->clear_selected(false);
}

// Unlike a delete, the cut buttons come back selected, ready to be cut again.
void cut_buttons_cmd::undo()
{
    picker_page::hold hold(page);
    removed.put_back(*page);
    page->clear_selected(false);
    for (button_id id : std::as_const(removed.ids)) {
        const int row = page->row_of(id);
        if (row >= 0)
            page->select(row, true);
    }
    // Lit alone, they are the targets.
    page->drop_picks();
}

int cut_buttons_cmd::id() const
{
    return command_id::cut;
}

// ----- paste_buttons_cmd

paste_buttons_cmd::paste_buttons_cmd(picker_page* page, const QList<buttonAttributes>& buttons, bool inPlace,
                                     const QPoint& centre)
    : page(page)
{
    setText("Paste Buttons");
    if (buttons.isEmpty())
        return;
    from = QRect(buttons.first().pos, QSize(1, 1));
    for (int i = 1; i < buttons.size(); ++i)
        expand_rect(from, buttons[i].pos);
    const QPoint offset = inPlace ? QPoint() : centre - from.center();
    added.buttons = buttons;
    for (buttonAttributes& a : added.buttons)
        a.pos += offset;
}

// The host selection stays as it is: pasted buttons are picker-side only.
void paste_buttons_cmd::redo()
{
    picker_page::hold hold(page);
    const QVector<int> rows = added.put_in(*page);
    page->clear_selected(false);
    for (int row : rows)
        page->select(row, true);
    // Lit alone, they are the targets.
    page->drop_picks();
}

void paste_buttons_cmd::undo()
{
    picker_page::hold hold(page);
    added.take_out(*page);
    page->clear_selected(false);
}

int paste_buttons_cmd::id() const
{
    return command_id::paste;
}
