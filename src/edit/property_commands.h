// Undoable changes of the selected buttons' properties. Each command
// captures the selected buttons (by index) and their old values when made;
// a run of the same change on the same buttons merges into one entry.
#pragma once

#include <QPoint>
#include <QString>
#include <QStringList>
#include <QUndoCommand>
#include <QVector>

class picker_view;

// The command ids the undo stack merges by; one place for all of them.
namespace command_id {
enum : int {
    add_button = 0,
    arrange = 1,
    move_buttons = 2,
    change_color = 3,
    change_width = 4,
    change_height = 5,
    adjust_size = 6,
    delete_buttons = 7,
    update_buttons = 8,
    nudge = 9,
    change_label = 10,
    change_label_color = 11,
    cut = 12,
    paste = 13,
    add_many = 14,
    mirror = 15
};
}

class change_color_cmd : public QUndoCommand {
public:
    change_color_cmd(picker_view* view, unsigned int color);
    void undo() override;
    void redo() override;
    int id() const override { return command_id::change_color; }
    bool mergeWith(const QUndoCommand* other) override;

private:
    picker_view* view;
    unsigned int color;
    QVector<int> indices;
    QVector<unsigned int> oldColors;
};

class change_labelc_cmd : public QUndoCommand {
public:
    change_labelc_cmd(picker_view* view, unsigned int color);
    void undo() override;
    void redo() override;
    int id() const override { return command_id::change_label_color; }
    bool mergeWith(const QUndoCommand* other) override;

private:
    picker_view* view;
    unsigned int color;
    QVector<int> indices;
    QVector<unsigned int> oldColors;
};

class change_width_cmd : public QUndoCommand {
public:
    change_width_cmd(picker_view* view, int width);
    void undo() override;
    void redo() override;
    int id() const override { return command_id::change_width; }
    bool mergeWith(const QUndoCommand* other) override;

private:
    picker_view* view;
    int width;
    QVector<int> indices;
    QVector<int> oldWidths;
};

class change_height_cmd : public QUndoCommand {
public:
    change_height_cmd(picker_view* view, int height);
    void undo() override;
    void redo() override;
    int id() const override { return command_id::change_height; }
    bool mergeWith(const QUndoCommand* other) override;

private:
    picker_view* view;
    int height;
    QVector<int> indices;
    QVector<int> oldHeights;
};

class adjust_width_cmd : public QUndoCommand {
public:
    adjust_width_cmd(picker_view* view, int delta);
    void undo() override;
    void redo() override;
    int id() const override { return command_id::adjust_size; }
    bool mergeWith(const QUndoCommand* other) override;

private:
    picker_view* view;
    int delta;
    QVector<int> indices;
    QVector<int> oldWidths;
};

class adjust_height_cmd : public QUndoCommand {
public:
    adjust_height_cmd(picker_view* view, int delta);
    void undo() override;
    void redo() override;
    int id() const override { return command_id::adjust_size; }
    bool mergeWith(const QUndoCommand* other) override;

private:
    picker_view* view;
    int delta;
    QVector<int> indices;
    QVector<int> oldHeights;
};

class change_label_cmd : public QUndoCommand {
public:
    change_label_cmd(picker_view* view, const QString& label);
    void undo() override;
    void redo() override;
    int id() const override { return command_id::change_label; }

private:
    picker_view* view;
    QString label;
    QVector<int> indices;
    QStringList oldLabels;
};

class nudge_buttons_cmd : public QUndoCommand {
public:
    nudge_buttons_cmd(picker_view* view, const QPoint& delta);
    void undo() override;
    void redo() override;
    int id() const override { return command_id::nudge; }
    bool mergeWith(const QUndoCommand* other) override;

private:
    picker_view* view;
    QPoint delta;
    QVector<int> indices;
    QVector<QPoint> oldPositions;
};
