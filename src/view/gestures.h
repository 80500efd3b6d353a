// The press-drag-release gestures of a view: selecting (and Control-dragging)
// buttons, pressing a command button, panning, zooming and laying out many
// buttons at once.
#pragma once

#include "model/picker_page.h"
#include "view/picker_mouse_cmd.h"

#include <QPoint>
#include <QRect>
#include <QVector>

#include <memory>

class picker_view;

class select_button_cmd : public picker_mouse_cmd {
public:
    select_button_cmd(picker_view* view, const QPoint& pos, int modifiers);
    void update(const QPoint& pos, int modifiers) override;
    void finish() override;

private:
    QPoint drag_delta() const;

    picker_view* view;
    QPoint anchor;
    QPoint current;
    QStringList baseSelection;
    QVector<button_id> basePicks; // the targets at press time, with Shift
    QStringList pressSelection; // to tell whether the host must hear of this gesture
    QVector<button_id> movedIds;
    QVector<QPoint> movedStarts;
    // A live drag is announced once, as the step it becomes.
    std::unique_ptr<picker_page::hold> held;
    bool additive = false;
    bool ctrl = false;
    bool marquee = false;
    bool moving = false;
};

class track_button_cmd : public picker_mouse_cmd {
public:
    track_button_cmd(picker_view* view, const QPoint& pos, int index);
    void update(const QPoint& pos, int modifiers) override;
    void finish() override;

private:
    // The button's row now, or -1: the list may change under a gesture.
    int row() const;

    picker_view* view;
    button_id button;
    QRect rect;
};

// A press on an attribute button. A slider or pad follows the pointer,
// setting its plugs live, the whole drag one step of the host's undo
// queue; Shift moves a tenth as far. A switch steps when released over it.
class attribute_drag_cmd : public picker_mouse_cmd {
public:
    attribute_drag_cmd(picker_view* view, const QPoint& pos, int index, int modifiers);
    ~attribute_drag_cmd() override;
    void update(const QPoint& pos, int modifiers) override;
    void finish() override;

    // What the host runs to step a switch, or to set plugs back to their
    // defaults: one step of its undo queue.
    static void set_now(picker_page* page, const QStringList& plugs, const QVector<double>& values);
    static void reset(picker_page* page, int row);

private:
    int row() const;
    void close_chunk();
    // Says the plug cannot be set, and ends the gesture's effect.
    void unusable(const QString& plug);

    picker_view* view;
    button_id button;
    QRect rect;
    bool toggle = false;
    bool chunk = false;
    // Where the pointer and values were when the drag last changed pace.
    QPoint anchor;
    double anchorValue[2] = {0, 0};
    double value[2] = {0, 0};
    bool fine = false;
    bool dead = false;
};

class shift_picker_cmd : public picker_mouse_cmd {
public:
    shift_picker_cmd(picker_view* view, const QPoint& pos);
    void update(const QPoint& pos, int modifiers) override;
    void finish() override {}

private:
    picker_view* view;
    QPoint press;
    QPoint last;
    QPoint startShift;
};

class zoom_picker_cmd : public picker_mouse_cmd {
public:
    zoom_picker_cmd(picker_view* view, const QPoint& pos);
    void update(const QPoint& pos, int modifiers) override;
    void finish() override {}

private:
    picker_view* view;
    QPoint press;
    QPoint last;
    double startZoom;
};

// Made by the view's "Add Many Buttons"; waits for the next press, then lays
// one button per selected object in a row that follows the drag. The row
// becomes one undo step when the drag ends; cancelling leaves no trace.
class add_manybuttons_cmd : public picker_mouse_cmd {
public:
    explicit add_manybuttons_cmd(picker_view* view);
    void update(const QPoint& pos, int modifiers) override;
    void finish() override;
    void cancel();
    void setActive(bool on) { active = on; }
    bool isActive() const { return active; }

private:
    QList<buttonAttributes> take_placed();

    picker_view* view;
    QVector<button_id> ids;
    std::unique_ptr<picker_page::hold> held;
    QPoint origin;
    bool placed = false;
    bool active = false;
};

// The zoom drag's steps: one fewer than every 20 pixels of drag, either way,
// so a small drag does not zoom.
int drag_zoom_steps(int steps);
