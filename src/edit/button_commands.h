// Undoable changes of which buttons a view holds, where they are and which
// objects they select. Buttons are referred to by index in the view's list.
#pragma once

#include "model/button_model.h"

#include <QList>
#include <QPoint>
#include <QRect>
#include <QString>
#include <QStringList>
#include <QUndoCommand>
#include <QVector>

class picker_view;

// Indices and copies of the attributes of the view's selected buttons.
void save_selected_buttons(picker_view* view, QVector<int>& indices, QList<buttonAttributes>& saved);
// Removes the buttons at the indices (ascending), last first.
void remove_buttons(picker_view* view, QVector<int> indices);
// Puts saved buttons back at their indices, first first; they come back unselected.
void restore_buttons(picker_view* view, const QVector<int>& indices, const QList<buttonAttributes>& saved);
// Grows r so that it includes p.
void expand_rect(QRect& r, const QPoint& p);

class add_button_cmd : public QUndoCommand {
public:
    // A selection button for the host's selection, with the toolbox's label.
    add_button_cmd(picker_view* view, const QPoint& at, const QString& text);
    add_button_cmd(picker_view* view, const QPoint& at, const QString& text, const QString& label);
    // A command button: language 0 MEL, 1 Python.
    add_button_cmd(picker_view* view, const QPoint& at, const QString& text, int language,
                   const QString& label, const QString& command);
    void undo() override;
    void redo() override;
    int id() const override;

    // The button to be added; the command editor fills it in before the push.
    buttonAttributes& attributes() { return button; }
    int index() const { return buttonIndex; }

private:
    void init(const QPoint& at);

    picker_view* view;
    buttonAttributes button;
    int buttonIndex = -1;
};

// The buttons "Add Many Buttons" laid out, as one step: they were placed
// live during the drag and are appended again, as they ended, on redo.
class add_buttons_cmd : public QUndoCommand {
public:
    add_buttons_cmd(picker_view* view, const QList<buttonAttributes>& buttons, const QString& text);
    void undo() override;
    void redo() override;
    int id() const override;

private:
    picker_view* view;
    QList<buttonAttributes> added;
    QVector<int> indices;
};

class move_buttons_cmd : public QUndoCommand {
public:
    move_buttons_cmd(picker_view* view, const QVector<QPoint>& oldPositions, const QVector<int>& indices,
                     const QPoint& delta);
    void undo() override;
    void redo() override;
    int id() const override;

private:
    picker_view* view;
    QVector<QPoint> oldPositions;
    QVector<int> indices;
    QPoint delta;
};

class delete_buttons_cmd : public QUndoCommand {
public:
    explicit delete_buttons_cmd(picker_view* view);
    void undo() override;
    void redo() override;
    int id() const override;

private:
    picker_view* view;
    QVector<int> indices;
    QList<buttonAttributes> saved;
};

class update_buttons_cmd : public QUndoCommand {
public:
    update_buttons_cmd(picker_view* view, buttonRecord* record, const QStringList& names);
    void undo() override;
    void redo() override;
    int id() const override;

private:
    picker_view* view;
    int buttonIndex = -1;
    QStringList names;
};

class cut_buttons_cmd : public QUndoCommand {
public:
    explicit cut_buttons_cmd(picker_view* view);
    void undo() override;
    void redo() override;
    int id() const override;
    // What the cut takes: the window puts it on the clipboard.
    const QList<buttonAttributes>& buttons() const { return saved; }

private:
    picker_view* view;
    QVector<int> indices;
    QList<buttonAttributes> saved;
};

class paste_buttons_cmd : public QUndoCommand {
public:
    paste_buttons_cmd(picker_view* view, const QList<buttonAttributes>& buttons, bool inPlace);
    void undo() override;
    void redo() override;
    int id() const override;

private:
    picker_view* view;
    QList<buttonAttributes> pasted;
    QVector<int> indices;
    QRect source;
    bool inPlace;
};
