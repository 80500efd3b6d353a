// Undoable changes of which buttons a page holds, where they are and which
// objects they select. Buttons are referred to by id, so a step finds its
// buttons wherever scripts have moved them in the list since; one a script
// removed is skipped.
#pragma once

#include "model/picker_page.h"

#include <QList>
#include <QPoint>
#include <QRect>
#include <QString>
#include <QStringList>
#include <QUndoCommand>
#include <QVector>

// Grows r so that it includes p.
void expand_rect(QRect& r, const QPoint& p);

// Buttons taken out of a page and put back where they were.
struct removed_buttons {
    QVector<int> rows; // ascending, where they stood
    QVector<button_id> ids;
    QList<buttonAttributes> saved;

    // The page's targets, in list order.
    static removed_buttons selected(const picker_page& page);
    void take_out(picker_page& page) const;
    void put_back(picker_page& page) const;
};

// Buttons a step appends: made on the first redo, given the same ids on
// every later one.
struct added_buttons {
    QList<buttonAttributes> buttons;
    QVector<button_id> ids;

    QVector<int> put_in(picker_page& page);
    void take_out(picker_page& page) const;
};

class add_button_cmd : public QUndoCommand {
public:
    add_button_cmd(picker_page* page, const buttonAttributes& button, const QString& text);
    void undo() override;
    void redo() override;
    int id() const override;

    // The button to be added; the command editor fills it in before the push.
    buttonAttributes& attributes() { return added.buttons.first(); }

private:
    picker_page* page;
    added_buttons added;
    picker_page::picks_state before;
};

// The buttons "Add Many Buttons" laid out, as one step: they were placed
// live during the drag and are appended again, as they ended, on redo.
class add_buttons_cmd : public QUndoCommand {
public:
    add_buttons_cmd(picker_page* page, const QList<buttonAttributes>& buttons, const QString& text);
    void undo() override;
    void redo() override;
    int id() const override;

private:
    picker_page* page;
    added_buttons added;
    picker_page::picks_state before;
};

class move_buttons_cmd : public QUndoCommand {
public:
    move_buttons_cmd(picker_page* page, const QVector<QPoint>& oldPositions, const QVector<button_id>& ids,
                     const QPoint& delta);
    void undo() override;
    void redo() override;
    int id() const override;

private:
    void place(const QPoint& delta);

    picker_page* page;
    QVector<QPoint> oldPositions;
    QVector<button_id> ids;
    QPoint delta;
};

class delete_buttons_cmd : public QUndoCommand {
public:
    explicit delete_buttons_cmd(picker_page* page);
    void undo() override;
    void redo() override;
    int id() const override;

private:
    picker_page* page;
    removed_buttons removed;
};

class update_buttons_cmd : public QUndoCommand {
public:
    update_buttons_cmd(picker_page* page, button_id button, const QStringList& names);
    void undo() override;
    void redo() override;
    int id() const override;

private:
    picker_page* page;
    button_id button;
    QStringList names;
};

// Every attribute of one button at once, as the command editor changes a
// command button's label, script and language: one step per accepted edit.
class edit_button_cmd : public QUndoCommand {
public:
    edit_button_cmd(picker_page* page, button_id button, const buttonAttributes& after, const QString& text);
    void undo() override;
    void redo() override;
    int id() const override;

private:
    picker_page* page;
    button_id button;
    buttonAttributes before;
    buttonAttributes after;
};

class cut_buttons_cmd : public QUndoCommand {
public:
    explicit cut_buttons_cmd(picker_page* page);
    void undo() override;
    void redo() override;
    int id() const override;
    // What the cut takes: the window puts it on the clipboard.
    const QList<buttonAttributes>& buttons() const { return removed.saved; }

private:
    picker_page* page;
    removed_buttons removed;
};

class paste_buttons_cmd : public QUndoCommand {
public:
    // Centred on `centre` (picker coordinates), unless in place.
    paste_buttons_cmd(picker_page* page, const QList<buttonAttributes>& buttons, bool inPlace,
                      const QPoint& centre = QPoint());
    void undo() override;
    void redo() override;
    int id() const override;
    // Where the buttons came from, in picker coordinates.
    QRect source() const { return from; }

private:
    picker_page* page;
    added_buttons added;
    QRect from;
};
